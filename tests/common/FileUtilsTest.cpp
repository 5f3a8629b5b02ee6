// FileUtilsTest.cpp: the file, folder and module operations of CUtils.
#include "TestSupport.h"
#include "common/CUtils.h"
#include "common/Config.h"
#include "common/Logger.h"
#include "common/PlatformHooks.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
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
using testsupport::CountOf;
using testsupport::Exists;
using testsupport::IsolatedLog;
using testsupport::ListNames;
using testsupport::ReadFile;
using testsupport::ScopedCurrentFolder;
using testsupport::TempFolder;
using testsupport::WriteFile;

std::string Narrow(const WString& text) { return CUtils::WstringToStringUTF8(text); }
WString Wide(const std::string& text) { return CUtils::StringUTF8ToWstring(text); }

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void MakeFolder(const std::string& path) { fs::create_directories(path); }

// Points TMPDIR somewhere else for the test's duration.
class ScopedTmpdir {
public:
    explicit ScopedTmpdir(const char* value) {
        const char* current = std::getenv("TMPDIR");
        hadValue = current != nullptr;
        if (hadValue)
            previous = current;
        if (value != nullptr)
            ::setenv("TMPDIR", value, 1);
        else
            ::unsetenv("TMPDIR");
    }
    ~ScopedTmpdir() {
        if (hadValue)
            ::setenv("TMPDIR", previous.c_str(), 1);
        else
            ::unsetenv("TMPDIR");
    }
    ScopedTmpdir(const ScopedTmpdir&) = delete;
    ScopedTmpdir& operator=(const ScopedTmpdir&) = delete;

private:
    bool hadValue = false;
    std::string previous;
};

// The temporary folder's name for this user, below TMPDIR.
std::string UserTempName() { return "Orvanta-" + std::to_string(::geteuid()); }

// Sets the process's file mode mask for the test's duration.
class ScopedUmask {
public:
    explicit ScopedUmask(mode_t mask) : previous(::umask(mask)) {}
    ~ScopedUmask() { ::umask(previous); }
    ScopedUmask(const ScopedUmask&) = delete;
    ScopedUmask& operator=(const ScopedUmask&) = delete;

private:
    mode_t previous;
};

// A fresh folder in /dev/shm, which is usually another file system than /tmp.
class ShmFolder {
public:
    ShmFolder() {
        std::string pattern = "/dev/shm/orvtest-XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr)
            path = pattern;
    }
    ~ShmFolder() {
        std::error_code ignored;
        if (!path.empty())
            fs::remove_all(path, ignored);
    }
    ShmFolder(const ShmFolder&) = delete;
    ShmFolder& operator=(const ShmFolder&) = delete;

    bool Made() const { return !path.empty(); }
    std::string At(const std::string& name) const { return path + "/" + name; }

private:
    std::string path;
};

bool OnDifferentDevices(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev != second.st_dev;
}

std::vector<WString> Sorted(std::vector<WString> items) {
    std::sort(items.begin(), items.end());
    return items;
}

// The 16-character prefixes that CreateTempFileOV will draw after srand(seed), in order; the
// generator is left reseeded with `seed`, so the next draws repeat them.
std::vector<WString> PrefixesAfterSeed(unsigned seed, int count) {
    // The first draw of a thread seeds from the clock; have it done, so it cannot reseed later.
    CUtils::RandomString(1, 0);
    std::srand(seed);
    std::vector<WString> prefixes;
    for (int i = 0; i < count; ++i)
        prefixes.push_back(CUtils::RandomWstring(16, 0));
    std::srand(seed);
    return prefixes;
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
    const std::string now = ReadFile(guardWatch.logPath);
    const std::string added =
        now.size() >= guardWatch.logBefore.size() ? now.substr(guardWatch.logBefore.size()) : now;
    std::fprintf(stderr, "entry logged before alert: %s\n",
                 Contains(added, guardWatch.expectedEntry) ? "yes" : "no");
    std::fprintf(stderr, "alert caption=[%s] type=%#x text=[%s]\n", Narrow(caption).c_str(), type,
                 Narrow(text).c_str());
}

void WatchGuard(const std::string& expectedEntry) {
    guardWatch.logPath = Narrow(Logger::Instance()->GetLogFilePath());
    guardWatch.logBefore = ReadFile(guardWatch.logPath);
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

WString everyEntryConfigPath;

std::unique_ptr<ConfigImpl> EveryEntryInConsole() {
    return std::make_unique<testsupport::FileConfig>(everyEntryConfigPath);
}

// Makes this process's logger keep every entry, error or not, in its console sink (where an
// error shows as "ERROR " in front of its text), and write nothing to the file.
Logger* StartLoggerWithEveryEntry(const TempFolder& folder) {
    WriteFile(folder.At("every-entry.ini"), "[OrvTools]\nfileLog = 0\nconsoleLog = 2\n");
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
        WriteFile(folder.At("from.txt"), "new");
        WriteFile(folder.At("to.txt"), "old");
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

// ---- CreateDirectories ----

TEST(CreateDirectories, MakesEveryMissingFolderOfTheChain) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("a/b/c"), false));
    EXPECT_TRUE(fs::is_directory(folder.At("a/b/c")));
}

TEST(CreateDirectories, ExistingFolderIsTrueAndKeepsItsContent) {
    TempFolder folder;
    MakeFolder(folder.At("a"));
    WriteFile(folder.At("a/keep.txt"), "keep");
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("a"), false));
    EXPECT_EQ(ReadFile(folder.At("a/keep.txt")), "keep");
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
    WriteFile(folder.At("file"), "content");
    EXPECT_TRUE(CUtils::CreateDirectories(folder.WideAt("file/sub/deeper"), false));
    EXPECT_TRUE(fs::is_regular_file(folder.At("file")));
    EXPECT_EQ(ReadFile(folder.At("file")), "content");
    EXPECT_EQ(ListNames(folder.Path()), std::vector<std::string>{"file"});
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

// ---- GetTempDirectory and CreateTempFileOV ----

TEST(GetTempDirectory, IsOrvantaWithTheUserIdBelowTmpdirEndingInSeparatorAndMade) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    EXPECT_EQ(CUtils::GetTempDirectory(), tmp.WidePath() + u"/" + Wide(UserTempName()) + u"/");
    EXPECT_TRUE(fs::is_directory(tmp.At(UserTempName())));
}

