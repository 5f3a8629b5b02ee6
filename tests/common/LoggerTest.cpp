// LoggerTest.cpp: the log's levels, its file, memory and debug sinks, and its lifetime.
#include "common/Logger.h"

#include "TestSupport.h"
#include "common/CUtils.h"
#include "common/Config.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using testfiles::Exists;
using testfiles::ListNames;
using testfiles::ReadFileText;
using testfiles::TempFolder;
using testfiles::Wide;
using testfiles::WriteFileBytes;
using testsupport::FileConfig;
using testsupport::FixedClock;
using testsupport::RecordedPlatform;
using testsupport::ScopedCurrentFolder;

// The console text in front of a non-error message at 13:05:09.
const WString kPrefix = u"01:05:09 [Orvanta Tools] ";
const WString kErrorPrefix = u"01:05:09 [Orvanta Tools] ERROR ";
// The file line of Entry() at 13:05:09.
const std::string kFileLine = "01:05:09 [ CUtils::X ] a 7 b (src/utils:42)\n";

// Points the module path, and with it the log file, somewhere else while it lives.
class ModulePath {
public:
    explicit ModulePath(const WString& path) : saved(CUtils::GetModulePath()) {
        CUtils::SetModulePathOverride(path);
    }
    ~ModulePath() { CUtils::SetModulePathOverride(saved); }
    ModulePath(const ModulePath&) = delete;
    ModulePath& operator=(const ModulePath&) = delete;

private:
    WString saved;
};

// A logger of the test's own, with its module file "tool.apx" in a fresh folder.
class LogSetup {
public:
    // Levels from a configuration file with `keys` in the section [OrvTools].
    explicit LogSetup(const std::string& keys) : module(folder.WideAt("tool.apx")) {
        WriteFileBytes(folder.At("config.ini"), "[OrvTools]\n" + keys);
        const FileConfig config(folder.WideAt("config.ini"));
        logger = std::make_unique<Logger>(config);
    }
    // Levels at their defaults.
    LogSetup() : module(folder.WideAt("tool.apx")) {
        Config_Dummy config;
        config.Init();
        logger = std::make_unique<Logger>(config);
    }

    Logger& Log() { return *logger; }
    const WString& Console() const { return logger->GetConsoleBuffer(); }

    // The names of the log files in the folder.
    std::vector<std::string> LogFiles() const {
        std::vector<std::string> names = ListNames(folder.At(""));
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [](const std::string& name) {
                                       return name.size() < 4 ||
                                              name.compare(name.size() - 4, 4, ".log") != 0;
                                   }),
                    names.end());
        return names;
    }
    // The text of the one log file; empty when there is none.
    std::string LogText() const {
        const std::vector<std::string> names = LogFiles();
        EXPECT_LE(names.size(), 1u);
        return names.empty() ? std::string() : ReadFileText(folder.At(names.front()));
    }

    TempFolder folder;

private:
    ModulePath module;
    std::unique_ptr<Logger> logger;
};

// An entry "a {0} b" with 7 from "src/utils", line 42, "CUtils::X".
bool Entry(Logger& logger, bool isError, LogTarget target = LogDefault,
           const char* format = "a {0} b") {
    const MessageArg seven(int32_t{7});
    return logger.Log(target, isError, "src/utils", 42, "CUtils::X",
                      FormattedMessage(format, seven));
}

// A non-error entry for the memory sink whose message is `message` itself.
void ConsoleEntry(Logger& logger, const std::string& message) {
    const MessageArg text(&message);
    logger.Log(LogBufferOnly, false, "src/t", 1, "T::f", FormattedMessage("{0}", text));
}

// `count` letters running through the alphabet, starting `shift` letters after "a", so that a
// cut's position shows.
std::string Letters(size_t count, size_t shift = 0) {
    std::string text(count, ' ');
    for (size_t i = 0; i < count; ++i)
        text[i] = static_cast<char>('a' + (shift + i) % 26);
    return text;
}

// The console text of a non-error entry with `message`: the line, less its final character.
WString ConsoleText(const std::string& message) {
    return kPrefix + Wide(message.substr(0, message.size() - 1));
}

// The length of such an entry's line with its line feed, which is what the cut reckons with.
size_t LineLength(const std::string& message) { return kPrefix.size() + message.size() + 1; }

// ---- Default keys ----

