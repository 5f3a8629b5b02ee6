// RoutingThroughHostTest.cpp: the shell's routing seen from the host's side: the emulator loads
// the shell with a recording monitor behind it and fires real events at it.
#include "GdlPartXml.h"
#include "TestFiles.h"

#include <gtest/gtest.h>
#include <json/json.h>
#include <sstream>
#include <vector>

namespace {

using testfiles::ProgramUnderTest;
using testfiles::Quote;
using testfiles::ReadFileBytes;
using testfiles::RunCommand;
using testfiles::TempFolder;
using testfiles::WriteFileBytes;

const char* const kObjectGuid = "6B1F2F0A-1C1D-4E5F-8A9B-0C1D2E3F4A5B";

const std::string kPart = testfiles::MonitoredPartXml("http://127.0.0.1:1/check?id=1&version=1");

class RoutingThroughHost : public ::testing::Test {
protected:
    void SetUp() override {
        WriteFileBytes(folder.At("project/Library/Objects/O1.xml"), kPart);
        WriteFileBytes(folder.At("project/project.json"),
                       std::string(R"({"format": "orvhost-project/1", "library": "Library",
                           "elements": [{"guid": ")") +
                           kObjectGuid + R"(", "type": 6, "part": "Objects/O1.xml"}]})");
    }

    // Opens the project with the recording shell; the monitor's calls, one a line.
    std::vector<std::string> Open(const std::string& script, int* status = nullptr) {
        std::string options = " --ui none";
        if (!script.empty()) {
            WriteFileBytes(folder.At("script.txt"), script);
            options = " --ui script --script " + Quote(folder.At("script.txt"));
        }
        const std::string command =
            "ORV_MONITOR_RECORD=" + Quote(folder.At("record.txt")) + " " +
            ProgramUnderTest("ORV_ORVHOST_COMMAND", ORVHOST) + " open " +
            Quote(folder.At("project")) + " --addon " +
            ProgramUnderTest("ORV_ROUTING_PROBE_MODULE", ORV_ROUTING_PROBE) + options +
            " --trace " + Quote(folder.At("trace.jsonl"));
        const int exitStatus = RunCommand(command, &output);
        if (status != nullptr) {
            *status = exitStatus;
        } else {
            EXPECT_EQ(exitStatus, 0) << output;
        }
        std::vector<std::string> calls;
        std::istringstream lines(ReadFileBytes(folder.At("record.txt")));
        for (std::string line; std::getline(lines, line);) {
            calls.push_back(line);
        }
        return calls;
    }

    // The trace's calls of one host entry, with their statuses.
    std::vector<int> StatusesOf(const std::string& entry) {
        std::vector<int> statuses;
        std::istringstream lines(ReadFileBytes(folder.At("trace.jsonl")));
        for (std::string line; std::getline(lines, line);) {
            Json::Value value;
            std::istringstream(line) >> value;
            if (value["kind"] == "call" && value["entry"] == entry) {
                statuses.push_back(value["status"].asInt());
            }
        }
        return statuses;
    }

    TempFolder folder;
    std::string output;
};

using Calls = std::vector<std::string>;

TEST_F(RoutingThroughHost, OpenThenCloseReachTheMonitorAndStopDestroysIt) {
    EXPECT_EQ(Open(""), (Calls{"construct", "OnProjectOpened", "ResetMonitor", "destroy"}));
}

TEST_F(RoutingThroughHost, StartSubscribesToProjectEventsWithTheMaskAndToElements) {
    Open("");
    EXPECT_EQ(StatusesOf("CatchNewElement"), (std::vector<int>{0}));
    EXPECT_EQ(StatusesOf("InstallElementObserver"), (std::vector<int>{0}));
    EXPECT_EQ(StatusesOf("CatchProjectEvent"), (std::vector<int>{0}));
    EXPECT_NE(ReadFileBytes(folder.At("trace.jsonl")).find("2097191"), std::string::npos)
        << "the mask 0x00200027";
}

TEST_F(RoutingThroughHost, ProjectEvent3IsIgnoredAndLibraryEventsCarryTheirIndex) {
    EXPECT_EQ(Open("event project 3\nevent library 5\nevent library 0\n"),
              (Calls{"construct", "OnProjectOpened", "OnLibPartChanged 5", "OnLibPartChanged 0",
                     "ResetMonitor", "destroy"}));
}

TEST_F(RoutingThroughHost, PlacedElementIsObservedSoItsChangesComeBack) {
    const Calls calls = Open("place 6 Objects/O1.xml\n");
    ASSERT_EQ(calls.size(), 5u);
    EXPECT_EQ(calls[2].rfind("OnElementEvent 6 ", 0), 0u) << calls[2];
    EXPECT_EQ(StatusesOf("AttachObserver"), (std::vector<int>{0}));
}

TEST_F(RoutingThroughHost, UnobservedElementChangeDoesNotReachTheAddOn) {
    EXPECT_EQ(Open(std::string("modify ") + kObjectGuid + "\n"),
              (Calls{"construct", "OnProjectOpened", "ResetMonitor", "destroy"}));
}

TEST_F(RoutingThroughHost, EveryElementTypeIsObservedAndPassedOn) {
    const Calls calls = Open("place 1\nplace 8\n");
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[2].rfind("OnElementEvent 1 ", 0), 0u);
    EXPECT_EQ(calls[3].rfind("OnElementEvent 8 ", 0), 0u);
    EXPECT_EQ(StatusesOf("AttachObserver"), (std::vector<int>{0, 0}));
}

}  // namespace