TEST(GetTempDirectory, TmpdirWithTrailingSlashGetsNoSecondOne) {
    TempFolder tmp;
    ScopedTmpdir env((tmp.Path() + "/").c_str());
    EXPECT_EQ(CUtils::GetTempDirectory(), tmp.WidePath() + u"/" + Wide(UserTempName()) + u"/");
}

TEST(GetTempDirectory, WithoutTmpdirIsBelowSlashTmp) {
    ScopedTmpdir env(nullptr);
    EXPECT_EQ(CUtils::GetTempDirectory(), u"/tmp/" + Wide(UserTempName()) + u"/");
}

TEST(GetTempDirectory, EmptyTmpdirCountsAsUnset) {
    ScopedTmpdir env("");
    EXPECT_EQ(CUtils::GetTempDirectory(), u"/tmp/" + Wide(UserTempName()) + u"/");
}

TEST(GetTempDirectory, IsMadeForThisUserAloneWhateverTheMask) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const ScopedUmask open(0);
    ASSERT_FALSE(CUtils::GetTempDirectory().empty());
    struct stat info {};
    ASSERT_EQ(::lstat(tmp.At(UserTempName()).c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(info.st_mode & 07777, 0700u);
    EXPECT_EQ(info.st_uid, ::geteuid());
}

TEST(GetTempDirectory, FolderOpenToOthersIsRefusedAndLeftAsItIs) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const std::string planted = tmp.At(UserTempName());
    MakeFolder(planted);
    ASSERT_EQ(::chmod(planted.c_str(), 0777), 0);
    EXPECT_EQ(CUtils::GetTempDirectory(), u"");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::GetTempDirectory ] Temporary folder refused, not a "
                                  "private folder of this user: " +
                                      planted + "/ (src/utils:"),
              1u);
    struct stat info {};
    ASSERT_EQ(::stat(planted.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0777u);
}

TEST(GetTempDirectory, FolderOfAnotherUserIsRefused) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const std::string planted = tmp.At(UserTempName());
    MakeFolder(planted);
    ASSERT_EQ(::chmod(planted.c_str(), 0700), 0);
    // Only root can give a folder away; that is how the suite runs in CI.
    if (::chown(planted.c_str(), ::geteuid() + 1, static_cast<gid_t>(-1)) != 0)
        GTEST_SKIP() << "cannot give a folder to another user here";
    EXPECT_EQ(CUtils::GetTempDirectory(), u"");
    EXPECT_EQ(CountOf(log.Text(), "Temporary folder refused, not a private folder of this user: " +
                                      planted + "/ (src/utils:"),
              1u);
}

TEST(GetTempDirectory, LinkInPlaceOfTheFolderIsRefusedEvenToAPrivateFolder) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    MakeFolder(tmp.At("elsewhere"));
    ASSERT_EQ(::chmod(tmp.At("elsewhere").c_str(), 0700), 0);
    ASSERT_EQ(::symlink(tmp.At("elsewhere").c_str(), tmp.At(UserTempName()).c_str()), 0);
    EXPECT_EQ(CUtils::GetTempDirectory(), u"");
    EXPECT_EQ(CountOf(log.Text(), "Temporary folder refused, not a private folder of this user: "),
              1u);
    EXPECT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), u"");
    EXPECT_TRUE(ListNames(tmp.At("elsewhere")).empty());
}

TEST(GetTempDirectory, FileInPlaceOfTheFolderIsRefused) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    WriteFile(tmp.At(UserTempName()), "x");
    EXPECT_EQ(CUtils::GetTempDirectory(), u"");
    EXPECT_EQ(CountOf(log.Text(), "Temporary folder refused, not a private folder of this user: "),
              1u);
    EXPECT_EQ(ReadFile(tmp.At(UserTempName())), "x");
}

TEST(CreateTempFileOV, FreeNameIsUsedWithoutRandomPart) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const WString path = CUtils::CreateTempFileOV(u"door.gsm");
    EXPECT_EQ(path, tmp.WidePath() + u"/" + Wide(UserTempName()) + u"/door.gsm");
    EXPECT_TRUE(fs::is_regular_file(tmp.At(UserTempName() + "/door.gsm")));
    EXPECT_EQ(fs::file_size(tmp.At(UserTempName() + "/door.gsm")), 0u);
}

TEST(CreateTempFileOV, WithoutTmpdirLandsInTheUsersFolderBelowSlashTmp) {
    ScopedTmpdir env(nullptr);
    const WString hint = u"orvtest-" + CUtils::RandomWstring(12, 0) + u".zip";
    const WString path = CUtils::CreateTempFileOV(hint);
    EXPECT_EQ(path, u"/tmp/" + Wide(UserTempName()) + u"/" + hint);
    EXPECT_TRUE(fs::is_regular_file(Narrow(path)));
    CUtils::DeleteFileOV(path);
}

TEST(CreateTempFileOV, TakenNameGetsSixteenCharacterRandomPrefix) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const WString folder = tmp.WidePath() + u"/" + Wide(UserTempName()) + u"/";
    ASSERT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), folder + u"door.gsm");
    const WString second = CUtils::CreateTempFileOV(u"door.gsm");
    ASSERT_EQ(second.size(), folder.size() + 16 + 8);
    EXPECT_EQ(second.substr(0, folder.size()), folder);
    EXPECT_EQ(second.substr(folder.size() + 16), u"door.gsm");
    for (char16_t c : second.substr(folder.size(), 16))
        EXPECT_NE(CUtils::kRandomAlphabet.find(static_cast<char>(c)), std::string_view::npos);
    EXPECT_TRUE(CUtils::FileExists(second));
}

TEST(CreateTempFileOV, LinkPlantedAtTheNameIsNotFollowed) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const std::string folder = Narrow(CUtils::GetTempDirectory());
    ASSERT_FALSE(folder.empty());
    // One link leads to a file that is not there yet, one to a file that is.
    WriteFile(tmp.At("kept"), "kept");
    ASSERT_EQ(::symlink(tmp.At("missing").c_str(), (folder + "door.gsm").c_str()), 0);
    ASSERT_EQ(::symlink(tmp.At("kept").c_str(), (folder + "window.gsm").c_str()), 0);
    for (const std::string name : {"door.gsm", "window.gsm"}) {
        const std::string path = Narrow(CUtils::CreateTempFileOV(Wide(name)));
        if (path.empty())
            continue;
        EXPECT_NE(path, folder + name);
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(path))) << path;
        EXPECT_TRUE(CUtils::WriteStringToFile(Wide(path), "download", false));
    }
    EXPECT_FALSE(fs::exists(fs::symlink_status(tmp.At("missing"))));
    EXPECT_EQ(ReadFile(tmp.At("kept")), "kept");
    EXPECT_EQ(fs::read_symlink(folder + "door.gsm"), tmp.At("missing"));
    EXPECT_EQ(fs::read_symlink(folder + "window.gsm"), tmp.At("kept"));
}