TEST(LoggerDefaults, NonErrorEntryWritesNothingAndReturnsFalse) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    EXPECT_FALSE(Entry(setup.Log(), false));
    EXPECT_TRUE(setup.LogFiles().empty());
    EXPECT_TRUE(setup.Console().empty());
}

TEST(LoggerDefaults, ErrorEntryGoesToFileAndMemoryButNotToDebugOutput) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const RecordedPlatform platform;
    LogSetup setup;
    EXPECT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(setup.LogText(), kFileLine);
    EXPECT_EQ(setup.Console(), kErrorPrefix + u"a 7 ");
    EXPECT_TRUE(RecordedPlatform::debugLines.empty());
}

TEST(LoggerDefaults, MemorySinkReservesItsCapacityOnlyWhenOn) {
    LogSetup on;
    EXPECT_GE(on.Log().GetConsoleCapacity(), Logger::kConsoleReserve);
    LogSetup off("consoleLog=0\n");
    EXPECT_LT(off.Log().GetConsoleCapacity(), Logger::kConsoleReserve);
}

TEST(LoggerDefaults, ProcessLoggerIgnoresNonErrorEntries) {
    const MessageArg arg(int32_t{1});
    EXPECT_FALSE(LogMessage(false, "src/t", 1, "T::f", FormattedMessage("note {0}", arg)));
}

// ---- Levels ----

TEST(LoggerLevels, EachSinkFollowsItsOwnLevel) {
    // 0 off, 1 errors only, 2 and above everything; for the file and the memory sink alike.
    for (const int fileLevel : {0, 1, 2, 3}) {
        for (const int consoleLevel : {0, 1, 2, 3}) {
            for (const bool isError : {false, true}) {
                SCOPED_TRACE("fileLog " + std::to_string(fileLevel) + ", consoleLog " +
                             std::to_string(consoleLevel) + (isError ? ", error" : ", non-error"));
                const FixedClock clock(2024, 3, 2, 13, 5, 9);
                LogSetup setup("fileLog=" + std::to_string(fileLevel) +
                               "\nconsoleLog=" + std::to_string(consoleLevel) + "\n");
                const bool toFile = fileLevel > (isError ? 0 : 1);
                const bool toConsole = consoleLevel > (isError ? 0 : 1);
                EXPECT_EQ(Entry(setup.Log(), isError), toFile || toConsole);
                EXPECT_EQ(setup.LogText(), toFile ? kFileLine : std::string());
                const WString line = (isError ? kErrorPrefix : kPrefix) + u"a 7 ";
                EXPECT_EQ(setup.Console(), toConsole ? line : WString());
            }
        }
    }
}

TEST(LoggerLevels, FileOffAndConsoleOnLeavesNoLogFile) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("fileLog=0\nconsoleLog=1\n");
    EXPECT_TRUE(Entry(setup.Log(), true));
    EXPECT_TRUE(setup.LogFiles().empty());
    EXPECT_EQ(setup.Console(), kErrorPrefix + u"a 7 ");
}

TEST(LoggerLevels, WordsInTheConfigurationSetLevels) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("fileLog=off\nconsoleLog=on\n");
    EXPECT_TRUE(Entry(setup.Log(), true));
    EXPECT_TRUE(setup.LogFiles().empty());
    EXPECT_FALSE(setup.Console().empty());
}

TEST(LoggerTarget, BufferOnlyWritesTheMemorySinkWhateverTheLevels) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("fileLog=2\nconsoleLog=0\n");
    EXPECT_TRUE(Entry(setup.Log(), false, LogBufferOnly));
    EXPECT_EQ(setup.Console(), kPrefix + u"a 7 ");
    EXPECT_TRUE(setup.LogFiles().empty());
}

TEST(LoggerTarget, FileOnlyWritesTheFileWhateverTheLevels) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("fileLog=0\nconsoleLog=2\n");
    EXPECT_TRUE(Entry(setup.Log(), false, LogFileOnly));
    EXPECT_EQ(setup.LogText(), kFileLine);
    EXPECT_TRUE(setup.Console().empty());
}

// ---- The file ----

TEST(LoggerFile, LineHoldsTimeFunctionMessageAndSource) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    ASSERT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(setup.LogText(), "01:05:09 [ CUtils::X ] a 7 b (src/utils:42)\n");
}

