// DemoTest.cpp: `orvhost demo` as a user runs it: a script that updates the door and the window
// and a second open that finds them up to date; and the gui demo on a virtual display, whose
// summary is kept as a screenshot.
#include "TestFiles.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testfiles::Quote;
using testfiles::ReadFileBytes;
using testfiles::RunCommand;
using testfiles::TempFolder;
using testfiles::WriteFileBytes;

// The summary lists the monitored parts by name: D01 is row 1, then D02, L01, O01, and W01 is
// row 5. The message box after each update is acknowledged.
const char* const kUpdateScript = R"(# the summary comes one second after the scan
wait 2000
click 1
ok
click 5
ok
close
)";

const char* const kUpdatedMessage = "Objekt aktualizován, ale bude nutné znovu otevřít projekt";

// The orvhost under test: this build's, or the Windows build's under wine when
// ORV_ORVHOST_COMMAND names it (test.sh does), so that both play the same demo.
std::string Orvhost() { return testfiles::ProgramUnderTest("ORV_ORVHOST_COMMAND", ORVHOST); }

bool WindowsOrvhost() { return testfiles::OtherProgramUnderTest("ORV_ORVHOST_COMMAND"); }

std::vector<Json::Value> TraceLines(const std::string& path) {
    std::vector<Json::Value> lines;
    std::istringstream in(ReadFileBytes(path));
    std::string text;
    while (std::getline(in, text)) {
        Json::Value line;
        std::istringstream one(text);
        if (Json::parseFromStream(Json::CharReaderBuilder(), one, &line, nullptr)) {
            lines.push_back(line);
        }
    }
    return lines;
}