TEST(CreateTempFileOV, RefusedFolderGivesEmptyAndLogsTheFileItWouldHaveMade) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    MakeFolder(tmp.At(UserTempName()));
    ASSERT_EQ(::chmod(tmp.At(UserTempName()).c_str(), 0755), 0);
    EXPECT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), u"");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::CreateTempFileOV ] Failed to create temp file: " +
                                      tmp.At(UserTempName()) + "/door.gsm (src/utils:"),
              1u);
    EXPECT_TRUE(ListNames(tmp.At(UserTempName())).empty());
}

TEST(CreateTempFileOV, NameHintWithBothSeparatorsUsesTextBehindTheLast) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const WString folder = tmp.WidePath() + u"/" + Wide(UserTempName()) + u"/";
    EXPECT_EQ(CUtils::CreateTempFileOV(u"C:\\Library\\Doors/old\\D01.gsm"), folder + u"D01.gsm");
    EXPECT_EQ(CUtils::CreateTempFileOV(u"Library\\Doors/D02.gsm"), folder + u"D02.gsm");
    EXPECT_EQ(ListNames(tmp.At(UserTempName())), (std::vector<std::string>{"D01.gsm", "D02.gsm"}));
}

TEST(CreateTempFileOV, EmptyNameGetsRandomNameOfItsOwn) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const WString folder = tmp.WidePath() + u"/" + Wide(UserTempName()) + u"/";
    // The bare folder is taken (by the folder itself), so the random prefix is the whole name.
    for (const WString& hint : {WString(), WString(u"Library/Doors/")}) {
        const WString path = CUtils::CreateTempFileOV(hint);
        ASSERT_EQ(path.size(), folder.size() + 16);
        EXPECT_EQ(path.substr(0, folder.size()), folder);
        EXPECT_TRUE(fs::is_regular_file(Narrow(path)));
    }
}

TEST(CreateTempFileOV, NinthRandomNameIsTheLastThatCanSucceed) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const WString folder = CUtils::GetTempDirectory();
    const std::vector<WString> prefixes = PrefixesAfterSeed(20240315u, 10);
    CUtils::TouchFile(folder + u"door.gsm");
    for (int i = 0; i < 8; ++i)
        CUtils::TouchFile(folder + prefixes[i] + u"door.gsm");
    EXPECT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), folder + prefixes[8] + u"door.gsm");
    EXPECT_FALSE(Contains(log.Text(), "CreateTempFileOV"));
}

TEST(CreateTempFileOV, FreeTenthRandomNameStillEndsOutOfAttempts) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const WString folder = CUtils::GetTempDirectory();
    const std::vector<WString> prefixes = PrefixesAfterSeed(7u, 10);
    CUtils::TouchFile(folder + u"door.gsm");
    for (int i = 0; i < 9; ++i)
        CUtils::TouchFile(folder + prefixes[i] + u"door.gsm");
    EXPECT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), u"");
    const WString tenth = folder + prefixes[9] + u"door.gsm";
    EXPECT_FALSE(CUtils::FileExists(tenth));
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::CreateTempFileOV ] Failed to create temp file, out of "
                                  "attempts: " +
                                      Narrow(tenth) + " (src/utils:"),
              1u);
}

TEST(CreateTempFileOV, AllTenRandomNamesTakenEndsOutOfAttempts) {
    IsolatedLog log;
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    const WString folder = CUtils::GetTempDirectory();
    const std::vector<WString> prefixes = PrefixesAfterSeed(99u, 10);
    CUtils::TouchFile(folder + u"door.gsm");
    for (const WString& prefix : prefixes)
        CUtils::TouchFile(folder + prefix + u"door.gsm");
    EXPECT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), u"");
    EXPECT_TRUE(Contains(log.Text(), "Failed to create temp file, out of attempts: " +
                                         Narrow(folder + prefixes[9] + u"door.gsm")));
    EXPECT_EQ(ListNames(Narrow(folder)).size(), 11u);
}

TEST(CreateTempFileOV, FolderThatCannotBeMadeGivesEmptyAndLogsError) {
    IsolatedLog log;
    TempFolder tmp;
    // TMPDIR names a file, so the temporary folder cannot be made below it.
    WriteFile(tmp.At("plain-file"), "x");
    ScopedTmpdir env(tmp.At("plain-file").c_str());
    EXPECT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), u"");
    EXPECT_TRUE(Contains(log.Text(), "[ CUtils::CreateTempFileOV ] Failed to create temp file: " +
                                         tmp.At("plain-file") + "/" + UserTempName() +
                                         "/door.gsm (src/utils:"));
    EXPECT_EQ(ReadFile(tmp.At("plain-file")), "x");
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
    // No message box hook in the child: the machine's own alert writes to standard error.
    EXPECT_EXIT(CUtils::RemoveDirectoryOV(u"C:\\", true, true, false), testing::ExitedWithCode(18),
                "^Alert: ERROR: RemoveDirectoryOV tried to delete the directory C:\\\\\\.\n "
                "Aborted\\.\n$");
}

TEST(RemoveDirectoryOVDeathTest, StopsAtOnceWithoutExitHandlersOrStaticDestructors) {
    EXPECT_EXIT(
        {
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
    WriteFile("abcd/file.txt", "x");
    WriteFile("abcd/sub/inner.txt", "y");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(u"abcd", true, true, false));
    EXPECT_FALSE(Exists(folder.At("abcd")));
}

TEST(RemoveDirectoryOV, RemovesWholeTree) {
    TempFolder folder;
    MakeFolder(folder.At("tree/a/b"));
    MakeFolder(folder.At("tree/c"));
    WriteFile(folder.At("tree/one.txt"), "1");
    WriteFile(folder.At("tree/a/two.txt"), "2");
    WriteFile(folder.At("tree/a/b/three.txt"), "3");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_FALSE(Exists(folder.At("tree")));
}

TEST(RemoveDirectoryOV, KeepDirectoryEmptiesButKeepsTheFolder) {
    TempFolder folder;
    MakeFolder(folder.At("tree/a"));
    WriteFile(folder.At("tree/one.txt"), "1");
    WriteFile(folder.At("tree/a/two.txt"), "2");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, true));
    EXPECT_TRUE(fs::is_directory(folder.At("tree")));
    EXPECT_TRUE(ListNames(folder.At("tree")).empty());
}