TEST(LoggerFile, SeverityDoesNotShowInTheFile) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("fileLog=2\nconsoleLog=0\n");
    ASSERT_TRUE(Entry(setup.Log(), false));
    ASSERT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(setup.LogText(), kFileLine + kFileLine);
}

TEST(LoggerFile, EachEntryAppendsOneLine) {
    LogSetup setup;
    {
        const FixedClock clock(2024, 3, 2, 13, 5, 9);
        ASSERT_TRUE(Entry(setup.Log(), true));
    }
    {
        const FixedClock clock(2024, 3, 2, 13, 5, 40);
        ASSERT_TRUE(Entry(setup.Log(), true, LogDefault, "second {0}"));
    }
    EXPECT_EQ(setup.LogText(), kFileLine + "01:05:40 [ CUtils::X ] second 7 (src/utils:42)\n");
}

TEST(LoggerFile, LineIsUtf8AndLabelsMayBeWide) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    const WString name = u"dveře.gsm";
    const MessageArg arg(&name);
    ASSERT_TRUE(setup.Log().Log(LogDefault, true, u"src/ůtils", 7, u"CUtils::Přejmenuj",
                                FormattedMessage(u"soubor {0} chybí", arg)));
    EXPECT_EQ(setup.LogText(),
              "01:05:09 [ CUtils::Přejmenuj ] soubor dveře.gsm chybí (src/ůtils:7)\n");
}

TEST(LoggerFile, NegativeLineIsWrittenAsItIs) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    const MessageArg arg(int32_t{1});
    ASSERT_TRUE(setup.Log().Log(LogDefault, true, "s", -3, "f", FormattedMessage("m{0}", arg)));
    EXPECT_EQ(setup.LogText(), "01:05:09 [ f ] m1 (s:-3)\n");
}

TEST(LoggerFile, MessageEndingInLineFeedsKeepsThemInTheFile) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    ASSERT_TRUE(Entry(setup.Log(), true, LogDefault, "a {0} b\n\n"));
    EXPECT_EQ(setup.LogText(), "01:05:09 [ CUtils::X ] a 7 b\n\n (src/utils:42)\n");
}

TEST(LoggerFile, FileThatCannotBeWrittenLosesTheLineQuietly) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    // The log file would stand in a folder that does not exist.
    const ModulePath nowhere(setup.folder.WideAt("missing/tool.apx"));
    EXPECT_TRUE(Entry(setup.Log(), true));
    EXPECT_FALSE(Exists(setup.folder.At("missing")));
    EXPECT_TRUE(setup.LogFiles().empty());
    EXPECT_EQ(setup.Console(), kErrorPrefix + u"a 7 ");
}

// ---- The file's name ----

TEST(LoggerFileName, IsModulePathWithStampOfTheFirstEntry) {
    LogSetup setup;
    const FixedClock clock(2024, 3, 2, 14, 30, 0);
    ASSERT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(setup.LogFiles(), std::vector<std::string>{"tool.apx_02_03_02_30.log"});
    EXPECT_EQ(setup.Log().GetLogFilePath(), setup.folder.WideAt("tool.apx_02_03_02_30.log"));
}

TEST(LoggerFileName, StampUsesTheTwelveHourClock) {
    LogSetup setup;
    const FixedClock clock(2024, 12, 31, 0, 7, 0);
    ASSERT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(setup.LogFiles(), std::vector<std::string>{"tool.apx_31_12_12_07.log"});
}

TEST(LoggerFileName, StampStaysWhenTheClockMovesOn) {
    LogSetup setup;
    {
        const FixedClock clock(2024, 3, 2, 14, 30, 0);
        ASSERT_TRUE(Entry(setup.Log(), true));
    }
    {
        const FixedClock clock(2024, 3, 5, 17, 45, 12);
        ASSERT_TRUE(Entry(setup.Log(), true));
        EXPECT_EQ(setup.Log().GetLogFilePath(), setup.folder.WideAt("tool.apx_02_03_02_30.log"));
    }
    EXPECT_EQ(setup.LogFiles(), std::vector<std::string>{"tool.apx_02_03_02_30.log"});
    EXPECT_EQ(setup.LogText(), "02:30:00 [ CUtils::X ] a 7 b (src/utils:42)\n"
                               "05:45:12 [ CUtils::X ] a 7 b (src/utils:42)\n");
}

