// AddOnModule.cpp: loads an add-on module and walks it through the host's start and stop calls.
#include "emulator/AddOnModule.h"

#include "EmulatorPort.h"
#include "emulator/Trace.h"
#include "hostkit/Resources.h"
#include "hostkit/UniString.h"

#include <stdexcept>

namespace orvhost {

namespace {

template <typename Fn> Fn EntryOf(const ExportRecord& exports, std::size_t offset) {
    return reinterpret_cast<Fn>(GetField<void*>(exports, offset));
}

// 8-bit text of a record (default character code) as UTF-8.
std::string RecordText(const EnvironmentRecord& record, std::size_t offset) {
    const char* text = reinterpret_cast<const char*>(record.bytes + offset);
    return GS::UniString(text, CC_Default).ToCStr(CC_UTF8).Get();
}

void TraceStep(const std::string& step, int32_t status) {
    Json::Value line;
    line["kind"] = "addon";
    line["step"] = step;
    line["status"] = status;
    Trace::Instance().Write(line);
}

}  // namespace

AddOnModule::AddOnModule(const std::string& path) : path(path) {
    std::string error;
    handle = port::LoadModule(path, error);
    if (handle == nullptr) {
        throw std::runtime_error("cannot load the add-on " + path + ": " + error);
    }
    if (port::FindExport(handle, kGetExportedFuncAddrsName) == nullptr ||
        port::FindExport(handle, kSetImportedFuncAddrsName) == nullptr) {
        port::UnloadModule(handle);
        handle = nullptr;
        throw std::runtime_error("the file " + path +
                                 " is not an add-on: it does not export GetExportedFuncAddrs "
                                 "and SetImportedFuncAddrs");
    }
}

AddOnModule::~AddOnModule() {
    if (handle != nullptr) {
        port::UnloadModule(handle);
    }
}

void AddOnModule::Start(const HostFunctionTable& table, API_Token token) {
    auto getExports = reinterpret_cast<GetExportedFuncAddrsFn>(
        port::FindExport(handle, kGetExportedFuncAddrsName));
    auto setImports = reinterpret_cast<SetImportedFuncAddrsFn>(
        port::FindExport(handle, kSetImportedFuncAddrsName));

    TraceStep("GetExportedFuncAddrs", getExports(&exports));
    if (GetField<int32_t>(exports, ExportField::Version) != ExportField::kVersionValue) {
        throw std::runtime_error("the add-on " + path + " was made for another host version");
    }
    auto describe = EntryOf<AddOnDescribeFn>(exports, ExportField::Describe);
    auto doRegister = EntryOf<AddOnRegisterFn>(exports, ExportField::Register);
    auto start = EntryOf<AddOnStartFn>(exports, ExportField::Start);
    if (describe == nullptr || doRegister == nullptr || start == nullptr ||
        EntryOf<AddOnStopFn>(exports, ExportField::Stop) == nullptr) {
        throw std::runtime_error("the add-on " + path + " leaves an entry function out");
    }
    TraceStep("SetImportedFuncAddrs", setImports(table.data()));

    EnvironmentRecord environment;
    ZeroRecord(environment);
    SetField(environment, EnvironmentField::ApplicationKind,
             EnvironmentField::kApplicationKindArchiCAD);
    const int32_t described = describe(&environment);
    name = RecordText(environment, EnvironmentField::Name);
    description = RecordText(environment, EnvironmentField::Description);
    Json::Value line;
    line["kind"] = "addon";
    line["step"] = "AddOnDescribe";
    line["status"] = described;
    line["name"] = name;
    line["description"] = description;
    const GSResModule resources = RSInitModuleImageCache(reinterpret_cast<const void*>(describe));
    char identification[kResourceStringCapacity];
    if (RSGetIndString_ParamAdapter(identification, 32500, 1, resources)) {
        line["identification"] = GS::UniString(identification).ToCStr(CC_UTF8).Get();
    }
    RSRemoveModuleImageCache(resources);
    Trace::Instance().Write(line);
    if (described == 0) {
        throw std::runtime_error("the add-on " + path + " declines to run in this host");
    }

    const int32_t registered = doRegister(nullptr);
    TraceStep("AddOnRegister", registered);
    if (registered != 0) {
        throw std::runtime_error("the add-on " + path + " failed to register: status " +
                                 std::to_string(registered));
    }
    const int32_t started = start(token);
    TraceStep("AddOnStart", started);
    this->started = true;
    if (started != 0) {
        throw std::runtime_error("the add-on " + path + " failed to start: status " +
                                 std::to_string(started));
    }
}

void AddOnModule::Stop() {
    if (!started) {
        return;
    }
    started = false;
    TraceStep("AddOnStop", EntryOf<AddOnStopFn>(exports, ExportField::Stop)());
}

}  // namespace orvhost