TEST(RemoveDirectoryOV, WithoutRecursiveDeletesOnlyFilesAndStillReturnsTrue) {
    TempFolder folder;
    MakeFolder(folder.At("tree/a"));
    WriteFile(folder.At("tree/one.txt"), "1");
    WriteFile(folder.At("tree/a/two.txt"), "2");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, false, false));
    EXPECT_EQ(ListNames(folder.At("tree")), std::vector<std::string>{"a"});
    EXPECT_EQ(ReadFile(folder.At("tree/a/two.txt")), "2");
}

TEST(RemoveDirectoryOV, WithoutRemoveContentsRemovesOnlyAnEmptyFolder) {
    TempFolder folder;
    MakeFolder(folder.At("empty"));
    MakeFolder(folder.At("full"));
    WriteFile(folder.At("full/one.txt"), "1");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("empty"), false, true, false));
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("full"), false, true, false));
    EXPECT_FALSE(Exists(folder.At("empty")));
    EXPECT_EQ(ReadFile(folder.At("full/one.txt")), "1");
}

TEST(RemoveDirectoryOV, DotEntryKeepsTheFolderAndStillReturnsTrue) {
    TempFolder folder;
    MakeFolder(folder.At("tree/.git"));
    WriteFile(folder.At("tree/.hidden"), "h");
    WriteFile(folder.At("tree/visible.txt"), "v");
    WriteFile(folder.At("tree/.git/config"), "c");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_EQ(ListNames(folder.At("tree")), (std::vector<std::string>{".git", ".hidden"}));
    EXPECT_EQ(ReadFile(folder.At("tree/.git/config")), "c");
}

TEST(RemoveDirectoryOV, MissingFolderStillReturnsTrue) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("missing"), true, true, false));
}

TEST(RemoveDirectoryOV, LinkToOutsideFolderIsRemovedButNotFollowed) {
    TempFolder folder;
    MakeFolder(folder.At("outside/deep"));
    WriteFile(folder.At("outside/keep.txt"), "keep");
    WriteFile(folder.At("outside/deep/also.txt"), "also");
    MakeFolder(folder.At("tree/sub"));
    ASSERT_EQ(::symlink(folder.At("outside").c_str(), folder.At("tree/link").c_str()), 0);
    ASSERT_EQ(::symlink(folder.At("outside").c_str(), folder.At("tree/sub/link").c_str()), 0);
    ASSERT_EQ(::symlink(folder.At("outside/keep.txt").c_str(), folder.At("tree/file-link").c_str()),
              0);
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_FALSE(Exists(folder.At("tree")));
    EXPECT_EQ(ReadFile(folder.At("outside/keep.txt")), "keep");
    EXPECT_EQ(ReadFile(folder.At("outside/deep/also.txt")), "also");
}

TEST(RemoveDirectoryOV, NameThatIsNotUtf8IsLeftAloneAndNotTakenForAnother) {
    TempFolder folder;
    MakeFolder(folder.At("tree"));
    WriteFile(folder.At("tree/name"), "plain");
    WriteFile(folder.At("tree/name\xff.txt"), "odd");
    EXPECT_EQ(CUtils::GetFilesInDirectory(folder.WideAt("tree")),
              std::vector<WString>{folder.WideAt("tree") + u"/name"});
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree"), true, true, false));
    EXPECT_EQ(ListNames(folder.At("tree")), std::vector<std::string>{"name\xff.txt"});
    EXPECT_EQ(ReadFile(folder.At("tree/name\xff.txt")), "odd");
}

TEST(RemoveDirectoryOV, PathWithLoneSurrogateRemovesNothing) {
    TempFolder folder;
    // The failed conversion of the path writes its note into the current folder.
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder(folder.At("tree/empty"));
    WriteFile(folder.At("tree/file.txt"), "x");
    EXPECT_TRUE(CUtils::RemoveDirectoryOV(folder.WideAt("tree") + u'\xD800', true, true, false));
    EXPECT_TRUE(
        CUtils::RemoveDirectoryOV(folder.WideAt("tree/empty") + u'\xD800', true, true, false));
    EXPECT_EQ(ReadFile(folder.At("tree/file.txt")), "x");
    EXPECT_TRUE(fs::is_directory(folder.At("tree/empty")));
}

// ---- RenameFileOV ----

TEST(RenameFileOV, RenamesFileToFreeName) {
    IsolatedLog log;
    TempFolder folder;
    WriteFile(folder.At("from.txt"), "content");
    EXPECT_TRUE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("to.txt"), false));
    EXPECT_FALSE(Exists(folder.At("from.txt")));
    EXPECT_EQ(ReadFile(folder.At("to.txt")), "content");
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
    WriteFile(folder.At("from.txt"), "new");
    WriteFile(folder.At("to.txt"), "old");
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("to.txt"), false));
    EXPECT_EQ(ReadFile(folder.At("from.txt")), "new");
    EXPECT_EQ(ReadFile(folder.At("to.txt")), "old");
    // The default log file takes errors only: a non-error entry leaves no line.
    EXPECT_EQ(log.Text(), "");
}

TEST(RenameFileOV, ExistingTargetWithOverwriteIsReplaced) {
    IsolatedLog log;
    TempFolder folder;
    WriteFile(folder.At("from.txt"), "new");
    WriteFile(folder.At("to.txt"), "old");
    EXPECT_TRUE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("to.txt"), true));
    EXPECT_FALSE(Exists(folder.At("from.txt")));
    EXPECT_EQ(ReadFile(folder.At("to.txt")), "new");
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
    WriteFile(folder.At("old/sub/file.txt"), "x");
    EXPECT_TRUE(CUtils::RenameFileOV(folder.WideAt("old"), folder.WideAt("new"), false));
    EXPECT_FALSE(Exists(folder.At("old")));
    EXPECT_EQ(ReadFile(folder.At("new/sub/file.txt")), "x");
}