TEST(LoggerFileName, EachModulePathKeepsItsOwnFile) {
    LogSetup setup;
    {
        const FixedClock clock(2024, 3, 2, 14, 30, 0);
        ASSERT_TRUE(Entry(setup.Log(), true));
    }
    {
        const FixedClock clock(2024, 3, 2, 15, 0, 0);
        const ModulePath other(setup.folder.WideAt("other.apx"));
        ASSERT_TRUE(Entry(setup.Log(), true));
    }
    {
        const FixedClock clock(2024, 3, 2, 16, 0, 0);
        ASSERT_TRUE(Entry(setup.Log(), true));
    }
    EXPECT_EQ(setup.LogFiles(),
              (std::vector<std::string>{"other.apx_02_03_03_00.log", "tool.apx_02_03_02_30.log"}));
    EXPECT_EQ(ReadFileText(setup.folder.At("other.apx_02_03_03_00.log")),
              "03:00:00 [ CUtils::X ] a 7 b (src/utils:42)\n");
    EXPECT_EQ(ReadFileText(setup.folder.At("tool.apx_02_03_02_30.log")),
              "02:30:00 [ CUtils::X ] a 7 b (src/utils:42)\n"
              "04:00:00 [ CUtils::X ] a 7 b (src/utils:42)\n");
}

// ---- Time ----

TEST(LoggerTime, UsesTheTwelveHourClockWithoutHalfOfDay) {
    {
        const FixedClock clock(2024, 3, 2, 13, 5, 9);
        EXPECT_EQ(Logger::GetTimeString(), "01:05:09");
    }
    {
        const FixedClock clock(2024, 3, 2, 0, 7, 3);
        EXPECT_EQ(Logger::GetTimeString(), "12:07:03");
    }
    {
        const FixedClock clock(2024, 3, 2, 9, 0, 59);
        EXPECT_EQ(Logger::GetTimeString(), "09:00:59");
    }
}

TEST(LoggerTime, AfternoonLineStartsWithTheTwelveHourTime) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    ASSERT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(setup.LogText().substr(0, 6), "01:05:");
    EXPECT_EQ(setup.Console().substr(0, 6), u"01:05:");
}

// ---- The memory sink ----

TEST(LoggerConsole, ErrorLineDropsItsFinalCharacter) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    ASSERT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(setup.Console(), u"01:05:09 [Orvanta Tools] ERROR a 7 ");
}

TEST(LoggerConsole, NonErrorLineHasNoErrorWord) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\n");
    ASSERT_TRUE(Entry(setup.Log(), false));
    EXPECT_EQ(setup.Console(), u"01:05:09 [Orvanta Tools] a 7 ");
}

TEST(LoggerConsole, EntriesStandDirectlyBehindEachOther) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\n");
    ASSERT_TRUE(Entry(setup.Log(), true));
    ASSERT_TRUE(Entry(setup.Log(), false, LogDefault, "c {0} d"));
    EXPECT_EQ(setup.Console(), u"01:05:09 [Orvanta Tools] ERROR a 7 01:05:09 [Orvanta Tools] c 7 ");
}

TEST(LoggerConsole, MessageEndingInLineFeedsLosesThemAndItsLastCharacter) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    ASSERT_TRUE(Entry(setup.Log(), true, LogDefault, "a {0} b\n\n"));
    EXPECT_EQ(setup.Console(), u"01:05:09 [Orvanta Tools] ERROR a 7 ");
}

TEST(LoggerConsole, LineFeedInsideTheMessageStays) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    ASSERT_TRUE(Entry(setup.Log(), true, LogDefault, "a\n{0} b"));
    EXPECT_EQ(setup.Console(), u"01:05:09 [Orvanta Tools] ERROR a\n7 ");
}

TEST(LoggerConsole, BufferThatNeverOverflowsStaysUncut) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\nfileLog=0\n");
    const size_t capacity = setup.Log().GetConsoleCapacity();
    WString expected;
    size_t total = 0;
    for (size_t shift = 0; total + LineLength(Letters(1000)) <= capacity; ++shift) {
        const std::string message = Letters(1000, shift);
        ConsoleEntry(setup.Log(), message);
        expected += ConsoleText(message);
        total += LineLength(message) - 2;
    }
    EXPECT_GT(expected.size(), capacity / 2);
    EXPECT_EQ(setup.Console(), expected);
    EXPECT_EQ(setup.Log().GetConsoleCapacity(), capacity);
}

