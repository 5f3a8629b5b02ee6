// FolderTest.cpp: the folder operations of CUtils: CreateDirectories, RemoveDirectoryOV with the
// guard that stops it on a short path, and the listing of files and subfolders.
#include "FileUtilsTestSupport.h"
#include "TestSupport.h"
#include "common/CUtils.h"
#include "common/Logger.h"
#include "common/PlatformHooks.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

// The separator the listings write between the folder and a name: the platform's.
const WString kSep = CUtils::GetPathSeparator();

namespace {

namespace fs = std::filesystem;
using fileutilstest::Contains;
using fileutilstest::MakeFolder;
using testfiles::Exists;
using testfiles::ListNames;
using testfiles::MakeLink;
using testfiles::Narrow;
using testfiles::ReadFileBytes;
using testfiles::TempFolder;
using testfiles::WriteFileBytes;
using testsupport::CountOf;
using testsupport::IsolatedLog;
using testsupport::ScopedCurrentFolder;

std::vector<WString> Sorted(std::vector<WString> items) {
    std::sort(items.begin(), items.end());
    return items;
}

// ---- Death-test children ----
//
// A death test's child is a fresh process; these run there and report on standard error.

struct GuardWatch {
    std::string logPath;
    std::string logBefore;
    std::string expectedEntry;
};
GuardWatch guardWatch;

void ReportAlertAndLog(void*, const WString& caption, const WString& text, uint32_t type) {
    const std::string now = ReadFileBytes(guardWatch.logPath);
    const std::string added =
        now.size() >= guardWatch.logBefore.size() ? now.substr(guardWatch.logBefore.size()) : now;
    std::fprintf(stderr, "entry logged before alert: %s\n",
                 Contains(added, guardWatch.expectedEntry) ? "yes" : "no");
    std::fprintf(stderr, "alert caption=[%s] type=%#x text=[%s]\n", Narrow(caption).c_str(), type,
                 Narrow(text).c_str());
}

void WatchGuard(const std::string& expectedEntry) {
    guardWatch.logPath = Narrow(Logger::Instance()->GetLogFilePath());
    guardWatch.logBefore = ReadFileBytes(guardWatch.logPath);
    guardWatch.expectedEntry = expectedEntry;
    GetPlatformHooks().messageBox = &ReportAlertAndLog;
}

void RemoveGuardedDirectory(const WString& path) {
    WatchGuard("[ CUtils::RemoveDirectoryOV ] CUtils::RemoveDirectoryOV invalid directory: \"" +
               Narrow(path) + "\" (src/utils:");
    CUtils::RemoveDirectoryOV(path, true, true, false);
    std::fprintf(stderr, "went on past the guard\n");
}

void ListGuardedDirectory(const WString& path) {
    WatchGuard("GetSubdirectoriesInDirectory");
    CUtils::GetSubdirectoriesInDirectory(path);
    std::fprintf(stderr, "went on past the guard\n");
}

// Would write a line at the normal end of the process: by an exit handler and by the destructor
// of an object with static storage.
struct ExitWitness {
    ~ExitWitness() { std::fprintf(stderr, "static destructor ran\n"); }
};

void WatchForNormalExit() {
    static ExitWitness witness;
    std::atexit([] { std::fprintf(stderr, "exit handler ran\n"); });
}

}  // namespace

// ---- CreateDirectories ----

TEST(CreateDirectories, MakesEveryMissingFolderOfTheChain) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("a/b/c"), false));
    EXPECT_TRUE(fs::is_directory(folder.At("a/b/c")));
}

TEST(CreateDirectories, ExistingFolderIsTrueAndKeepsItsContent) {
    TempFolder folder;
    MakeFolder(folder.At("a"));
    WriteFileBytes(folder.At("a/keep.txt"), "keep");
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("a"), false));
    EXPECT_EQ(ReadFileBytes(folder.At("a/keep.txt")), "keep");
}

TEST(CreateDirectories, StripFileNameMakesOnlyTheFolderPart) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("a/b/part.gsm"), true));
    EXPECT_TRUE(fs::is_directory(folder.At("a/b")));
    EXPECT_FALSE(Exists(folder.At("a/b/part.gsm")));
}

TEST(CreateDirectories, StripFileNameOfBareNameMakesThatNameAsFolder) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    EXPECT_TRUE(CUtils::CreateDirectories(u"part.gsm", true));
    EXPECT_TRUE(fs::is_directory(folder.At("part.gsm")));
}

TEST(CreateDirectories, TrailingSeparatorMakesTheFolder) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("a/b/"), false));
    EXPECT_TRUE(fs::is_directory(folder.At("a/b")));
}