TEST(RenameFileOV, FolderTargetWithOverwriteFailsAtDeleteAndIsKept) {
    IsolatedLog log;
    TempFolder folder;
    WriteFile(folder.At("from.txt"), "new");
    MakeFolder(folder.At("target"));
    WriteFile(folder.At("target/inner.txt"), "inner");
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("from.txt"), folder.WideAt("target"), true));
    EXPECT_EQ(ReadFile(folder.At("target/inner.txt")), "inner");
    EXPECT_EQ(ReadFile(folder.At("from.txt")), "new");
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
    WriteFile(folder.At("from.txt"), "x");
    const WString to = folder.WideAt("missing-folder/to.txt");
    EXPECT_FALSE(CUtils::RenameFileOV(folder.WideAt("from.txt"), to, false));
    EXPECT_EQ(ReadFile(folder.At("from.txt")), "x");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::RenameFileOV ] Rename from \"" +
                                      folder.At("from.txt") + "\" to \"" + Narrow(to) +
                                      "\" failed, err: -1 (src/utils:"),
              1u);
}

TEST(RenameFileOV, FileMovesAcrossFileSystems) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    ShmFolder shm;
    ASSERT_TRUE(shm.Made());
    const std::string content(200000, 'z');
    WriteFile(shm.At("part.gsm"), content);
    ASSERT_EQ(::chmod(shm.At("part.gsm").c_str(), 0640), 0);
    EXPECT_TRUE(CUtils::RenameFileOV(Wide(shm.At("part.gsm")), disk.WideAt("part.gsm"), false));
    EXPECT_EQ(ReadFile(disk.At("part.gsm")), content);
    EXPECT_FALSE(Exists(shm.At("part.gsm")));
    // Neither the copy's temporary name nor anything else is left beside the target.
    EXPECT_EQ(ListNames(disk.Path()), std::vector<std::string>{"part.gsm"});
    struct stat info {};
    ASSERT_EQ(::stat(disk.At("part.gsm").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
}

TEST(RenameFileOV, FileMovesAcrossFileSystemsOverExistingTarget) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    ShmFolder shm;
    ASSERT_TRUE(shm.Made());
    WriteFile(disk.At("from.txt"), "new");
    WriteFile(shm.At("to.txt"), "old and longer");
    EXPECT_TRUE(CUtils::RenameFileOV(disk.WideAt("from.txt"), Wide(shm.At("to.txt")), true));
    EXPECT_EQ(ReadFile(shm.At("to.txt")), "new");
    EXPECT_FALSE(Exists(disk.At("from.txt")));
    EXPECT_TRUE(ListNames(disk.Path()).empty());
}

TEST(RenameFileOV, FileWithLongestNameMovesAcrossFileSystems) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    ShmFolder shm;
    ASSERT_TRUE(shm.Made());
    // 255 bytes, the most a name may hold: "ř" takes two.
    std::string name;
    for (int i = 0; i < 127; ++i)
        name += "\xc5\x99";
    name += "x";
    WriteFile(shm.At(name), "long");
    ASSERT_TRUE(Exists(shm.At(name)));
    EXPECT_TRUE(CUtils::RenameFileOV(Wide(shm.At(name)), disk.WideAt(name), false));
    EXPECT_EQ(ReadFile(disk.At(name)), "long");
    EXPECT_FALSE(Exists(shm.At(name)));
    EXPECT_EQ(ListNames(disk.Path()), std::vector<std::string>{name});
}

TEST(RenameFileOV, FolderDoesNotMoveAcrossFileSystems) {
    IsolatedLog log;
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    ShmFolder shm;
    ASSERT_TRUE(shm.Made());
    MakeFolder(disk.At("folder"));
    WriteFile(disk.At("folder/file.txt"), "x");
    EXPECT_FALSE(CUtils::RenameFileOV(disk.WideAt("folder"), Wide(shm.At("folder")), false));
    EXPECT_EQ(ReadFile(disk.At("folder/file.txt")), "x");
    EXPECT_FALSE(Exists(shm.At("folder")));
    EXPECT_TRUE(Contains(log.Text(), "\" failed, err: -1 (src/utils:"));
}

// ---- ReplaceFileOV ----

TEST(ReplaceFileOV, PutsTheFileInPlaceOfTheOldOne) {
    IsolatedLog log;
    TempFolder folder;
    WriteFile(folder.At("new.txt"), "new");
    WriteFile(folder.At("to.txt"), "old");
    EXPECT_TRUE(CUtils::ReplaceFileOV(folder.WideAt("new.txt"), folder.WideAt("to.txt")));
    EXPECT_EQ(ListNames(folder.Path()), std::vector<std::string>{"to.txt"});
    EXPECT_EQ(ReadFile(folder.At("to.txt")), "new");
    EXPECT_EQ(log.Text(), "");
}

TEST(ReplaceFileOV, FailureLeavesBothFilesAndIsLoggedWithTheSystemError) {
    IsolatedLog log;
    TempFolder folder;
    WriteFile(folder.At("new.txt"), "new");
    MakeFolder(folder.At("target"));
    WriteFile(folder.At("target/inner.txt"), "inner");
    // A folder is not replaced by a file; unlike RenameFileOV, nothing was deleted beforehand.
    EXPECT_FALSE(CUtils::ReplaceFileOV(folder.WideAt("new.txt"), folder.WideAt("target")));
    EXPECT_EQ(ReadFile(folder.At("new.txt")), "new");
    EXPECT_EQ(ReadFile(folder.At("target/inner.txt")), "inner");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::ReplaceFileOV ] Replacing \"" + folder.At("target") +
                                      "\" by \"" + folder.At("new.txt") +
                                      "\" failed, err: " + std::to_string(EISDIR) + " (src/utils:"),
              1u);
}

TEST(ReplaceFileOV, FileReplacesTheOldOneAcrossFileSystems) {
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    ShmFolder shm;
    ASSERT_TRUE(shm.Made());
    WriteFile(shm.At("new.gsm"), std::string(200000, 'n'));
    WriteFile(disk.At("part.gsm"), "old");
    EXPECT_TRUE(CUtils::ReplaceFileOV(Wide(shm.At("new.gsm")), disk.WideAt("part.gsm")));
    EXPECT_EQ(ReadFile(disk.At("part.gsm")), std::string(200000, 'n'));
    EXPECT_FALSE(Exists(shm.At("new.gsm")));
    // Neither the copy's temporary name nor anything else is left beside the target.
    EXPECT_EQ(ListNames(disk.Path()), std::vector<std::string>{"part.gsm"});
}