TEST(LoggerConsole, EntryThatExactlyFillsTheCapacityCausesNoCut) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\nfileLog=0\n");
    const size_t capacity = setup.Log().GetConsoleCapacity();
    ASSERT_GE(capacity, Logger::kConsoleReserve);
    const std::string first = Letters(capacity / 2);
    ConsoleEntry(setup.Log(), first);
    const WString before = setup.Console();
    // Buffer size plus the second line's length with its line feed is the capacity exactly.
    const std::string second = Letters(capacity - before.size() - kPrefix.size() - 1, 10);
    ASSERT_EQ(before.size() + LineLength(second), capacity);
    ConsoleEntry(setup.Log(), second);
    EXPECT_EQ(setup.Console(), before + ConsoleText(second));
}

TEST(LoggerConsole, OverflowDropsTheMinimumBlockAndMarksTheCut) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\nfileLog=0\n");
    const size_t capacity = setup.Log().GetConsoleCapacity();
    ASSERT_GE(capacity, Logger::kConsoleReserve);
    // Fill to ten characters below the capacity.
    const std::string first = Letters(capacity - 10 - (kPrefix.size() - 1));
    ConsoleEntry(setup.Log(), first);
    const WString before = setup.Console();
    ASSERT_EQ(before.size(), capacity - 10);

    const std::string second = "abcdefgh";
    ConsoleEntry(setup.Log(), second);
    // 16384 characters go, then "...\n" stands over the first four of the rest.
    const WString expected =
        u"...\n" + before.substr(Logger::kConsoleCut + 4) + kPrefix + u"abcdefg";
    EXPECT_EQ(setup.Console(), expected);
    EXPECT_EQ(setup.Console().size(), capacity - 10 - 16384 + kPrefix.size() + 7);
    EXPECT_EQ(setup.Log().GetConsoleCapacity(), capacity);
}

TEST(LoggerConsole, LongEntryThatOverflowsDropsAsManyCharactersAsItHas) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\nfileLog=0\n");
    const size_t capacity = setup.Log().GetConsoleCapacity();
    ASSERT_GE(capacity, Logger::kConsoleReserve);
    ConsoleEntry(setup.Log(), Letters(capacity * 3 / 4));
    const WString before = setup.Console();

    const std::string second = Letters(capacity / 2, 12);
    const size_t length = LineLength(second);
    ASSERT_GT(length, Logger::kConsoleCut);
    ASSERT_GT(before.size() + length, capacity);
    ASSERT_GT(before.size(), length + 4);
    ConsoleEntry(setup.Log(), second);
    const WString expected = u"...\n" + before.substr(length + 4) + ConsoleText(second);
    EXPECT_EQ(setup.Console(), expected);
    EXPECT_EQ(setup.Log().GetConsoleCapacity(), capacity);
}

TEST(LoggerConsole, CutLeavingFourCharactersLeavesThemUnmarked) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\nfileLog=0\n");
    const size_t capacity = setup.Log().GetConsoleCapacity();
    const std::string second = Letters(capacity / 2, 16);
    const size_t length = LineLength(second);
    // The first entry leaves exactly four characters behind the cut of `length`.
    ConsoleEntry(setup.Log(), Letters(length + 4 - (kPrefix.size() - 1)));
    const WString before = setup.Console();
    ASSERT_EQ(before.size(), length + 4);
    ASSERT_GT(before.size() + length, capacity);

    ConsoleEntry(setup.Log(), second);
    EXPECT_EQ(setup.Console(), before.substr(length) + ConsoleText(second));
    EXPECT_NE(setup.Console().substr(0, 4), u"...\n");
}

TEST(LoggerConsole, CutLeavingFiveCharactersMarksTheFirstFour) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\nfileLog=0\n");
    const size_t capacity = setup.Log().GetConsoleCapacity();
    const std::string second = Letters(capacity / 2, 16);
    const size_t length = LineLength(second);
    ConsoleEntry(setup.Log(), Letters(length + 5 - (kPrefix.size() - 1)));
    const WString before = setup.Console();
    ASSERT_EQ(before.size(), length + 5);

    ConsoleEntry(setup.Log(), second);
    EXPECT_EQ(setup.Console(), u"...\n" + before.substr(length + 4) + ConsoleText(second));
}

