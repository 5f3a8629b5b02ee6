// ModuleTest.cpp: the add-on module as the host sees the file: what it exports, the resources it
// carries, and its unload step.
#include "TestFiles.h"
#include "hostkit/HostABI.h"

#include <cstdlib>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

namespace {

using testfiles::Quote;
using testfiles::RunCommand;

// The module loaded, its exports filled and the empty host table handed over.
struct LoadedModule {
    void* handle = nullptr;
    ExportRecord exports{};

    LoadedModule() {
        handle = dlopen(ORV_ADDON_MODULE, RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) {
            ADD_FAILURE() << dlerror();
            return;
        }
        auto get = reinterpret_cast<GetExportedFuncAddrsFn>(dlsym(handle, "GetExportedFuncAddrs"));
        auto set = reinterpret_cast<SetImportedFuncAddrsFn>(dlsym(handle, "SetImportedFuncAddrs"));
        get(&exports);
        const HostFunctionTable empty{};
        set(empty.data());
    }
    ~LoadedModule() {
        if (handle != nullptr) {
            dlclose(handle);
        }
    }
    template <typename Fn> Fn Entry(std::size_t offset) const {
        return reinterpret_cast<Fn>(GetField<void*>(exports, offset));
    }
};

TEST(AddOnModule, ExportsTheTwoFunctionsTheHostAsksForAndNothingElse) {
    std::string output;
    ASSERT_EQ(RunCommand("nm -D --defined-only " + Quote(ORV_ADDON_MODULE), &output), 0);
    std::set<std::string> names;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(line.rfind(' ') + 1);
        if (name.find('@') == std::string::npos) {
            names.insert(name);
        }
    }
    EXPECT_EQ(names, (std::set<std::string>{"GetExportedFuncAddrs", "SetImportedFuncAddrs"}));
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
    const std::string expected =
        "Abnormal add-on termination \\(\"" + std::string(ORV_ADDON_MODULE) + "\"\\)\n";
    EXPECT_EXIT(
        {
            // Reachable to the end, so that only the exit unloads it.
            static LoadedModule* module = new LoadedModule;
            module->Entry<AddOnStartFn>(ExportField::Start)(reinterpret_cast<API_Token>(7));
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), expected);
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