TEST(ReplaceFileOV, FailureAcrossFileSystemsLeavesBothFiles) {
    IsolatedLog log;
    TempFolder disk;
    if (!OnDifferentDevices(disk.Path(), "/dev/shm"))
        GTEST_SKIP() << "/dev/shm and the temporary folder are one file system here";
    ShmFolder shm;
    ASSERT_TRUE(shm.Made());
    WriteFile(shm.At("new.gsm"), "new");
    MakeFolder(disk.At("target"));
    WriteFile(disk.At("target/inner.txt"), "inner");
    EXPECT_FALSE(CUtils::ReplaceFileOV(Wide(shm.At("new.gsm")), disk.WideAt("target")));
    EXPECT_EQ(ReadFile(shm.At("new.gsm")), "new");
    EXPECT_EQ(ReadFile(disk.At("target/inner.txt")), "inner");
    EXPECT_EQ(ListNames(disk.Path()), std::vector<std::string>{"target"});
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::ReplaceFileOV ] Replacing"), 1u);
}

// ---- Listing ----

TEST(GetFilesInDirectory, SortedFilesOnlyAsArgumentSeparatorName) {
    TempFolder folder;
    MakeFolder(folder.At("dir/sub"));
    for (const char* name : {"zeta.txt", "Alpha.txt", "beta", "10.gsm", "2.gsm"})
        WriteFile(folder.At(std::string("dir/") + name), "x");
    const WString dir = folder.WideAt("dir");
    EXPECT_EQ(CUtils::GetFilesInDirectory(dir),
              (std::vector<WString>{dir + u"/10.gsm", dir + u"/2.gsm", dir + u"/Alpha.txt",
                                    dir + u"/beta", dir + u"/zeta.txt"}));
}

TEST(GetFilesInDirectory, LeavesOutNamesBeginningWithDot) {
    TempFolder folder;
    WriteFile(folder.At(".hidden"), "x");
    WriteFile(folder.At("..twice"), "x");
    WriteFile(folder.At("shown"), "x");
    EXPECT_EQ(CUtils::GetFilesInDirectory(folder.WidePath()),
              std::vector<WString>{folder.WideAt("shown")});
}

TEST(GetFilesInDirectory, KeepsArgumentAsGiven) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder("ab");
    WriteFile("ab/f", "x");
    // No length guard here, and a relative argument stays relative.
    EXPECT_EQ(CUtils::GetFilesInDirectory(u"ab"), std::vector<WString>{u"ab/f"});
    EXPECT_EQ(CUtils::GetFilesInDirectory(u"ab/"), std::vector<WString>{u"ab//f"});
    EXPECT_EQ(CUtils::GetFilesInDirectory(u"./ab"), std::vector<WString>{u"./ab/f"});
}

TEST(GetFilesInDirectory, MissingFolderFileOrEmptyPathGiveNothing) {
    TempFolder folder;
    WriteFile(folder.At("file"), "x");
    EXPECT_TRUE(CUtils::GetFilesInDirectory(folder.WideAt("missing")).empty());
    EXPECT_TRUE(CUtils::GetFilesInDirectory(folder.WideAt("file")).empty());
    EXPECT_TRUE(CUtils::GetFilesInDirectory(u"").empty());
}

TEST(GetFilesInDirectory, LinkToFolderCountsAsFile) {
    TempFolder folder;
    MakeFolder(folder.At("dir"));
    MakeFolder(folder.At("elsewhere"));
    ASSERT_EQ(::symlink(folder.At("elsewhere").c_str(), folder.At("dir/link").c_str()), 0);
    EXPECT_EQ(CUtils::GetFilesInDirectory(folder.WideAt("dir")),
              std::vector<WString>{folder.WideAt("dir/link")});
    EXPECT_TRUE(CUtils::GetSubdirectoriesInDirectory(folder.WideAt("dir")).empty());
}

TEST(GetSubdirectoriesInDirectory, FoldersOnlyAsArgumentSeparatorName) {
    TempFolder folder;
    MakeFolder(folder.At("dir/b"));
    MakeFolder(folder.At("dir/a/nested"));
    MakeFolder(folder.At("dir/.hidden"));
    WriteFile(folder.At("dir/file.txt"), "x");
    const WString dir = folder.WideAt("dir");
    EXPECT_EQ(Sorted(CUtils::GetSubdirectoriesInDirectory(dir)),
              (std::vector<WString>{dir + u"/a", dir + u"/b"}));
}

TEST(GetSubdirectoriesInDirectory, PathOfExactlyFourCharactersIsListed) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder("abcd/sub");
    EXPECT_EQ(CUtils::GetSubdirectoriesInDirectory(u"abcd"), std::vector<WString>{u"abcd/sub"});
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
    EXPECT_EXIT(CUtils::GetSubdirectoriesInDirectory(u""), testing::ExitedWithCode(17),
                "^Alert: ERROR: GetSubdirectoriesInDirectory tried to obtain the directory \\.\n "
                "Aborted\\.\n$");
}

TEST(GetSubdirectoriesInDirectoryDeathTest, StopsAtOnceWithoutExitHandlersOrStaticDestructors) {
    EXPECT_EXIT(
        {
            WatchForNormalExit();
            CUtils::GetSubdirectoriesInDirectory(u"C:");
        },
        testing::ExitedWithCode(17),
        "^Alert: ERROR: GetSubdirectoriesInDirectory tried to obtain the directory C:\\.\n "
        "Aborted\\.\n$");
}

// ---- Single files ----

TEST(DeleteFileOV, DeletesFileButNotFolderOrMissing) {
    TempFolder folder;
    WriteFile(folder.At("file"), "x");
    MakeFolder(folder.At("dir"));
    EXPECT_TRUE(CUtils::DeleteFileOV(folder.WideAt("file")));
    EXPECT_FALSE(Exists(folder.At("file")));
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("dir")));
    EXPECT_TRUE(fs::is_directory(folder.At("dir")));
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("missing")));
    EXPECT_FALSE(CUtils::DeleteFileOV(u""));
}