TEST(LoggerConsole, OverflowOfSmallBufferEmptiesItWithoutMark) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup("consoleLog=2\nfileLog=0\n");
    const size_t capacity = setup.Log().GetConsoleCapacity();
    // A buffer shorter than the minimum block goes entirely.
    const std::string first = Letters(1000);
    ConsoleEntry(setup.Log(), first);
    const std::string second = Letters(capacity - 100, 25);
    ConsoleEntry(setup.Log(), second);
    EXPECT_EQ(setup.Console(), ConsoleText(second));
}

// ---- The debug channel ----

TEST(LoggerDebugChannel, ReceivesTheConsoleLineWithOneLineEnd) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const RecordedPlatform platform;
    LogSetup setup("debugviewLog=1\n");
    ASSERT_TRUE(Entry(setup.Log(), true));
    EXPECT_EQ(RecordedPlatform::debugLines,
              std::vector<WString>{u"01:05:09 [Orvanta Tools] ERROR a 7 b\n"});
}

TEST(LoggerDebugChannel, TrailingLineFeedsOfTheMessageBecomeOneLineEnd) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const RecordedPlatform platform;
    LogSetup setup("debugviewLog=2\n");
    ASSERT_TRUE(Entry(setup.Log(), true, LogDefault, "a {0} b\n\n\n"));
    EXPECT_EQ(RecordedPlatform::debugLines,
              std::vector<WString>{u"01:05:09 [Orvanta Tools] ERROR a 7 b\n"});
}

TEST(LoggerDebugChannel, RidesOnTheConsoleCondition) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const RecordedPlatform platform;
    LogSetup setup("debugviewLog=1\nconsoleLog=0\nfileLog=2\n");
    ASSERT_TRUE(Entry(setup.Log(), true));
    ASSERT_TRUE(Entry(setup.Log(), false));
    EXPECT_TRUE(RecordedPlatform::debugLines.empty());
    EXPECT_EQ(setup.LogText(), kFileLine + kFileLine);
}

TEST(LoggerDebugChannel, NonErrorBelowConsoleLevelSendsNothing) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const RecordedPlatform platform;
    LogSetup setup("debugviewLog=1\nconsoleLog=1\nfileLog=2\n");
    ASSERT_TRUE(Entry(setup.Log(), false));
    EXPECT_TRUE(RecordedPlatform::debugLines.empty());
}

TEST(LoggerDebugChannel, OffAtLevelZero) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const RecordedPlatform platform;
    LogSetup setup("debugviewLog=0\nconsoleLog=2\n");
    ASSERT_TRUE(Entry(setup.Log(), true));
    ASSERT_TRUE(Entry(setup.Log(), false));
    EXPECT_TRUE(RecordedPlatform::debugLines.empty());
}

TEST(LoggerDebugChannel, NonErrorLineHasNoErrorWord) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const RecordedPlatform platform;
    LogSetup setup("debugviewLog=1\nconsoleLog=2\n");
    ASSERT_TRUE(Entry(setup.Log(), false));
    EXPECT_EQ(RecordedPlatform::debugLines,
              std::vector<WString>{u"01:05:09 [Orvanta Tools] a 7 b\n"});
}

// ---- Rendering ----

TEST(LoggerRendering, EntryBelowTheLevelIsNotRendered) {
    TempFolder here;
    const ScopedCurrentFolder inHere(here.Path());
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    // Its narrow rendering would note the lone surrogate in error_string_log.txt.
    const WString broken = u"x\xD800y";
    const MessageArg arg(&broken);
    EXPECT_FALSE(setup.Log().Log(LogDefault, false, "s", 1, "f", FormattedMessage("{0}", arg)));
    EXPECT_FALSE(Exists(here.At("error_string_log.txt")));

    EXPECT_TRUE(setup.Log().Log(LogDefault, true, "s", 1, "f", FormattedMessage("{0}", arg)));
    EXPECT_TRUE(Exists(here.At("error_string_log.txt")));
    EXPECT_EQ(setup.LogText(), "01:05:09 [ f ] x (s:1)\n");
    EXPECT_EQ(setup.Console(), u"01:05:09 [Orvanta Tools] ERROR x\xD800");
}

