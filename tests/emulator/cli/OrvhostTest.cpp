// OrvhostTest.cpp: orvhost as a user runs it: command line, projects on disk, trace, and the
// probe module that checks every host operation from the add-on's side.
#include "GdlPartXml.h"
#include "ProbeProject.h"
#include "TestFiles.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <json/json.h>
#include <set>
#include <sstream>

namespace {

using testfiles::FilesBelow;
using testfiles::Quote;
using testfiles::ReadFileBytes;
using testfiles::RunCommand;
using testfiles::TempFolder;
using testfiles::WriteFileBytes;

using probeproject::kObject;
using probeproject::kWall;

class Orvhost : public ::testing::Test {
protected:
    void SetUp() override { probeproject::Write(Project()); }

    std::string Project(const std::string& name = "") const {
        return folder.At("project") + (name.empty() ? "" : "/" + name);
    }

    int Run(const std::string& arguments) {
        return RunCommand(std::string(ORVHOST) + " " + arguments, &output);
    }

    Json::Value StatusJson() {
        // Warnings go to standard error, kept apart from the JSON.
        EXPECT_EQ(RunCommand("{ " + std::string(ORVHOST) + " status " + Quote(Project()) +
                                 " --json 2>" + Quote(folder.At("status.err")) + "; }",
                             &output),
                  0)
            << output;
        Json::Value status;
        std::istringstream(output) >> status;
        return status;
    }