TEST(DeleteFileOV, LinkIsDeletedNotItsTarget) {
    TempFolder folder;
    WriteFile(folder.At("target"), "x");
    ASSERT_EQ(::symlink(folder.At("target").c_str(), folder.At("link").c_str()), 0);
    EXPECT_TRUE(CUtils::DeleteFileOV(folder.WideAt("link")));
    EXPECT_FALSE(Exists(folder.At("link")));
    EXPECT_EQ(ReadFile(folder.At("target")), "x");
}

TEST(DeleteFileOV, PathWithLoneSurrogateDeletesNothing) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    WriteFile(folder.At("victim"), "x");
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("victim") + u'\xD800'));
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("victim") + u'\xDC00' + u"tail"));
    EXPECT_EQ(ReadFile(folder.At("victim")), "x");
}

TEST(DeleteFileOV, PathWithNullCharacterDeletesNothing) {
    TempFolder folder;
    WriteFile(folder.At("victim"), "x");
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("victim") + WString(1, u'\0') + u"tail"));
    EXPECT_EQ(ReadFile(folder.At("victim")), "x");
}

TEST(FileExists, TrueForFileAndFolderFalseOtherwise) {
    TempFolder folder;
    WriteFile(folder.At("file"), "");
    EXPECT_TRUE(CUtils::FileExists(folder.WideAt("file")));
    EXPECT_TRUE(CUtils::FileExists(folder.WidePath()));
    EXPECT_FALSE(CUtils::FileExists(folder.WideAt("missing")));
    EXPECT_FALSE(CUtils::FileExists(u""));
}

TEST(IsDirectory, TrueOnlyForFolder) {
    TempFolder folder;
    WriteFile(folder.At("file"), "");
    EXPECT_TRUE(CUtils::IsDirectory(folder.WidePath()));
    EXPECT_FALSE(CUtils::IsDirectory(folder.WideAt("file")));
    EXPECT_FALSE(CUtils::IsDirectory(folder.WideAt("missing")));
    EXPECT_FALSE(CUtils::IsDirectory(u""));
}

// ---- Paths ----

TEST(GetFileName, TextAfterTheLastSeparatorOfEitherKind) {
    EXPECT_EQ(CUtils::GetFileName(u"/lib/doors/D01.gsm"), u"D01.gsm");
    EXPECT_EQ(CUtils::GetFileName(u"C:\\lib\\D01.gsm"), u"D01.gsm");
    EXPECT_EQ(CUtils::GetFileName(u"C:\\lib/doors\\D01.gsm"), u"D01.gsm");
    EXPECT_EQ(CUtils::GetFileName(u"lib\\doors/D01.gsm"), u"D01.gsm");
}

TEST(GetFileName, PathEndingInSeparatorIsEmpty) {
    EXPECT_EQ(CUtils::GetFileName(u"/lib/doors/"), u"");
    EXPECT_EQ(CUtils::GetFileName(u"C:\\lib\\"), u"");
}

TEST(GetFileName, NoSeparatorOrEmptyIsEmpty) {
    EXPECT_EQ(CUtils::GetFileName(u"D01.gsm"), u"");
    EXPECT_EQ(CUtils::GetFileName(u""), u"");
}

TEST(PathSeparators, BothKindsAreReadOnlySlashIsWritten) {
    EXPECT_EQ(CUtils::GetPathSeparators(), u"\\/");
    EXPECT_EQ(CUtils::GetPathSeparator(), u"/");
    EXPECT_TRUE(CUtils::IsPathSeparator(47));
    EXPECT_TRUE(CUtils::IsPathSeparator(92));
    EXPECT_FALSE(CUtils::IsPathSeparator(u':'));
    EXPECT_FALSE(CUtils::IsPathSeparator(u'|'));
    EXPECT_FALSE(CUtils::IsPathSeparator(u'\0'));
    EXPECT_FALSE(CUtils::IsPathSeparator(u'\uFF0F'));
}

TEST(ToFileSystemPath, IsTheUtf8OfThePath) {
    EXPECT_EQ(CUtils::ToFileSystemPath(u"/lib/Dveře/D01.gsm"), "/lib/Dve\xc5\x99"
                                                               "e/D01.gsm");
}

// ---- Whole-file reads and writes ----

TEST(TouchFile, CreatesMissingFileEmpty) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::TouchFile(folder.WideAt("new.txt")));
    EXPECT_TRUE(fs::is_regular_file(folder.At("new.txt")));
    EXPECT_EQ(fs::file_size(folder.At("new.txt")), 0u);
}

TEST(TouchFile, ExistingFileIsOpenedForOutputAndEmptied) {
    TempFolder folder;
    WriteFile(folder.At("old.txt"), "content");
    EXPECT_TRUE(CUtils::TouchFile(folder.WideAt("old.txt")));
    EXPECT_EQ(fs::file_size(folder.At("old.txt")), 0u);
}

TEST(TouchFile, FileInMissingFolderIsFalse) {
    TempFolder folder;
    EXPECT_FALSE(CUtils::TouchFile(folder.WideAt("missing/new.txt")));
    EXPECT_FALSE(Exists(folder.At("missing")));
}

TEST(TouchFile, PathWithLoneSurrogateCreatesNothing) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder(folder.At("dir"));
    EXPECT_FALSE(CUtils::TouchFile(folder.WideAt("dir/new") + u'\xD800'));
    EXPECT_TRUE(ListNames(folder.At("dir")).empty());
}

TEST(WriteStringToFile, WritesBytesUnchanged) {
    TempFolder folder;
    const std::string bytes("line\r\nnext\n\0\xff end", 17);
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), bytes, false));
    EXPECT_EQ(ReadFile(folder.At("out.bin")), bytes);
}

TEST(WriteStringToFile, WithoutAppendReplacesWithAppendAdds) {
    TempFolder folder;
    WriteFile(folder.At("out.bin"), "old content");
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), "new", false));
    EXPECT_EQ(ReadFile(folder.At("out.bin")), "new");
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), "+more", true));
    EXPECT_EQ(ReadFile(folder.At("out.bin")), "new+more");
}

TEST(WriteStringToFile, EmptyBytesMakeEmptyFile) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), "", false));
    EXPECT_TRUE(fs::is_regular_file(folder.At("out.bin")));
    EXPECT_EQ(fs::file_size(folder.At("out.bin")), 0u);
}

TEST(WriteStringToFile, UnopenableFileIsFalse) {
    TempFolder folder;
    EXPECT_FALSE(CUtils::WriteStringToFile(folder.WideAt("missing/out.bin"), "x", false));
    EXPECT_FALSE(CUtils::WriteStringToFile(folder.WidePath(), "x", true));
    EXPECT_FALSE(CUtils::WriteStringToFile(u"", "x", false));
}