TEST(LoggerRendering, BadArgumentTagBelowTheLevelStillReturnsFalse) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    MessageArg arg(int32_t{0});
    arg.tag = 99;
    EXPECT_FALSE(setup.Log().Log(LogDefault, false, "s", 1, "f", FormattedMessage("{0}", arg)));
    EXPECT_TRUE(setup.LogFiles().empty());
    EXPECT_TRUE(setup.Console().empty());
}

TEST(LoggerRendering, BadArgumentTagOfAnErrorBecomesWords) {
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    LogSetup setup;
    MessageArg arg(int32_t{0});
    arg.tag = 99;
    EXPECT_TRUE(setup.Log().Log(LogDefault, true, "s", 1, "f", FormattedMessage("<{0}>", arg)));
    EXPECT_EQ(setup.LogText(), "01:05:09 [ f ] <invalid arg type> (s:1)\n");
    EXPECT_EQ(setup.Console(), u"01:05:09 [Orvanta Tools] ERROR <invalid arg type");
}

TEST(LoggerRendering, BadUtf8ArgumentAlsoLogsTheConversionFailureFirst) {
    // The wide rendering of the entry meets the bad byte; the conversion's own error entry goes
    // to the process's log before the entry itself.
    TempFolder folder;
    const ModulePath module(folder.WideAt("tool.apx"));
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const std::string bad = "x\xFFy";
    const MessageArg arg(&bad);
    ASSERT_TRUE(LogMessage(true, "src/t", 5, "T::f", FormattedMessage("bad {0}", arg)));

    const std::string text = ReadFileText(folder.At("tool.apx_02_03_01_05.log"));
    const std::string inner = "01:05:09 [ CUtils::StringUTF8ToWstring ] StringUTF8ToWstring: "
                              "Invalid UTF-8 (src/utils_platforms:";
    const std::string outer = "01:05:09 [ T::f ] bad x\xFFy (src/t:5)\n";
    EXPECT_EQ(text.substr(0, inner.size()), inner);
    ASSERT_GE(text.size(), outer.size());
    EXPECT_EQ(text.substr(text.size() - outer.size()), outer);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);

    const WString console = Logger::Instance()->GetConsoleBuffer();
    const WString lines = u"01:05:09 [Orvanta Tools] ERROR StringUTF8ToWstring: Invalid UTF-"
                          u"01:05:09 [Orvanta Tools] ERROR bad ";
    ASSERT_GE(console.size(), lines.size());
    EXPECT_EQ(console.substr(console.size() - lines.size()), lines);
}

// ---- The process's instance ----

TEST(LoggerInstance, IsMadeOnceAndKept) {
    Logger* first = Logger::Instance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(Logger::Instance(), first);
}

TEST(LoggerInstance, LogMessageWritesErrorsWithDefaultKeys) {
    TempFolder folder;
    const ModulePath module(folder.WideAt("tool.apx"));
    const FixedClock clock(2024, 3, 2, 13, 5, 9);
    const MessageArg seven(int32_t{7});
    ASSERT_TRUE(LogMessage(true, "src/utils", 42, "CUtils::X", FormattedMessage("a {0} b", seven)));
    EXPECT_EQ(ReadFileText(folder.At("tool.apx_02_03_01_05.log")), kFileLine);
    const WString& console = Logger::Instance()->GetConsoleBuffer();
    const WString line = kErrorPrefix + u"a 7 ";
    ASSERT_GE(console.size(), line.size());
    EXPECT_EQ(console.substr(console.size() - line.size()), line);
}

// Runs at exit in the child, after the instance's teardown, which was registered later.
void CheckLoggerGoneAtExit() {
    const MessageArg arg(int32_t{1});
    const bool gone = Logger::Instance() == nullptr;
    const bool refused = !LogMessage(true, "src/t", 1, "T::f", FormattedMessage("late {0}", arg));
    _exit(gone && refused ? 0 : 3);
}

void ExitAfterUsingTheLogger() {
    std::atexit(&CheckLoggerGoneAtExit);
    if (Logger::Instance() == nullptr)
        _exit(4);
    std::exit(7);
}

TEST(LoggerLifetimeDeathTest, SafeAfterTeardown) {
    EXPECT_EXIT(ExitAfterUsingTheLogger(), testing::ExitedWithCode(0), "");
}

}  // namespace