    TempFolder folder;
    std::string output;
};

TEST_F(Orvhost, ProbeModuleFindsEveryHostOperationAnswering) {
    const std::string report = folder.At("report.txt");
    ASSERT_EQ(RunCommand("ORV_PROBE_REPORT=" + Quote(report) + " " + ORVHOST + " open " +
                             Quote(Project()) + " --ui none --addon " + ORV_HOST_PROBE,
                         &output),
              0)
        << output;
    const std::string lines = ReadFileBytes(report);
    EXPECT_EQ(lines.find("FAIL"), std::string::npos) << lines;
    EXPECT_NE(lines.find("ok write inside a command"), std::string::npos) << lines;
    EXPECT_NE(lines.find("ok observer attached once"), std::string::npos) << lines;
}

TEST_F(Orvhost, WhatTheAddOnWroteIsSavedWithTheProject) {
    ASSERT_EQ(Run("open " + Quote(Project()) + " --ui none --addon " + ORV_HOST_PROBE), 0)
        << output;
    const Json::Value status = StatusJson();
    EXPECT_EQ(status["elements"][0]["guid"].asString(), kObject);
    EXPECT_EQ(status["elements"][0]["uptodate"].asDouble(), 2.0);
    EXPECT_EQ(status["parts"][0]["uptodate"].asDouble(), 0.0) << "the part keeps its default";
}

TEST_F(Orvhost, WriteAllModeWritesEveryElementOfTypes4To7) {
    const std::string report = folder.At("report.txt");
    ASSERT_EQ(RunCommand("ORV_PROBE_MODE=write-all ORV_PROBE_REPORT=" + Quote(report) + " " +
                             ORVHOST + " open " + Quote(Project()) + " --ui none --addon " +
                             ORV_HOST_PROBE,
                         &output),
              0)
        << output;
    EXPECT_NE(ReadFileBytes(report).find("elements 1\n"), std::string::npos)
        << "the window's part has no uptodate, so only the object is written: "
        << ReadFileBytes(report);
}

TEST_F(Orvhost, BadCommandLinesGetAUsageLineAndStatus2) {
    const std::string project = Quote(Project());
    for (const std::string& arguments :
         {std::string(""), std::string("frob"), std::string("open"),
          "open " + project + " --ui bogus", "open " + project + " --bogus",
          "open " + project + " --script", "open " + project + " extra",
          "open " + project + " --trace a --trace b", std::string("status"),
          "status " + project + " --all", "open " + project + " --ui none --script x"}) {
        EXPECT_EQ(Run(arguments), 2) << arguments << "\n" << output;
        EXPECT_NE(output.find("usage: orvhost"), std::string::npos) << arguments << "\n" << output;
    }
}

TEST_F(Orvhost, GuiWithoutADisplaySaysSoAndStops) {
    const auto before = FilesBelow(Project());
    EXPECT_EQ(RunCommand("env -u DISPLAY " + std::string(ORVHOST) + " open " + Quote(Project()) +
                             " --ui gui --addon " + ORV_ROUTING_PROBE,
                         &output),
              1);
    EXPECT_NE(output.find("no display"), std::string::npos) << output;
    EXPECT_EQ(FilesBelow(Project()), before);
}

TEST_F(Orvhost, TextBackendRunsAProjectWithoutDialogs) {
    EXPECT_EQ(
        Run("open " + Quote(Project()) + " --ui text --addon " + ORV_ROUTING_PROBE + " </dev/null"),
        0)
        << output;
}

TEST_F(Orvhost, HelpIsThereForEachCommand) {
    for (const char* arguments : {"--help", "open --help", "status --help"}) {
        EXPECT_EQ(Run(arguments), 0) << arguments;
        EXPECT_NE(output.find("usage: orvhost"), std::string::npos) << output;
    }
}

TEST_F(Orvhost, ProjectThatCannotBeReadIsRefusedAndLeftAsItIs) {
    WriteFileBytes(Project("project.json"), "{\"format\": \"orvhost-project/1\", \"elements\": [");
    const auto before = FilesBelow(folder.Path());
    EXPECT_EQ(Run("open " + Quote(Project()) + " --addon " + ORV_ROUTING_PROBE), 1);
    EXPECT_NE(output.find("project.json"), std::string::npos) << output;
    EXPECT_EQ(FilesBelow(folder.Path()), before);
    EXPECT_EQ(Run("status " + Quote(Project())), 1);
}

TEST_F(Orvhost, MissingProjectIsRefusedWithItsName) {
    EXPECT_EQ(Run("open " + Quote(folder.At("nothing")) + " --addon " + ORV_ROUTING_PROBE), 1);
    EXPECT_NE(output.find("nothing"), std::string::npos) << output;
}

TEST_F(Orvhost, BrokenPartFileIsReportedAndSkipped) {
    WriteFileBytes(Project("Library/C/Broken.xml"), "<Symbol><ParamSection>");
    const Json::Value status = StatusJson();
    EXPECT_NE(ReadFileBytes(folder.At("status.err")).find("Broken.xml"), std::string::npos);
    EXPECT_EQ(status["parts"].size(), 2u);
    EXPECT_EQ(Run("open " + Quote(Project()) + " --addon " + ORV_ROUTING_PROBE), 0) << output;
    EXPECT_NE(output.find("Broken.xml"), std::string::npos) << output;
}

TEST_F(Orvhost, StatusListsPartsAndElementsWithTheirState) {
    const Json::Value status = StatusJson();
    ASSERT_EQ(status["parts"].size(), 2u);
    EXPECT_EQ(status["parts"][0]["index"].asInt(), 1);
    EXPECT_EQ(status["parts"][0]["name"].asString(), "Plain");
    EXPECT_EQ(status["parts"][0]["check_url"].asString(),
              "http://127.0.0.1:1/check?id=1&version=1");
    EXPECT_TRUE(status["parts"][1]["check_url"].isNull());
    ASSERT_EQ(status["elements"].size(), 3u);
    EXPECT_EQ(status["elements"][0]["uptodate"].asDouble(), 0.0);
    EXPECT_TRUE(status["elements"][2]["uptodate"].isNull());

    EXPECT_EQ(Run("status " + Quote(Project())), 0);
    EXPECT_NE(output.find("Plain"), std::string::npos) << output;
    EXPECT_NE(output.find(kWall), std::string::npos) << output;
}

TEST_F(Orvhost, StatusKeepsItsColumnsForNamesWithAccents) {
    WriteFileBytes(Project("Library/C/Židle.xml"),
                   testfiles::MonitoredPartXml("http://127.0.0.1:1/check?id=1&version=1"));
    EXPECT_EQ(Run("status " + Quote(Project())), 0) << output;
    std::istringstream lines(output);
    std::set<std::size_t> columns;  // in characters, not bytes
    for (std::string line; std::getline(lines, line);) {
        const std::size_t at = line.find("uptodate=");
        if (line.find("check_url=") != std::string::npos && at != std::string::npos) {
            columns.insert(static_cast<std::size_t>(
                std::count_if(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(at),
                              [](char byte) { return (byte & 0xC0) != 0x80; })));
        }
    }
    EXPECT_EQ(columns.size(), 1u) << output;
    EXPECT_NE(output.find("Židle"), std::string::npos) << output;
}

TEST_F(Orvhost, OpenAndSaveKeepTheProjectAsItWas) {
    const Json::Value before = StatusJson();
    ASSERT_EQ(Run("open " + Quote(Project()) + " --addon " + ORV_ROUTING_PROBE), 0) << output;
    EXPECT_EQ(StatusJson(), before);
    const std::string saved = ReadFileBytes(Project("project.json"));
    ASSERT_EQ(Run("open " + Quote(Project()) + " --addon " + ORV_ROUTING_PROBE), 0) << output;
    EXPECT_EQ(ReadFileBytes(Project("project.json")), saved);
}

TEST_F(Orvhost, BadScriptIsRefusedBeforeAnythingRuns) {
    WriteFileBytes(folder.At("script.txt"), "wait 10\nfrobnicate\n");
    const auto before = FilesBelow(Project());
    EXPECT_EQ(Run("open " + Quote(Project()) + " --addon " + ORV_ROUTING_PROBE + " --script " +
                  Quote(folder.At("script.txt"))),
              1);
    EXPECT_NE(output.find("script.txt:2: unknown action \"frobnicate\""), std::string::npos)
        << output;
    EXPECT_EQ(FilesBelow(Project()), before);
}

TEST_F(Orvhost, ScriptActionThatCannotBeDoneFailsTheRun) {
    WriteFileBytes(folder.At("script.txt"), "click 1\nundo\n");
    EXPECT_EQ(Run("open " + Quote(Project()) + " --addon " + ORV_ROUTING_PROBE + " --script " +
                  Quote(folder.At("script.txt"))),
              1);
    EXPECT_NE(output.find("script line 1"), std::string::npos) << output;
    EXPECT_NE(output.find("script line 2: nothing to undo"), std::string::npos) << output;
}

TEST_F(Orvhost, FileThatIsNoAddOnIsRefused) {
    WriteFileBytes(folder.At("fake.so"), "not a module");
    EXPECT_EQ(Run("open " + Quote(Project()) + " --addon " + Quote(folder.At("fake.so"))), 1);
    EXPECT_NE(output.find("cannot load the add-on"), std::string::npos) << output;
}

TEST_F(Orvhost, TraceIsOneJsonObjectALine) {
    WriteFileBytes(folder.At("script.txt"), "wait 5\nplace 6 A/Plain.xml\n");
    ASSERT_EQ(Run("open " + Quote(Project()) + " --addon " + ORV_ROUTING_PROBE + " --script " +
                  Quote(folder.At("script.txt")) + " --trace " + Quote(folder.At("t.jsonl"))),
              0)
        << output;
    std::istringstream lines(ReadFileBytes(folder.At("t.jsonl")));
    std::set<std::string> kinds;
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        Json::Value value;
        Json::CharReaderBuilder builder;
        std::string errors;
        std::istringstream stream(line);
        ASSERT_TRUE(Json::parseFromStream(builder, stream, &value, &errors)) << line;
        ASSERT_TRUE(value.isObject()) << line;
        EXPECT_TRUE(value["t"].isNumeric()) << line;
        kinds.insert(value["kind"].asString());
    }
    EXPECT_GT(count, 5);
    for (const char* kind : {"addon", "call", "event", "script", "command"}) {
        EXPECT_EQ(kinds.count(kind), 1u) << kind;
    }
}

}  // namespace