TEST(AppendStringToFile, CreatesThenAppends) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::AppendStringToFile(folder.WideAt("log.txt"), "first\n"));
    EXPECT_TRUE(CUtils::AppendStringToFile(folder.WideAt("log.txt"), "second\n"));
    EXPECT_EQ(ReadFile(folder.At("log.txt")), "first\nsecond\n");
}

TEST(AppendStringToFile, UnopenableFileIsFalse) {
    TempFolder folder;
    EXPECT_FALSE(CUtils::AppendStringToFile(folder.WideAt("missing/log.txt"), "x"));
    EXPECT_FALSE(CUtils::AppendStringToFile(folder.WidePath(), "x"));
    EXPECT_FALSE(Exists(folder.At("missing")));
}

TEST(ReadTextFile, ByteOrderMarkComesFirstAsCharacter) {
    TempFolder folder;
    WriteFile(folder.At("bom.txt"), "\xef\xbb\xbfname = 1");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("bom.txt")), u"\uFEFFname = 1");
}

TEST(ReadTextFile, MultiByteTextIsDecoded) {
    TempFolder folder;
    WriteFile(folder.At("text.txt"), "P\xc5\x99\xc3\xadli\xc5\xa1 \xe2\x82\xac \xf0\x9f\x98\x80\n");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("text.txt")), u"Příliš € \U0001F600\n");
}

TEST(ReadTextFile, StopsAtFirstBytesThatAreNotUtf8) {
    TempFolder folder;
    WriteFile(folder.At("bad.txt"), "good \xc5\x99 \xff\xfe more");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("bad.txt")), u"good ř ");
    WriteFile(folder.At("cut.txt"), "ends in \xe2\x82");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("cut.txt")), u"ends in ");
}

TEST(ReadTextFile, MissingOrEmptyFileGivesEmptyText) {
    TempFolder folder;
    WriteFile(folder.At("empty.txt"), "");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("missing.txt")), u"");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("empty.txt")), u"");
    EXPECT_EQ(CUtils::ReadTextFile(u""), u"");
}

// ---- The running module ----

TEST(GetModulePath, OverrideIsAnsweredAndDirectoryCutAtLastSeparator) {
    const WString saved = CUtils::GetModulePath();
    CUtils::SetModulePathOverride(u"/opt/archicad/Add-Ons/OrvUpdate.so");
    EXPECT_EQ(CUtils::GetModulePath(), u"/opt/archicad/Add-Ons/OrvUpdate.so");
    EXPECT_EQ(CUtils::GetModuleDirectory(), u"/opt/archicad/Add-Ons");
    CUtils::SetModulePathOverride(u"C:\\ArchiCAD\\Add-Ons/Orv\\OrvUpdate.apx");
    EXPECT_EQ(CUtils::GetModuleDirectory(), u"C:\\ArchiCAD\\Add-Ons/Orv");
    CUtils::SetModulePathOverride(saved);
    EXPECT_EQ(CUtils::GetModulePath(), saved);
}

TEST(GetModulePath, WithoutOverrideIsTheFileThisCodeIsLinkedInto) {
    const WString saved = CUtils::GetModulePath();
    CUtils::SetModulePathOverride(u"");
    const WString path = CUtils::GetModulePath();
    const WString directory = CUtils::GetModuleDirectory();
    CUtils::SetModulePathOverride(saved);
    // The runtime is linked statically into this test program.
    const fs::path program = fs::canonical("/proc/self/exe");
    EXPECT_EQ(path, Wide(program.string()));
    EXPECT_EQ(directory, Wide(program.parent_path().string()));
}

// ---- Time and alerts ----

TEST(GetTimeMicroseconds, AnswersTheInstalledClock) {
    testsupport::FixedClock clock(2024, 3, 15, 10, 30, 5);
    EXPECT_EQ(CUtils::GetTimeMicroseconds(), testsupport::FixedClock::Now());
}

TEST(GetTimeMicroseconds, RealClockCountsFrom1601) {
    // The system clock in microseconds since 1601, read on either side of the reading.
    const auto systemClock = [] {
        const auto sinceUnixEpoch = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::system_clock::now().time_since_epoch());
        return static_cast<int64_t>(sinceUnixEpoch.count()) + int64_t{11644473600} * 1000000;
    };
    const int64_t before = systemClock();
    const int64_t actual = static_cast<int64_t>(CUtils::GetTimeMicroseconds());
    const int64_t after = systemClock();
    EXPECT_LE(before, actual);
    EXPECT_LE(actual, after);
}

TEST(ShowMessageBox, FlagsMapToOkButtonWithIcon) {
    testsupport::RecordedPlatform platform;
    const std::vector<std::pair<uint32_t, uint32_t>> mapping = {
        {1, 0x00}, {2, 0x40}, {4, 0x00}, {8, 0x30}, {9, 0x30}, {12, 0x30}, {0, 0x00}};
    for (const auto& [flags, type] : mapping)
        CUtils::ShowMessageBox(nullptr, u"Caption", u"Text", flags);
    ASSERT_EQ(testsupport::RecordedPlatform::alerts.size(), mapping.size());
    for (size_t i = 0; i < mapping.size(); ++i) {
        EXPECT_EQ(testsupport::RecordedPlatform::alerts[i].type, mapping[i].second)
            << "flags " << mapping[i].first;
    }
}

TEST(ShowMessageBox, CaptionAndTextReachTheAlert) {
    testsupport::RecordedPlatform platform;
    CUtils::ShowMessageBox(nullptr, u"OrvUpdate Brennerstein", u"Knihovna je aktuální.", 2);
    ASSERT_EQ(testsupport::RecordedPlatform::alerts.size(), 1u);
    EXPECT_EQ(testsupport::RecordedPlatform::alerts[0].caption, u"OrvUpdate Brennerstein");
    EXPECT_EQ(testsupport::RecordedPlatform::alerts[0].text, u"Knihovna je aktuální.");
}

TEST(ShowMessageBox, WithoutHookWritesCaptionAndTextToStandardError) {
    testing::internal::CaptureStderr();
    CUtils::ShowMessageBox(nullptr, u"Alert", u"Něco se stalo", 8);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Alert: N\xc4\x9b"
                                                      "co se stalo\n");
}
