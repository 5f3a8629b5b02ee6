// RenameTest.cpp: CUtils::RenameFileOV and CUtils::ReplaceFileOV, within one file system and
// across two, and the log entries they write.
#include "FileUtilsTestSupport.h"
#include "TestSupport.h"
#include "common/CUtils.h"
#include "common/Config.h"
#include "common/Logger.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using fileutilstest::Contains;
using fileutilstest::MakeFolder;
using testfiles::Exists;
using testfiles::ListNames;
using testfiles::Narrow;
using testfiles::ReadFileBytes;
using testfiles::TempFolder;
using testfiles::Wide;
using testfiles::WriteFileBytes;
using testsupport::CountOf;
using testsupport::IsolatedLog;

bool OnDifferentDevices(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev != second.st_dev;
}

// ---- Death-test children ----
//
// A death test's child is a fresh process; these run there and report on standard error.

WString everyEntryConfigPath;

std::unique_ptr<ConfigImpl> EveryEntryInConsole() {
    return std::make_unique<testsupport::FileConfig>(everyEntryConfigPath);
}

// Makes this process's logger keep every entry, error or not, in its console sink (where an
// error shows as "ERROR " in front of its text), and write nothing to the file.
Logger* StartLoggerWithEveryEntry(const TempFolder& folder) {
    WriteFileBytes(folder.At("every-entry.ini"), "[OrvTools]\nfileLog = 0\nconsoleLog = 2\n");
    everyEntryConfigPath = folder.WideAt("every-entry.ini");
    ConfigImpl::RegisterFactory(&EveryEntryInConsole);
    return Logger::Instance();
}

// Renames over an existing file in a fresh process and prints how the entry reached the log.
void RenameOverExistingFileInFreshProcess(bool overwrite) {
    bool renamed = false;
    std::string console;
    std::string entry;
    {
        TempFolder folder;
        Logger* logger = StartLoggerWithEveryEntry(folder);
        WriteFileBytes(folder.At("from.txt"), "new");
        WriteFileBytes(folder.At("to.txt"), "old");
        renamed =
            CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("to.txt"), overwrite);
        console = Narrow(logger->GetConsoleBuffer());
        entry = "Rename from \"" + folder.At("from.txt") + "\" to \"" + folder.At("to.txt") +
                "\", target is already existing fil";
    }
    std::fprintf(stderr, "renamed: %s\n", renamed ? "yes" : "no");
    std::fprintf(stderr, "entry: %s\n",
                 Contains(console, "ERROR " + entry)             ? "error"
                 : Contains(console, "[Orvanta Tools] " + entry) ? "non-error"
                                                                 : "missing");
    std::exit(0);
}

// Renames a missing file in a fresh process and prints how the entry reached the log.
void RenameMissingFileInFreshProcess() {
    std::string console;
    std::string entry;
    {
        TempFolder folder;
        Logger* logger = StartLoggerWithEveryEntry(folder);
        CUtils::RenameFileOV(folder.WideAt("missing.txt"), folder.WideAt("to.txt"), true);
        console = Narrow(logger->GetConsoleBuffer());
        entry = "Rename from \"" + folder.At("missing.txt") + "\" to \"" + folder.At("to.txt") +
                "\", from doesn't exist";
    }
    std::fprintf(stderr, "entry: %s\n",
                 Contains(console, "[Orvanta Tools] ERROR " + entry) ? "error"
                 : Contains(console, entry)                          ? "non-error"
                                                                     : "missing");
    std::exit(0);
}

}  // namespace

// ---- RenameFileOV ----

TEST(RenameFileOV, RenamesFileToFreeName) {
    IsolatedLog log;
    TempFolder folder;
    WriteFileBytes(folder.At("from.txt"), "content");
    EXPECT_TRUE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("to.txt"), false));
    EXPECT_FALSE(Exists(folder.At("from.txt")));
    EXPECT_EQ(ReadFileBytes(folder.At("to.txt")), "content");
    EXPECT_EQ(log.Text(), "");
}

TEST(RenameFileOV, MissingFromIsFalseAndLoggedAsError) {
    IsolatedLog log;
    TempFolder folder;
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("missing"), folder.WideAt("to"), true));
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::RenameFileOV ] Rename from \"" + folder.At("missing") +
                                      "\" to \"" + folder.At("to") +
                                      "\", from doesn't exists (src/utils:"),
              1u);
    EXPECT_FALSE(Exists(folder.At("to")));
}

TEST(RenameFileOV, ExistingTargetWithoutOverwriteIsFalseAndWritesNoErrorEntry) {
    IsolatedLog log;
    TempFolder folder;
    WriteFileBytes(folder.At("from.txt"), "new");
    WriteFileBytes(folder.At("to.txt"), "old");
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("to.txt"), false));
    EXPECT_EQ(ReadFileBytes(folder.At("from.txt")), "new");
    EXPECT_EQ(ReadFileBytes(folder.At("to.txt")), "old");
    // The default log file takes errors only: a non-error entry leaves no line.
    EXPECT_EQ(log.Text(), "");
}

