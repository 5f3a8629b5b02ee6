// AddOnModuleTest.cpp: a module loaded and walked through the host's start and stop the way the
// host does it: the probe module, which calls every host operation from the add-on's side, from
// its own folder and from one with a Czech name; and the files that are no module, or no add-on.
#include "emulator/AddOnModule.h"

#include "GdlPartXml.h"
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

// The project the probe expects: part 1 "Plain" (check_url, uptodate), part 2 "Arrays" (a 3 by 2
// RealNum array, a String of 300 characters), an object on part 1, a window on part 2, a wall.
void MakeProbeProject(const TempFolder& folder) {
    WriteFileBytes(folder.At("Library/A/Plain.xml"),
                   testfiles::MonitoredPartXml("http://127.0.0.1:1/check?id=1&version=1"));
    WriteFileBytes(
        folder.At("Library/B/Arrays.xml"),
        testfiles::GdlPartXml(
            {"<RealNum Name=\"grid\">\n"
             "<ArrayValues FirstDimension=\"3\" SecondDimension=\"2\">\n"
             "<AVal Row=\"1\" Column=\"1\">1</AVal><AVal Row=\"1\" Column=\"2\">2</AVal>\n"
             "<AVal Row=\"2\" Column=\"1\">3</AVal><AVal Row=\"2\" Column=\"2\">4</AVal>\n"
             "<AVal Row=\"3\" Column=\"1\">5</AVal><AVal Row=\"3\" Column=\"2\">6</AVal>\n"
             "</ArrayValues>\n"
             "</RealNum>",
             testfiles::GdlTextParameter("long", std::string(300, 'x'))}));
    WriteFileBytes(folder.At("project.json"),
                   R"({"format": "orvhost-project/1", "library": "Library", "elements": [
    {"guid": "0B1F2F0A-1C1D-4E5F-8A9B-0C1D2E3F4A51", "type": 6, "part": "A/Plain.xml"},
    {"guid": "0B1F2F0A-1C1D-4E5F-8A9B-0C1D2E3F4A52", "type": 4, "part": "B/Arrays.xml"},
    {"guid": "0B1F2F0A-1C1D-4E5F-8A9B-0C1D2E3F4A53", "type": 1}]})");
}

class AddOnModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        MakeProbeProject(folder);
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