TEST(CreateDirectories, BelowAFileReturnsTrueAndMakesNothing) {
    TempFolder folder;
    WriteFileBytes(folder.At("file"), "content");
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("file/sub/deeper"), false));
    EXPECT_TRUE(fs::is_regular_file(folder.At("file")));
    EXPECT_EQ(ReadFileBytes(folder.At("file")), "content");
    EXPECT_EQ(ListNames(folder.At("")), std::vector<std::string>{"file"});
}

TEST(CreateDirectories, OnRootThatCannotHoldFoldersReturnsTrueAndMakesNothing) {
    // /proc takes no new folders, for any user: the nearest thing to a drive that is not there.
    EXPECT_TRUE(CUtils::CreateDirectories(u"/proc/orvtest-no-drive/a/b", false));
    EXPECT_FALSE(Exists("/proc/orvtest-no-drive"));
}

TEST(CreateDirectories, EmptyPathIsFalseAndLoggedAsError) {
    IsolatedLog log;
    EXPECT_FALSE(CUtils::CreateDirectories(u"", false));
    EXPECT_FALSE(CUtils::CreateDirectories(u"", true));
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::CreateDirectories ] CUtils::CreateDirectories "
                                  "invalid path:  (src/utils:"),
              2u);
}

// ---- RemoveDirectoryOV ----

TEST(RemoveDirectoryOVDeathTest, ShorterPathLogsThenAlertsThenExitsWith18) {
    EXPECT_EXIT(RemoveGuardedDirectory(u"abc"), testing::ExitedWithCode(18),
                "^entry logged before alert: yes\n"
                "alert caption=\\[Alert\\] type=0x30 text=\\[ERROR: RemoveDirectoryOV tried to "
                "delete the directory abc\\.\n Aborted\\.\\]\n$");
}

TEST(RemoveDirectoryOVDeathTest, EmptyPathLogsThenAlertsThenExitsWith18) {
    EXPECT_EXIT(RemoveGuardedDirectory(u""), testing::ExitedWithCode(18),
                "^entry logged before alert: yes\n"
                "alert caption=\\[Alert\\] type=0x30 text=\\[ERROR: RemoveDirectoryOV tried to "
                "delete the directory \\.\n Aborted\\.\\]\n$");
}

TEST(RemoveDirectoryOVDeathTest, DriveRootStopsWithAlertOnStandardErrorAndStatus18) {
    // No message box hook in the child: the machine's own alert, a line on standard error on
    // Linux, the system's message box on Windows, which answers itself and says what it showed.
    EXPECT_EXIT(
        {
            testfiles::AnswerSystemAlerts();
            CUtils::RemoveDirectoryOV(u"C:\\", true, true, false);
        },
        testing::ExitedWithCode(18),
        "^Alert: ERROR: RemoveDirectoryOV tried to delete the directory C:\\\\\\.\n Aborted\\.\n$");
}

TEST(RemoveDirectoryOVDeathTest, StopsAtOnceWithoutExitHandlersOrStaticDestructors) {
    EXPECT_EXIT(
        {
            testfiles::AnswerSystemAlerts();
            WatchForNormalExit();
            CUtils::RemoveDirectoryOV(u"C:", true, true, false);
        },
        testing::ExitedWithCode(18),
        "^Alert: ERROR: RemoveDirectoryOV tried to delete the directory C:\\.\n Aborted\\.\n$");
}

TEST(RemoveDirectoryOV, PathOfExactlyFourCharactersIsRemoved) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder("abcd/sub");
    WriteFileBytes("abcd/file.txt", "x");
    WriteFileBytes("abcd/sub/inner.txt", "y");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(u"abcd", true, true, false));
    EXPECT_FALSE(Exists(folder.At("abcd")));
}

TEST(RemoveDirectoryOV, RemovesWholeTree) {
    TempFolder folder;
    MakeFolder(folder.At("tree/a/b"));
    MakeFolder(folder.At("tree/c"));
    WriteFileBytes(folder.At("tree/one.txt"), "1");
    WriteFileBytes(folder.At("tree/a/two.txt"), "2");
    WriteFileBytes(folder.At("tree/a/b/three.txt"), "3");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_FALSE(Exists(folder.At("tree")));
}

TEST(RemoveDirectoryOV, KeepDirectoryEmptiesButKeepsTheFolder) {
    TempFolder folder;
    MakeFolder(folder.At("tree/a"));
    WriteFileBytes(folder.At("tree/one.txt"), "1");
    WriteFileBytes(folder.At("tree/a/two.txt"), "2");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, true));
    EXPECT_TRUE(fs::is_directory(folder.At("tree")));
    EXPECT_TRUE(ListNames(folder.At("tree")).empty());
}

