// ModuleTest.cpp: the add-on module as the host sees the file: what it exports, the resources it
// carries, and its unload step.
#include "ModuleFile.h"
#include "hostkit/HostABI.h"

#include <cstdio>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

namespace {

// The module loaded, its exports filled and the empty host table handed over.
struct LoadedModule {
    void* handle = nullptr;
    ExportRecord exports{};

    LoadedModule() {
        std::string error;
        handle = modulefile::Load(ORV_ADDON_MODULE, &error);
        if (handle == nullptr) {
            ADD_FAILURE() << error;
            return;
        }
        auto get = reinterpret_cast<GetExportedFuncAddrsFn>(
            modulefile::Function(handle, "GetExportedFuncAddrs"));
        auto set = reinterpret_cast<SetImportedFuncAddrsFn>(
            modulefile::Function(handle, "SetImportedFuncAddrs"));
        get(&exports);
        const HostFunctionTable empty{};
        set(empty.data());
    }
    ~LoadedModule() {
        if (handle != nullptr) {
            modulefile::Unload(handle);
        }
    }
    template <typename Fn> Fn Entry(std::size_t offset) const {
        return reinterpret_cast<Fn>(GetField<void*>(exports, offset));
    }
};

TEST(AddOnModule, ExportsTheTwoFunctionsTheHostAsksForAndNothingElse) {
    std::string error;
    EXPECT_EQ(modulefile::ExportedNames(ORV_ADDON_MODULE, &error),
              (std::set<std::string>{"GetExportedFuncAddrs", "SetImportedFuncAddrs"}))
        << error;
}

TEST(AddOnModule, CarriesItsNameAndDescriptionAsStringList32000) {
    LoadedModule module;
    ASSERT_NE(module.handle, nullptr);
    EnvironmentRecord environment;
    ZeroRecord(environment);
    SetField(environment, EnvironmentField::ApplicationKind, int32_t{1});
    EXPECT_EQ(module.Entry<AddOnDescribeFn>(ExportField::Describe)(&environment), 2);
    EXPECT_STREQ(reinterpret_cast<const char*>(environment.bytes + 128), "OrvUpdate Brennerstein");
    EXPECT_STREQ(reinterpret_cast<const char*>(environment.bytes + 384),
                 "Automatick\xE1 kontorla aktualizac\xED knihoven GDL");
}

TEST(AddOnModuleDeathTest, UnloadWithoutStopWritesTheAbnormalTerminationLine) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The module names itself by the path its loader gives, which on Windows is the system's.
    std::string path;
    {
        const LoadedModule module;
        path = modulefile::LoadedPath(module.handle);
    }
    EXPECT_EXIT(
        {
            // Reachable to the end, so that only the exit unloads it.
            static LoadedModule* module = new LoadedModule;
            module->Entry<AddOnStartFn>(ExportField::Start)(reinterpret_cast<API_Token>(7));
            std::exit(0);
        },
        ::testing::ExitedWithCode(0),
        ::testing::HasSubstr("Abnormal add-on termination (\"" + path + "\")\n"));
}

TEST(AddOnModuleDeathTest, UnloadAfterStopWritesNothing) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static LoadedModule* module = new LoadedModule;
            module->Entry<AddOnStartFn>(ExportField::Start)(reinterpret_cast<API_Token>(7));
            module->Entry<AddOnStopFn>(ExportField::Stop)();
            std::fputs("stopped\n", stderr);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "^stopped\n$");
}

}  // namespace
