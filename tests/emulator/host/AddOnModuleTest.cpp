// AddOnModuleTest.cpp: a module loaded and walked through the host's start and stop the way the
// host does it: the probe module, which calls every host operation from the add-on's side, from
// its own folder and from one with a Czech name; and the files that are no module, or no add-on.
#include "emulator/AddOnModule.h"

#include "ProbeProject.h"
#include "TestFiles.h"
#include "emulator/HostSession.h"
#include "emulator/Project.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>

namespace orvhost {
namespace {

using testfiles::PathOf;
using testfiles::ReadFileBytes;
using testfiles::TempFolder;
using testfiles::WriteFileBytes;

void SetEnvironment(const char* name, const std::string& value) {
#ifdef _WIN32
    _putenv_s(name, value.c_str());
#else
    setenv(name, value.c_str(), 1);
#endif
}

class AddOnModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        probeproject::Write(testfiles::Utf8Of(folder.Path()));
        SetEnvironment("ORV_PROBE_REPORT", folder.At("report.txt"));
        project = std::make_unique<Project>(Project::Load(folder.Path(), warnings));
        session = std::make_unique<HostSession>(*project);
    }

    void TearDown() override { SetEnvironment("ORV_PROBE_REPORT", ""); }

    // What the host does with a module: start it, open the project, stop it.
    void Run(AddOnModule& module) {
        module.Start(session->Table(), session->Token());
        session->FireProjectEvent(ProjectEvent::OpenProject, 0);
        module.Stop();
    }

    // The message of the failure to load `path`.
    static std::string LoadFailure(const std::string& path) {
        try {
            AddOnModule module(path);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "loaded";
    }

    TempFolder folder;
    std::vector<std::string> warnings;
    std::unique_ptr<Project> project;
    std::unique_ptr<HostSession> session;
};

TEST_F(AddOnModuleTest, TheProbeFindsEveryHostOperationAnswering) {
    AddOnModule module(ORV_HOST_PROBE);
    Run(module);
    const std::string lines = ReadFileBytes(folder.At("report.txt"));
    EXPECT_EQ(lines.find("FAIL"), std::string::npos) << lines;
    EXPECT_NE(lines.find("ok 13 entries answered"), std::string::npos) << lines;
    EXPECT_NE(lines.find("ok write inside a command"), std::string::npos) << lines;
    EXPECT_NE(lines.find("ok observer attached once"), std::string::npos) << lines;
}

TEST_F(AddOnModuleTest, AModuleInAFolderWithACzechNameLoads) {
    const std::string copy = folder.At("Doplňky/Ověření.apx");
    std::filesystem::create_directories(PathOf(folder.At("Doplňky")));
    std::filesystem::copy_file(PathOf(ORV_HOST_PROBE), PathOf(copy));
    AddOnModule module(copy);
    Run(module);
    EXPECT_NE(ReadFileBytes(folder.At("report.txt")).find("ok write inside a command"),
              std::string::npos);
}

TEST_F(AddOnModuleTest, AFileThatIsNoModuleIsRefusedWithTheSystemsReason) {
    const std::string fake = folder.At("Nepravý doplněk.apx");
    WriteFileBytes(fake, "MZ, but no more of a module than that");
    const std::string message = LoadFailure(fake);
    const std::string start = "cannot load the add-on " + fake + ": ";
    EXPECT_EQ(message.rfind(start, 0), 0u) << message;
    EXPECT_GT(message.size(), start.size()) << message;
}

TEST_F(AddOnModuleTest, AMissingFileIsRefusedNamingIt) {
    const std::string missing = folder.At("missing.apx");
    EXPECT_EQ(LoadFailure(missing).rfind("cannot load the add-on " + missing + ": ", 0), 0u)
        << LoadFailure(missing);
}

TEST_F(AddOnModuleTest, AModuleWithoutTheTwoExportsIsNoAddOn) {
    EXPECT_EQ(LoadFailure(ORV_HOST_KIT),
              std::string("the file ") + ORV_HOST_KIT +
                  " is not an add-on: it does not export GetExportedFuncAddrs and "
                  "SetImportedFuncAddrs");
}

}  // namespace
}  // namespace orvhost