TEST(RemoveDirectoryOV, WithoutRecursiveDeletesOnlyFilesAndStillReturnsTrue) {
    TempFolder folder;
    MakeFolder(folder.At("tree/a"));
    WriteFileBytes(folder.At("tree/one.txt"), "1");
    WriteFileBytes(folder.At("tree/a/two.txt"), "2");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, false, false));
    EXPECT_EQ(ListNames(folder.At("tree")), std::vector<std::string>{"a"});
    EXPECT_EQ(ReadFileBytes(folder.At("tree/a/two.txt")), "2");
}

TEST(RemoveDirectoryOV, WithoutRemoveContentsRemovesOnlyAnEmptyFolder) {
    TempFolder folder;
    MakeFolder(folder.At("empty"));
    MakeFolder(folder.At("full"));
    WriteFileBytes(folder.At("full/one.txt"), "1");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("empty"), false, true, false));
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("full"), false, true, false));
    EXPECT_FALSE(Exists(folder.At("empty")));
    EXPECT_EQ(ReadFileBytes(folder.At("full/one.txt")), "1");
}

TEST(RemoveDirectoryOV, DotEntryKeepsTheFolderAndStillReturnsTrue) {
    TempFolder folder;
    MakeFolder(folder.At("tree/.git"));
    WriteFileBytes(folder.At("tree/.hidden"), "h");
    WriteFileBytes(folder.At("tree/visible.txt"), "v");
    WriteFileBytes(folder.At("tree/.git/config"), "c");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_EQ(ListNames(folder.At("tree")), (std::vector<std::string>{".git", ".hidden"}));
    EXPECT_EQ(ReadFileBytes(folder.At("tree/.git/config")), "c");
}

TEST(RemoveDirectoryOV, MissingFolderStillReturnsTrue) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("missing"), true, true, false));
}