// The lines that orvhost status printed for the elements of `part` after `marker`.
std::vector<std::string> ElementLines(const std::string& output, std::size_t from,
                                      const std::string& part) {
    std::vector<std::string> lines;
    std::istringstream in(output.substr(from));
    std::string line;
    while (std::getline(in, line)) {
        if (line.find(" type ") != std::string::npos && line.find(part) != std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

class Demo : public ::testing::Test {
protected:
    int RunDemo(const std::string& options) {
        return RunCommand(Orvhost() + " demo " + options + " --folder " + Quote(Work()) +
                              " --trace " + Quote(TracePath()) + " </dev/null",
                          &output);
    }

    std::string Work(const std::string& name = "") const {
        return folder.At("work") + (name.empty() ? "" : "/" + name);
    }
    std::string TracePath() const { return folder.At("demo.trace"); }

    TempFolder folder;
    std::string output;
};

TEST_F(Demo, ScriptUpdatesTheDoorAndTheWindowAndTheSecondOpenFindsThemUpToDate) {
    const std::string script = folder.At("update.script");
    ASSERT_TRUE(WriteFileBytes(script, kUpdateScript));
    ASSERT_EQ(RunDemo("--ui script --script " + Quote(script)), 0) << output;

    int updated = 0;
    for (const Json::Value& line : TraceLines(TracePath())) {
        if (line["kind"] == "messagebox" && line["text"] == kUpdatedMessage) {
            ++updated;
        }
        EXPECT_NE(line["kind"], "exception") << line.toStyledString();
    }
    EXPECT_EQ(updated, 2) << ReadFileBytes(TracePath());

    // Before the updates, both stood at 2; after the second open, at 1.
    const std::size_t first = output.find("The project now");
    const std::size_t second = output.find("The project now", first + 1);
    ASSERT_NE(second, std::string::npos) << output;
    for (const char* part : {"Doors/D01 Vchodové dveře.xml", "Windows/W01 Kuchyňské okno.xml"}) {
        const std::vector<std::string> before = ElementLines(output.substr(0, second), first, part);
        const std::vector<std::string> after = ElementLines(output, second, part);
        ASSERT_EQ(before.size(), 2u) << part << "\n" << output;
        ASSERT_EQ(after.size(), 2u) << part << "\n" << output;
        for (const std::string& line : before) {
            EXPECT_NE(line.find("uptodate=2"), std::string::npos) << line;
        }
        for (const std::string& line : after) {
            EXPECT_NE(line.find("uptodate=1"), std::string::npos) << line;
        }
    }
    // The states the other parts keep: D02 up to date, O01 a test version, L01 unknown.
    for (const auto& [part, state] : std::vector<std::pair<std::string, std::string>>{
             {"Doors/D02 Balkonové dveře.xml", "uptodate=1"},
             {"Objects/O01 Jídelní židle.xml", "uptodate=3"},
             {"Lamps/L01 Stojací lampa.xml", "uptodate=0"}}) {
        const std::vector<std::string> after = ElementLines(output, second, part);
        ASSERT_EQ(after.size(), 1u) << part;
        EXPECT_NE(after[0].find(state), std::string::npos) << after[0];
    }

    // The door was replaced by the served file, the window's archive unpacked beside it.
    EXPECT_NE(
        ReadFileBytes(Work("Library/Doors/D01 Vchodové dveře.xml")).find("id=D01&version=2.0"),
        std::string::npos);
    EXPECT_NE(
        ReadFileBytes(Work("Library/Windows/W01 Kuchyňské okno.xml")).find("id=W01&version=2.0"),
        std::string::npos);
    for (const char* name : {"W01_frame.xml", "W01-readme.txt"}) {
        EXPECT_EQ(ReadFileBytes(Work(std::string("Library/Windows/") + name)),
                  ReadFileBytes(Work(std::string("service/zip/W01-2.0/") + name)))
            << name;
    }
    EXPECT_EQ(ReadFileBytes(Work("Library/Windows/W01 Kuchyňské okno.xml")),
              ReadFileBytes(Work("service/zip/W01-2.0/W01 Kuchyňské okno.xml")));
}

TEST_F(Demo, UpdateArchivePassesUnzipTest) {
    ASSERT_EQ(RunDemo("--ui none"), 0) << output;
    std::string listing;
    ASSERT_EQ(RunCommand("unzip -t " + Quote(Work("service/files/W01-2.0.zip")), &listing), 0)
        << listing;
    for (const char* name : {"W01 Kuchyňské okno.xml", "W01_frame.xml", "W01-readme.txt"}) {
        EXPECT_NE(listing.find(std::string("testing: ") + name), std::string::npos) << listing;
    }
    std::string member;
    ASSERT_EQ(RunCommand("unzip -p " + Quote(Work("service/files/W01-2.0.zip")) + " " +
                             Quote("W01 Kuchyňské okno.xml"),
                         &member),
              0);
    EXPECT_EQ(member, ReadFileBytes(Work("service/zip/W01-2.0/W01 Kuchyňské okno.xml")));
}

TEST_F(Demo, EveryPartAndServedFileNamesTheRunningService) {
    ASSERT_EQ(RunDemo("--ui none"), 0) << output;
    for (const auto& [path, bytes] : testfiles::FilesBelow(Work())) {
        EXPECT_EQ(bytes.find("{{SERVICE}}"), std::string::npos) << path;
    }
    const std::size_t at = output.find("Version service: http://127.0.0.1:");
    ASSERT_NE(at, std::string::npos) << output;
    const std::string base = output.substr(at + 17, output.find(' ', at + 17) - at - 17);
    EXPECT_NE(
        ReadFileBytes(Work("Library/Doors/D01 Vchodové dveře.xml")).find(base + "/check?id=D01"),
        std::string::npos)
        << base;
    EXPECT_NE(
        ReadFileBytes(Work("service/files/D01 Vchodové dveře.xml")).find(base + "/check?id=D01"),
        std::string::npos);
}

// The folder, the trace and the script named with letters that no ANSI code page of a Windows
// program's argv carries whole (Czech and Greek): the project is found, opened and shown twice.
TEST_F(Demo, RunsInAFolderNamedOutsideTheAnsiCodePage) {
    const std::string base = folder.At("Příliš žluťoučký kůň Ωμέγα");
    const std::string script = base + "/skript.script";
    ASSERT_TRUE(WriteFileBytes(script, kUpdateScript));
    ASSERT_EQ(RunCommand(Orvhost() + " demo --ui script --script " + Quote(script) + " --folder " +
                             Quote(base + "/práce") + " --trace " + Quote(base + "/stopa.trace") +
                             " </dev/null",
                         &output),
              0)
        << output;
    const std::size_t first = output.find("The project now");
    ASSERT_NE(output.find("The project now", first + 1), std::string::npos) << output;
    EXPECT_NE(ReadFileBytes(base + "/práce/Library/Doors/D01 Vchodové dveře.xml")
                  .find("id=D01&version=2.0"),
              std::string::npos);
    EXPECT_FALSE(TraceLines(base + "/stopa.trace").empty());
}

TEST_F(Demo, WorkingFolderThatHoldsFilesIsRefused) {
    ASSERT_TRUE(WriteFileBytes(Work("mine.txt"), "kept"));
    EXPECT_EQ(RunDemo("--ui none"), 1) << output;
    EXPECT_NE(output.find("not empty"), std::string::npos) << output;
    EXPECT_EQ(ReadFileBytes(Work("mine.txt")), "kept");
}

TEST_F(Demo, WithoutADisplayFallsBackToTheTextInterfaceAndSaysSo) {
    if (WindowsOrvhost()) {
        GTEST_SKIP() << "Windows always has a display";
    }
    // At the end of its input the text interface closes what it shows, so the demo ends.
    ASSERT_EQ(RunCommand("env -u DISPLAY " + std::string(ORVHOST) + " demo --folder " +
                             Quote(Work()) + " </dev/null",
                         &output),
              0)
        << output;
    EXPECT_NE(output.find("no X display"), std::string::npos) << output;
    EXPECT_NE(output.find("User interface:  text"), std::string::npos) << output;
    EXPECT_NE(output.find("Seznam aktualizovateln"), std::string::npos) << output;
}

TEST_F(Demo, BadCommandLineShowsTheUsage) {
    for (const char* options : {"--ui paper", "--ui none --script x", "--folder", "extra"}) {
        EXPECT_EQ(RunCommand(Orvhost() + " demo " + options, &output), 2) << options;
        EXPECT_NE(output.find("usage: orvhost demo"), std::string::npos) << output;
    }
    EXPECT_EQ(RunCommand(Orvhost() + " demo --help", &output), 0);
    EXPECT_NE(output.find("--folder DIR"), std::string::npos) << output;
}

// Run by its own ctest under Xvfb (DemoGui.UnderXvfb), not among the others; skipped without a
// display.
TEST(DemoGui, ShowsTheSummaryAndKeepsItsScreenshot) {
    if (std::getenv("DISPLAY") == nullptr) {
        GTEST_SKIP() << "no X display";
    }
    TempFolder folder;
    const std::filesystem::path artifact =
        std::filesystem::path(DEMO_ARTIFACTS_DIR) /
        (WindowsOrvhost() ? "demo-summary-windows.png" : "demo-summary.png");
    std::filesystem::create_directories(artifact.parent_path());
    std::filesystem::remove(artifact);
    std::string output;
    // Every window closes by itself, as by its close box: the summary leaves both parts to be
    // updated, and the second open shows it again.
    ASSERT_EQ(RunCommand("ORV_GUI_SCREENSHOT=" + Quote(artifact.string()) +
                             " ORV_GUI_CLOSE_AFTER_MS=1500 " + Orvhost() + " demo --folder " +
                             Quote(folder.At("work")) + " --trace " +
                             Quote(folder.At("demo.trace")) + " </dev/null",
                         &output),
              0)
        << output;
    EXPECT_NE(output.find("User interface:  gui"), std::string::npos) << output;

    int opened = 0;
    Json::Value summary;
    for (const Json::Value& line : TraceLines(folder.At("demo.trace"))) {
        if (line["kind"] == "dialog" && line["event"] == "open") {
            if (opened++ == 0) {
                summary = line;
            }
        }
    }
    EXPECT_EQ(opened, 2);

    // A PNG of the summary's client area.
    const std::string png = ReadFileBytes(artifact.string());
    ASSERT_GE(png.size(), 24u) << output;
    EXPECT_EQ(png.substr(0, 8), std::string("\x89PNG\r\n\x1A\n", 8));
    auto bigEndian = [&png](std::size_t at) {
        return (static_cast<uint32_t>(static_cast<unsigned char>(png[at])) << 24) |
               (static_cast<uint32_t>(static_cast<unsigned char>(png[at + 1])) << 16) |
               (static_cast<uint32_t>(static_cast<unsigned char>(png[at + 2])) << 8) |
               static_cast<uint32_t>(static_cast<unsigned char>(png[at + 3]));
    };
    EXPECT_EQ(bigEndian(16), summary["width"].asUInt()) << summary.toStyledString();
    EXPECT_EQ(bigEndian(20), summary["height"].asUInt());
}

}  // namespace
