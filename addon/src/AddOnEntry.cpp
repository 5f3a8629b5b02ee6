// AddOnEntry.cpp: what the host calls first: the two exports, the four entry functions, and the
// module's load and unload steps.
#include "AddOn.h"
#include "HostOperations.h"
#include "addon/ObjectsMonitor.h"
#include "common/PlatformHooks.h"
#include "winsys/MainLoop.h"
#include "winsys/WindowSystem.h"

#include <cstring>
#include <string>

const void* ModuleHandle = nullptr;
char16_t ModulePath[kModulePathCapacity] = {};
GSResModule ResourceCache = kNoResourceModule;

namespace {

constexpr int32_t kTableNotLoaded = HostError::General;

// The runtime's clock and alerts are the host's: its loop's clock (virtual under a script) and
// its message box.
uint64_t HostClock() { return winsys::MainLoop::Instance().NowMicroseconds1601(); }

void HostMessageBox(void* owner, const WString& caption, const WString& text, uint32_t type) {
    MessageBoxW(static_cast<HWND>(owner), winsys::SystemText(text.c_str()),
                winsys::SystemText(caption.c_str()), type);
}

}  // namespace

void OnModuleLoad(const void* handle, const char16_t* path) {
    RegisterWindowMessageW(winsys::SystemText(u"commdlg_FileNameOK"));
    ModuleHandle = handle;
    std::size_t i = 0;
    for (; path != nullptr && i + 1 < kModulePathCapacity && path[i] != 0; ++i) {
        ModulePath[i] = path[i];
    }
    ModulePath[i] = 0;
    ResourceCache = RSInitModuleImageCache(reinterpret_cast<const void*>(&OnModuleLoad));
    PlatformHooks& hooks = GetPlatformHooks();
    hooks.clock = &HostClock;
    hooks.messageBox = &HostMessageBox;
}

void OnModuleUnload() {
    if (ResourceCache != kNoResourceModule) {
        RSRemoveModuleImageCache(ResourceCache);
        ResourceCache = kNoResourceModule;
    }
    if (HostToken != nullptr) {
        const std::string path = GS::UniString(ModulePath).ToCStr(CC_UTF8).Get();
        DBPrintf("Abnormal add-on termination (\"%s\")", path.c_str());
        DBPrintf("\n");
        HostToken = nullptr;
    }
}

int32_t GetExportedFuncAddrs(ExportRecord* record) {
    ZeroRecord(*record);
    SetField(*record, ExportField::Version, ExportField::kVersionValue);
    SetField(*record, ExportField::Describe, &AddOnDescribe);
    SetField(*record, ExportField::Register, &AddOnRegister);
    SetField(*record, ExportField::Start, &AddOnStart);
    SetField(*record, ExportField::Stop, &AddOnStop);
    SetField(*record, ExportField::Release, ExportField::kReleaseValue);
    return 0;
}

int32_t SetImportedFuncAddrs(const void* table) {
    std::memcpy(HostTable.data(), table, kHostTableBytes);
    HostTableLoaded = 1;
    return 0;
}

int32_t AddOnDescribe(EnvironmentRecord* environment) {
    if (HostTableLoaded == 0) {
        return 0;
    }
    if (GetField<int32_t>(*environment, EnvironmentField::ApplicationKind) !=
        EnvironmentField::kApplicationKindArchiCAD) {
        return 0;
    }
    char* name = reinterpret_cast<char*>(environment->bytes + EnvironmentField::Name);
    char* description = reinterpret_cast<char*>(environment->bytes + EnvironmentField::Description);
    RSGetIndString_ParamAdapter(name, kAddOnStringsList, 1, ResourceCache);
    RSGetIndString_ParamAdapter(description, kAddOnStringsList, 2, ResourceCache);
    AddOnName = GS::UniString(name, CC_Default);
    return 2;
}

int32_t AddOnRegister(void*) {
    if (HostTableLoaded == 0) {
        return kTableNotLoaded;
    }
    // No menu and no command: the add-on works from events alone.
    return 0;
}

int32_t AddOnStart(API_Token token) {
    if (HostTableLoaded == 0) {
        return kTableNotLoaded;
    }
    HostToken = token;
    HostCatchNewElement(nullptr, &ElementEventHandler);
    HostInstallElementObserver(&ElementEventHandler);
    return HostCatchProjectEvent(kProjectEventMask, &ProjectEventHandler);
}

int32_t AddOnStop() {
    if (HostTableLoaded == 0) {
        return kTableNotLoaded;
    }
    MonitorDestroy();
    HostToken = nullptr;
    return 0;
}