TEST(RemoveDirectoryOV, LinkToOutsideFolderIsRemovedButNotFollowed) {
    TempFolder folder;
    MakeFolder(folder.At("outside/deep"));
    WriteFileBytes(folder.At("outside/keep.txt"), "keep");
    WriteFileBytes(folder.At("outside/deep/also.txt"), "also");
    MakeFolder(folder.At("tree/sub"));
    if (!MakeLink(folder.At("outside"), folder.At("tree/link"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    if (!MakeLink(folder.At("outside"), folder.At("tree/sub/link"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    if (!MakeLink(folder.At("outside/keep.txt"), folder.At("tree/file-link"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_FALSE(Exists(folder.At("tree")));
    EXPECT_EQ(ReadFileBytes(folder.At("outside/keep.txt")), "keep");
    EXPECT_EQ(ReadFileBytes(folder.At("outside/deep/also.txt")), "also");
}

#ifndef _WIN32  // names that are not UTF-8 exist only on Linux
TEST(RemoveDirectoryOV, NameThatIsNotUtf8IsLeftAloneAndNotTakenForAnother) {
    TempFolder folder;
    MakeFolder(folder.At("tree"));
    WriteFileBytes(folder.At("tree/name"), "plain");
    WriteFileBytes(folder.At("tree/name\xff.txt"), "odd");
    EXPECT_EQ(CUtils::GetFilesInDirectory(folder.WideAt("tree")),
              std::vector<WString>{folder.WideAt("tree") + u"/name"});
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_EQ(ListNames(folder.At("tree")), std::vector<std::string>{"name\xff.txt"});
    EXPECT_EQ(ReadFileBytes(folder.At("tree/name\xff.txt")), "odd");
}
#endif

TEST(RemoveDirectoryOV, PathWithLoneSurrogateRemovesNothing) {
    TempFolder folder;
    // The failed conversion of the path writes its note into the current folder.
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder(folder.At("tree/empty"));
    WriteFileBytes(folder.At("tree/file.txt"), "x");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree") + u'\xD800', true, true, false));
    EXPECT_TRUE(
        CUtils::RemoveDirectoryOV(folder.WideAt("tree/empty") + u'\xD800', true, true, false));
    EXPECT_EQ(ReadFileBytes(folder.At("tree/file.txt")), "x");
    EXPECT_TRUE(fs::is_directory(folder.At("tree/empty")));
}

// ---- Listing ----

TEST(GetFilesInDirectory, SortedFilesOnlyAsArgumentSeparatorName) {
    TempFolder folder;
    MakeFolder(folder.At("dir/sub"));
    for (const char* name : {"zeta.txt", "Alpha.txt", "beta", "10.gsm", "2.gsm"})
        WriteFileBytes(folder.At(std::string("dir/") + name), "x");
    const WString dir = folder.WideAt("dir");
    EXPECT_EQ(CUtils::GetFilesInDirectory(dir),
              (std::vector<WString>{dir + kSep + u"10.gsm", dir + kSep + u"2.gsm",
                                    dir + kSep + u"Alpha.txt", dir + kSep + u"beta",
                                    dir + kSep + u"zeta.txt"}));
}

TEST(GetFilesInDirectory, LeavesOutNamesBeginningWithDot) {
    TempFolder folder;
    WriteFileBytes(folder.At(".hidden"), "x");
    WriteFileBytes(folder.At("..twice"), "x");
    WriteFileBytes(folder.At("shown"), "x");
    EXPECT_EQ(CUtils::GetFilesInDirectory(folder.WidePath()),
              std::vector<WString>{folder.WideAt("shown")});
}

TEST(GetFilesInDirectory, KeepsArgumentAsGiven) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder("ab");
    WriteFileBytes("ab/f", "x");
    // No length guard here, and a relative argument stays relative.
    EXPECT_EQ(CUtils::GetFilesInDirectory(u"ab"), std::vector<WString>{u"ab" + kSep + u"f"});
    EXPECT_EQ(CUtils::GetFilesInDirectory(u"ab/"), std::vector<WString>{u"ab/" + kSep + u"f"});
    EXPECT_EQ(CUtils::GetFilesInDirectory(u"./ab"), std::vector<WString>{u"./ab" + kSep + u"f"});
}

TEST(GetFilesInDirectory, MissingFolderFileOrEmptyPathGiveNothing) {
    TempFolder folder;
    WriteFileBytes(folder.At("file"), "x");
    EXPECT_TRUE(CUtils::GetFilesInDirectory(folder.WideAt("missing")).empty());
    EXPECT_TRUE(CUtils::GetFilesInDirectory(folder.WideAt("file")).empty());
    EXPECT_TRUE(CUtils::GetFilesInDirectory(u"").empty());
}

TEST(GetFilesInDirectory, LinkToFolderCountsAsFile) {
    TempFolder folder;
    MakeFolder(folder.At("dir"));
    MakeFolder(folder.At("elsewhere"));
    if (!MakeLink(folder.At("elsewhere"), folder.At("dir/link"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    EXPECT_EQ(CUtils::GetFilesInDirectory(folder.WideAt("dir")),
              std::vector<WString>{folder.WideAt("dir/link")});
    EXPECT_TRUE(CUtils::GetSubdirectoriesInDirectory(folder.WideAt("dir")).empty());
}

TEST(GetSubdirectoriesInDirectory, FoldersOnlyAsArgumentSeparatorName) {
    TempFolder folder;
    MakeFolder(folder.At("dir/b"));
    MakeFolder(folder.At("dir/a/nested"));
    MakeFolder(folder.At("dir/.hidden"));
    WriteFileBytes(folder.At("dir/file.txt"), "x");
    const WString dir = folder.WideAt("dir");
    EXPECT_EQ(Sorted(CUtils::GetSubdirectoriesInDirectory(dir)),
              (std::vector<WString>{dir + kSep + u"a", dir + kSep + u"b"}));
}

TEST(GetSubdirectoriesInDirectory, PathOfExactlyFourCharactersIsListed) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder("abcd/sub");
    EXPECT_EQ(CUtils::GetSubdirectoriesInDirectory(u"abcd"),
              std::vector<WString>{u"abcd" + kSep + u"sub"});
}

TEST(GetSubdirectoriesInDirectory, MissingFolderGivesNothing) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::GetSubdirectoriesInDirectory(folder.WideAt("missing")).empty());
}

TEST(GetSubdirectoriesInDirectoryDeathTest, ShorterPathAlertsWithoutLogEntryThenExitsWith17) {
    EXPECT_EXIT(ListGuardedDirectory(u"abc"), testing::ExitedWithCode(17),
                "^entry logged before alert: no\n"
                "alert caption=\\[Alert\\] type=0x30 text=\\[ERROR: GetSubdirectoriesInDirectory "
                "tried to obtain the directory abc\\.\n Aborted\\.\\]\n$");
}

TEST(GetSubdirectoriesInDirectoryDeathTest, EmptyPathExitsWith17) {
    EXPECT_EXIT(
        {
            testfiles::AnswerSystemAlerts();
            CUtils::GetSubdirectoriesInDirectory(u"");
        },
        testing::ExitedWithCode(17),
        "^Alert: ERROR: GetSubdirectoriesInDirectory tried to obtain the directory \\.\n "
        "Aborted\\.\n$");
}

TEST(GetSubdirectoriesInDirectoryDeathTest, StopsAtOnceWithoutExitHandlersOrStaticDestructors) {
    EXPECT_EXIT(
        {
            testfiles::AnswerSystemAlerts();
            WatchForNormalExit();
            CUtils::GetSubdirectoriesInDirectory(u"C:");
        },
        testing::ExitedWithCode(17),
        "^Alert: ERROR: GetSubdirectoriesInDirectory tried to obtain the directory C:\\.\n "
        "Aborted\\.\n$");
}
