// TempFileTest.cpp: the temporary folder of CUtils::GetTempDirectory, private to the user, and
// the files CUtils::CreateTempFileOV makes in it.
#include "FileUtilsTestSupport.h"
#include "TestSupport.h"
#include "common/CUtils.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using fileutilstest::Contains;
using fileutilstest::MakeFolder;
using testfiles::ListNames;
using testfiles::MakeLink;
using testfiles::Narrow;
using testfiles::ReadFileBytes;
using testfiles::TempFolder;
using testfiles::Wide;
using testfiles::WriteFileBytes;
using testsupport::CountOf;
using testsupport::IsolatedLog;

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

}  // namespace

// ---- GetTempDirectory and CreateTempFileOV ----

TEST(GetTempDirectory, IsOrvantaWithTheUserIdBelowTmpdirEndingInSeparatorAndMade) {
    TempFolder tmp;
    ScopedTmpdir env(tmp.Path().c_str());
    EXPECT_EQ(CUtils::GetTempDirectory(), tmp.WidePath() + u"/" + Wide(UserTempName()) + u"/");
    EXPECT_TRUE(fs::is_directory(tmp.At(UserTempName())));
}

TEST(GetTempDirectory, TmpdirWithTrailingSlashGetsNoSecondOne) {
    TempFolder tmp;
    ScopedTmpdir env((tmp.Path().string() + "/").c_str());
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
    if (!MakeLink(tmp.At("elsewhere"), tmp.At(UserTempName()))) {
        GTEST_SKIP() << "no symbolic links here";
    }
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
    WriteFileBytes(tmp.At(UserTempName()), "x");
    EXPECT_EQ(CUtils::GetTempDirectory(), u"");
    EXPECT_EQ(CountOf(log.Text(), "Temporary folder refused, not a private folder of this user: "),
              1u);
    EXPECT_EQ(ReadFileBytes(tmp.At(UserTempName())), "x");
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
    WriteFileBytes(tmp.At("kept"), "kept");
    if (!MakeLink(tmp.At("missing"), (folder + "door.gsm"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    if (!MakeLink(tmp.At("kept"), (folder + "window.gsm"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    for (const std::string name : {"door.gsm", "window.gsm"}) {
        const std::string path = Narrow(CUtils::CreateTempFileOV(Wide(name)));
        if (path.empty())
            continue;
        EXPECT_NE(path, folder + name);
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(path))) << path;
        EXPECT_TRUE(CUtils::WriteStringToFile(Wide(path), "download", false));
    }
    EXPECT_FALSE(fs::exists(fs::symlink_status(tmp.At("missing"))));
    EXPECT_EQ(ReadFileBytes(tmp.At("kept")), "kept");
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
    WriteFileBytes(tmp.At("plain-file"), "x");
    ScopedTmpdir env(tmp.At("plain-file").c_str());
    EXPECT_EQ(CUtils::CreateTempFileOV(u"door.gsm"), u"");
    EXPECT_TRUE(Contains(log.Text(), "[ CUtils::CreateTempFileOV ] Failed to create temp file: " +
                                         tmp.At("plain-file") + "/" + UserTempName() +
                                         "/door.gsm (src/utils:"));
    EXPECT_EQ(ReadFileBytes(tmp.At("plain-file")), "x");
}