TEST(RenameFileOV, ExistingTargetWithOverwriteIsReplaced) {
    IsolatedLog log;
    TempFolder folder;
    WriteFileBytes(folder.At("from.txt"), "new");
    WriteFileBytes(folder.At("to.txt"), "old");
    EXPECT_TRUE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("to.txt"), true));
    EXPECT_FALSE(Exists(folder.At("from.txt")));
    EXPECT_EQ(ReadFileBytes(folder.At("to.txt")), "new");
    EXPECT_EQ(log.Text(), "");
}

TEST(RenameFileOVDeathTest, ExistingTargetIsLoggedAsNonErrorEntry) {
    // The child is a fresh process whose logger can be made to keep non-error entries too.
    EXPECT_EXIT(RenameOverExistingFileInFreshProcess(false), testing::ExitedWithCode(0),
                "^renamed: no\nentry: non-error\n$");
    EXPECT_EXIT(RenameOverExistingFileInFreshProcess(true), testing::ExitedWithCode(0),
                "^renamed: yes\nentry: non-error\n$");
}

TEST(RenameFileOVDeathTest, MissingFromIsLoggedAsErrorEntry) {
    EXPECT_EXIT(RenameMissingFileInFreshProcess(), testing::ExitedWithCode(0), "^entry: error\n$");
}

TEST(RenameFileOV, FolderAsFromIsRenamed) {
    TempFolder folder;
    MakeFolder(folder.At("old/sub"));
    WriteFileBytes(folder.At("old/sub/file.txt"), "x");
    EXPECT_TRUE(CUtils::RenameFileOV(folder.WideAt("old"), folder.WideAt("new"), false));
    EXPECT_FALSE(Exists(folder.At("old")));
    EXPECT_EQ(ReadFileBytes(folder.At("new/sub/file.txt")), "x");
}

TEST(RenameFileOV, FolderTargetWithOverwriteFailsAtDeleteAndIsKept) {
    IsolatedLog log;
    TempFolder folder;
    WriteFileBytes(folder.At("from.txt"), "new");
    MakeFolder(folder.At("target"));
    WriteFileBytes(folder.At("target/inner.txt"), "inner");
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("target"), true));
    EXPECT_EQ(ReadFileBytes(folder.At("target/inner.txt")), "inner");
    EXPECT_EQ(ReadFileBytes(folder.At("from.txt")), "new");
    EXPECT_EQ(
        CountOf(log.Text(), "[ CUtils::RenameFileOV ] Failed to delete rename target file \"" +
                                folder.At("target") + "\" (src/utils:"),
        1u);
}

TEST(RenameFileOV, FolderTargetWithoutOverwriteIsFalseWithoutErrorEntry) {
    IsolatedLog log;
    TempFolder folder;
    MakeFolder(folder.At("from"));
    MakeFolder(folder.At("target"));
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("from"), folder.WideAt("target"), false));
    EXPECT_TRUE(fs::is_directory(folder.At("from")));
    EXPECT_EQ(log.Text(), "");
}

TEST(RenameFileOV, FailedRenameIsLoggedWithMinusOne) {
    IsolatedLog log;
    TempFolder folder;
    WriteFileBytes(folder.At("from.txt"), "x");
    const WString to = folder.WideAt("missing-folder/to.txt");
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("from.txt"), to, false));
    EXPECT_EQ(ReadFileBytes(folder.At("from.txt")), "x");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::RenameFileOV ] Rename from \"" +
                                      folder.At("from.txt") + "\" to \"" + Narrow(to) +
                                      "\" failed, err: -1 (src/utils:"),
              1u);
}

TEST(RenameFileOV, FileMovesAcrossFileSystems) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    const TempFolder shm("/dev/shm");
    const std::string content(200000, 'z');
    WriteFileBytes(shm.At("part.gsm"), content);
    ASSERT_EQ(::chmod(shm.At("part.gsm").c_str(), 0640), 0);
    EXPECT_TRUE(CUtils::RenameFileOV(Wide(shm.At("part.gsm")), disk.WideAt("part.gsm"), false));
    EXPECT_EQ(ReadFileBytes(disk.At("part.gsm")), content);
    EXPECT_FALSE(Exists(shm.At("part.gsm")));
    // Neither the copy's temporary name nor anything else is left beside the target.
    EXPECT_EQ(ListNames(disk.At("")), std::vector<std::string>{"part.gsm"});
    struct stat info {};
    ASSERT_EQ(::stat(disk.At("part.gsm").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
}

TEST(RenameFileOV, FileMovesAcrossFileSystemsOverExistingTarget) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    const TempFolder shm("/dev/shm");
    WriteFileBytes(disk.At("from.txt"), "new");
    WriteFileBytes(shm.At("to.txt"), "old and longer");
    EXPECT_TRUE(CUtils::RenameFileOV(disk.WideAt("from.txt"), Wide(shm.At("to.txt")), true));
    EXPECT_EQ(ReadFileBytes(shm.At("to.txt")), "new");
    EXPECT_FALSE(Exists(disk.At("from.txt")));
    EXPECT_TRUE(ListNames(disk.At("")).empty());
}

TEST(RenameFileOV, FileWithLongestNameMovesAcrossFileSystems) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    const TempFolder shm("/dev/shm");
    // 255 bytes, the most a name may hold: "ř" takes two.
    std::string name;
    for (int i = 0; i < 127; ++i)
        name += "\xc5\x99";
    name += "x";
    WriteFileBytes(shm.At(name), "long");
    ASSERT_TRUE(Exists(shm.At(name)));
    EXPECT_TRUE(CUtils::RenameFileOV(Wide(shm.At(name)), disk.WideAt(name), false));
    EXPECT_EQ(ReadFileBytes(disk.At(name)), "long");
    EXPECT_FALSE(Exists(shm.At(name)));
    EXPECT_EQ(ListNames(disk.At("")), std::vector<std::string>{name});
}

TEST(RenameFileOV, FolderDoesNotMoveAcrossFileSystems) {
    IsolatedLog log;
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    const TempFolder shm("/dev/shm");
    MakeFolder(disk.At("folder"));
    WriteFileBytes(disk.At("folder/file.txt"), "x");
    EXPECT_FALSE(CUtils::RenameFileOV(disk.WideAt("folder"), Wide(shm.At("folder")), false));
    EXPECT_EQ(ReadFileBytes(disk.At("folder/file.txt")), "x");
    EXPECT_FALSE(Exists(shm.At("folder")));
    EXPECT_TRUE(Contains(log.Text(), "\" failed, err: -1 (src/utils:"));
}

// ---- ReplaceFileOV ----

TEST(ReplaceFileOV, PutsTheFileInPlaceOfTheOldOne) {
    IsolatedLog log;
    TempFolder folder;
    WriteFileBytes(folder.At("new.txt"), "new");
    WriteFileBytes(folder.At("to.txt"), "old");
    EXPECT_TRUE(CUtils::ReplaceFileOV(folder.WideAt("new.txt"), folder.WideAt("to.txt")));
    EXPECT_EQ(ListNames(folder.At("")), std::vector<std::string>{"to.txt"});
    EXPECT_EQ(ReadFileBytes(folder.At("to.txt")), "new");
    EXPECT_EQ(log.Text(), "");
}

TEST(ReplaceFileOV, FailureLeavesBothFilesAndIsLoggedWithTheSystemError) {
    IsolatedLog log;
    TempFolder folder;
    WriteFileBytes(folder.At("new.txt"), "new");
    MakeFolder(folder.At("target"));
    WriteFileBytes(folder.At("target/inner.txt"), "inner");
    // A folder is not replaced by a file; unlike RenameFileOV, nothing was deleted beforehand.
    EXPECT_FALSE(CUtils::ReplaceFileOV(folder.WideAt("new.txt"), folder.WideAt("target")));
    EXPECT_EQ(ReadFileBytes(folder.At("new.txt")), "new");
    EXPECT_EQ(ReadFileBytes(folder.At("target/inner.txt")), "inner");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::ReplaceFileOV ] Replacing \"" + folder.At("target") +
                                      "\" by \"" + folder.At("new.txt") +
                                      "\" failed, err: " + std::to_string(EISDIR) + " (src/utils:"),
              1u);
}

TEST(ReplaceFileOV, FileReplacesTheOldOneAcrossFileSystems) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    const TempFolder shm("/dev/shm");
    WriteFileBytes(shm.At("new.gsm"), std::string(200000, 'n'));
    WriteFileBytes(disk.At("part.gsm"), "old");
    EXPECT_TRUE(CUtils::ReplaceFileOV(Wide(shm.At("new.gsm")), disk.WideAt("part.gsm")));
    EXPECT_EQ(ReadFileBytes(disk.At("part.gsm")), std::string(200000, 'n'));
    EXPECT_FALSE(Exists(shm.At("new.gsm")));
    // Neither the copy's temporary name nor anything else is left beside the target.
    EXPECT_EQ(ListNames(disk.At("")), std::vector<std::string>{"part.gsm"});
}

TEST(ReplaceFileOV, FailureAcrossFileSystemsLeavesBothFiles) {
    IsolatedLog log;
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    const TempFolder shm("/dev/shm");
    WriteFileBytes(shm.At("new.gsm"), "new");
    MakeFolder(disk.At("target"));
    WriteFileBytes(disk.At("target/inner.txt"), "inner");
    EXPECT_FALSE(CUtils::ReplaceFileOV(Wide(shm.At("new.gsm")), disk.WideAt("target")));
    EXPECT_EQ(ReadFileBytes(shm.At("new.gsm")), "new");
    EXPECT_EQ(ReadFileBytes(disk.At("target/inner.txt")), "inner");
    EXPECT_EQ(ListNames(disk.At("")), std::vector<std::string>{"target"});
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::ReplaceFileOV ] Replacing"), 1u);
}
