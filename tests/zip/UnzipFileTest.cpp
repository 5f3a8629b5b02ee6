// UnzipFileTest.cpp: CUtils::UnzipFile: where members land, what happens to an existing target,
// which members are refused or left out, and that a failing member never leaves part of a file.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/Logger.h"
#include "common/OVException.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#ifndef _WIN32
#include <sys/resource.h>
#endif
#include <vector>

namespace fs = std::filesystem;
using ziptest::FilesBelow;
#ifndef _WIN32
using ziptest::ForbidRenames;
using ziptest::InChild;
#endif
using ziptest::Build;
using ziptest::CopyFixture;
using ziptest::Deflated;
using ziptest::ListNames;
using ziptest::Member;
using ziptest::Narrow;
using ziptest::RawArchive;
using ziptest::RawMember;
using ziptest::ReadFileBytes;
using ziptest::TempFolder;
using ziptest::Wide;
using ziptest::WriteFileBytes;

namespace {

// Keeps the log file of these tests in a temporary folder, and gives what the console sink (which
// takes the error entries) received since construction.
class LogWatch {
public:
    LogWatch() : start(Buffer().size()) {
        CUtils::SetModulePathOverride(Wide(folder.At("module")));
    }
    ~LogWatch() { CUtils::SetModulePathOverride(u""); }
    LogWatch(const LogWatch&) = delete;
    LogWatch& operator=(const LogWatch&) = delete;

    std::string Since() const {
        const WString now = Buffer();
        return Narrow(now.size() >= start ? now.substr(start) : now);
    }

private:
    static WString Buffer() {
        Logger* logger = Logger::Instance();
        return logger != nullptr ? logger->GetConsoleBuffer() : WString();
    }

    TempFolder folder;
    size_t start;
};

// An archive of stored members `members` (name, data), written byte by byte with the names
// untouched: a name beyond ASCII is marked UTF-8, one ending in "/" is a folder.
void MakeArchive(const std::string& path,
                 const std::vector<std::pair<std::string, std::string>>& members) {
    RawArchive raw;
    for (const auto& [name, data] : members) {
        RawMember member = Member(name, data);
        if (std::any_of(name.begin(), name.end(), [](char c) { return (c & 0x80) != 0; })) {
            member.flags |= 0x800;
        }
        if (!name.empty() && name.back() == '/') {
            member.attributes = 0x10;
        }
        raw.members.push_back(member);
    }
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
}

class UnzipFileTest : public ::testing::Test {
protected:
    TempFolder temp;
    LogWatch log;
};

TEST_F(UnzipFileTest, ExtractsFilesAndFoldersIntoTheTarget) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"a.txt", "alpha"}, {"sub/b.txt", "beta"}, {"sub/deep/c.txt", "gamma"}});
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {
        {"a.txt", "alpha"}, {"sub/b.txt", "beta"}, {"sub/deep/c.txt", "gamma"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

#ifndef _WIN32  // a backslash is part of a name only on Linux
TEST_F(UnzipFileTest, TargetEndingInBackslashGetsNoSecondSeparator) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"a.txt", "alpha"}, {"blocked/x.txt", "never"}});
    // A file where the member's folder should be makes the member's path appear in the log.
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/blocked"), "a file"));
    EXPECT_THROW(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out\\")), false), OVException);
    EXPECT_EQ(ReadFileBytes(temp.At("out/a.txt")), "alpha");
    EXPECT_EQ(ListNames(temp.At("")), (std::vector<std::string>{"a.zip", "out"}));
    EXPECT_FALSE(fs::exists(temp.At("out\\")));
    const std::string logged = log.Since();
    EXPECT_NE(logged.find("failed to create target directory: " + temp.At("out/blocked/x.tx")),
              std::string::npos)
        << logged;
    EXPECT_EQ(logged.find("out//"), std::string::npos) << logged;
    EXPECT_EQ(logged.find("out\\"), std::string::npos) << logged;
}
#endif

TEST_F(UnzipFileTest, MemberWhoseFolderCannotBeMadeFailsTheExtractionInsteadOfReportingSuccess) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"a.txt", "alpha"}, {"blocked/x.txt", "never"}, {"z.txt", "zed"}});
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/blocked"), "a file"));
    try {
        CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false);
        ADD_FAILURE() << "reported success with blocked/x.txt missing";
    } catch (const OVException& failure) {
        // The file's open fails, as the system says: a file stands where the folder should be.
#ifdef _WIN32
        EXPECT_EQ(failure.GetCode(), EACCES) << failure.what();
#else
        EXPECT_EQ(failure.GetCode(), ENOTDIR) << failure.what();
#endif
        EXPECT_NE(std::string(failure.what()).find("Failed to open file"), std::string::npos)
            << failure.what();
    }
    // The walk takes the root's files first: they stay. The file in the way is left as it was.
    const std::map<std::string, std::string> expected = {
        {"a.txt", "alpha"}, {"blocked", "a file"}, {"z.txt", "zed"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

// Text that deflates but is no single repeated run: large members cross every buffer of the
// chain several times.
std::string Lines(size_t size, int seed) {
    std::string text;
    for (int line = seed; text.size() < size; ++line) {
        text += "line " + std::to_string(line * 7919 % 100003) + " of a large member\n";
    }
    text.resize(size);
    return text;
}

TEST_F(UnzipFileTest, MembersOfManyFoldersEmptyAndLargeOnesLandWhole) {
    const std::string archive = temp.At("a.zip");
    RawArchive raw;
    raw.members = {Member("top.txt", "t"),
                   Member("a/empty-stored.txt", ""),
                   Deflated("a/empty-deflated.txt", ""),
                   Deflated("a/large.txt", Lines(300001, 1)),
                   Member("a/b/one.txt", "1"),
                   Deflated("a/b/c/deep.txt", Lines(70000, 2)),
                   Member("a/b/two.txt", "2"),
                   Member("z/last.txt", "z")};
    ASSERT_TRUE(WriteFileBytes(archive, Build(raw)));
    // An old file under the name of an empty member is replaced by an empty one.
    fs::create_directories(temp.At("out/a"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/a/empty-deflated.txt"), "old"));
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {{"top.txt", "t"},
                                                         {"a/empty-stored.txt", ""},
                                                         {"a/empty-deflated.txt", ""},
                                                         {"a/large.txt", Lines(300001, 1)},
                                                         {"a/b/one.txt", "1"},
                                                         {"a/b/c/deep.txt", Lines(70000, 2)},
                                                         {"a/b/two.txt", "2"},
                                                         {"z/last.txt", "z"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, AFolderBlockedAfterOthersWereMadeStillFailsItsMember) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"a/x.txt", "x"}, {"a/y.txt", "y"}, {"b/z.txt", "never"}});
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b"), "a file"));
    EXPECT_THROW(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false), OVException);
    const std::map<std::string, std::string> expected = {
        {"a/x.txt", "x"}, {"a/y.txt", "y"}, {"b", "a file"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
    EXPECT_NE(log.Since().find("failed to create target directory: "), std::string::npos);
}

TEST_F(UnzipFileTest, OnlyDirectoriesArchiveGivesAnExistingEmptyTargetAndTrue) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"d1/", ""}, {"d1/d2/", ""}, {"d3/", ""}});
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out/new")), false));
    ASSERT_TRUE(fs::is_directory(temp.At("out/new")));
    EXPECT_TRUE(fs::is_empty(temp.At("out/new")));
}

TEST_F(UnzipFileTest, NameOf257BytesIsLeftOutWithoutAMessage) {
    const std::string archive = temp.At("a.zip");
    const std::string kept = "d/" + std::string(254, 'k');     // 256 bytes
    const std::string dropped = "d/" + std::string(255, 'y');  // 257 bytes
    MakeArchive(archive, {{"ok.txt", "fine"}, {kept, "kept"}, {dropped, "dropped"}});
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {{"ok.txt", "fine"}, {kept, "kept"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
    EXPECT_EQ(log.Since(), "");
}

TEST_F(UnzipFileTest, WithoutCleanTargetAnExistingTreeIsMergedAndOverwritten) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"a.txt", "new a"}, {"sub/new.txt", "new"}});
    fs::create_directories(temp.At("out/sub"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/a.txt"), "old a, longer than the new one"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/keep.txt"), "kept"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/sub/old.txt"), "old"));
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {
        {"a.txt", "new a"}, {"keep.txt", "kept"}, {"sub/new.txt", "new"}, {"sub/old.txt", "old"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, CleanTargetRemovesTheOldContentsFirst) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"a.txt", "new a"}, {"sub/new.txt", "new"}});
    fs::create_directories(temp.At("out/sub/deeper"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/keep.txt"), "old"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/sub/deeper/old.txt"), "old"));
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), true));
    const std::map<std::string, std::string> expected = {{"a.txt", "new a"},
                                                         {"sub/new.txt", "new"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
    EXPECT_FALSE(fs::exists(temp.At("out/sub/deeper")));
}

TEST_F(UnzipFileTest, BrokenArchiveThrowsBeforeCleanTargetTouchesTheTarget) {
    const std::string archive = temp.At("broken.zip");
    ASSERT_TRUE(WriteFileBytes(archive, "PK this is no archive at all"));
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/keep.txt"), "kept"));
    EXPECT_THROW(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), true), OVException);
    EXPECT_EQ(ReadFileBytes(temp.At("out/keep.txt")), "kept");
}

TEST_F(UnzipFileTest, MissingArchiveThrows) {
    EXPECT_THROW(CUtils::UnzipFile(Wide(temp.At("missing.zip")), Wide(temp.At("out")), false),
                 OVException);
    EXPECT_FALSE(fs::exists(temp.At("out")));
}

// One refused member beside a good one: the good one is written, the refused one nowhere, and
// the refusal is logged with the member's name.
void ExpectRefused(const TempFolder& temp, const LogWatch& log, const std::string& name) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"good.txt", "good"}, {name, "evil"}});
    const std::vector<std::string> before = ListNames(temp.At(""));
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("box/out")), false));
    const std::map<std::string, std::string> expected = {{"good.txt", "good"}};
    EXPECT_EQ(FilesBelow(temp.At("box/out")), expected) << name;
    EXPECT_EQ(FilesBelow(temp.At("box")).size(), 1u) << name;
    std::vector<std::string> after = ListNames(temp.At(""));
    after.erase(std::remove(after.begin(), after.end(), "box"), after.end());
    EXPECT_EQ(after, before) << name;
    // The console sink keeps each line without its last character.
    EXPECT_NE(log.Since().find("refused a member outside the target directory: " +
                               name.substr(0, name.size() - 1)),
              std::string::npos)
        << log.Since();
}

TEST_F(UnzipFileTest, ParentStepMemberIsRefusedAndLogged) {
    ExpectRefused(temp, log, "../evil.txt");
}

TEST_F(UnzipFileTest, ParentStepInsideTheMemberPathIsRefused) {
    ExpectRefused(temp, log, "sub/../../evil.txt");
}

TEST_F(UnzipFileTest, ParentStepBetweenBackslashesIsRefused) {
    ExpectRefused(temp, log, "sub\\..\\..\\evil.txt");
}

TEST_F(UnzipFileTest, AbsoluteMemberIsRefused) {
    ExpectRefused(temp, log, temp.At("evil.txt"));
    EXPECT_FALSE(fs::exists(temp.At("evil.txt")));
}

TEST_F(UnzipFileTest, DrivePrefixedMemberIsRefused) { ExpectRefused(temp, log, "C:/evil.txt"); }

TEST_F(UnzipFileTest, DriveRelativeMemberIsRefused) { ExpectRefused(temp, log, "C:evil.txt"); }

TEST_F(UnzipFileTest, BackslashRootedMemberIsRefused) { ExpectRefused(temp, log, "\\evil.txt"); }

TEST_F(UnzipFileTest, NamesThatOnlyContainDotsAreExtracted) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"..hidden", "1"}, {"a..b/c...txt", "2"}, {"./d.txt", "3"}});
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {
        {"..hidden", "1"}, {"a..b/c...txt", "2"}, {"d.txt", "3"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
    EXPECT_EQ(log.Since(), "");
}

// Flips one byte of `needle`'s first appearance in the archive.
void CorruptData(const std::string& archive, const std::string& needle) {
    std::string bytes = ReadFileBytes(archive);
    const size_t at = bytes.find(needle);
    ASSERT_NE(at, std::string::npos);
    bytes[at + needle.size() / 2] ^= 0x20;
    ASSERT_TRUE(WriteFileBytes(archive, bytes));
}

TEST_F(UnzipFileTest, CorruptedStoredMemberLeavesTheOldFileAndNoPartialFile) {
    const std::string archive = temp.At("a.zip");
    const std::string payload(4000, 'p');
    MakeArchive(archive, {{"a.txt", "first"}, {"b.txt", payload}});
    CorruptData(archive, payload);
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b.txt"), "old b"));
    EXPECT_THROW(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false), OVException);
    // The earlier member stays; the failing one neither replaced the old file nor left a part.
    const std::map<std::string, std::string> expected = {{"a.txt", "first"}, {"b.txt", "old b"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, DamagedLargeDeflatedMemberIsRefusedAndTheOldFileStaysWhole) {
    const std::string archive = temp.At("a.zip");
    RawArchive raw;
    raw.members = {Member("a.txt", "first"), Deflated("b.txt", Lines(1 << 20, 3))};
    const std::string bytes = Build(raw);
    ASSERT_TRUE(WriteFileBytes(archive, bytes));
    // A byte in the middle of b.txt's deflated data, some windows past its start.
    std::string damaged = bytes;
    damaged[bytes.size() / 2] ^= 0x10;
    ASSERT_TRUE(WriteFileBytes(archive, damaged));
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b.txt"), "old b"));
    EXPECT_THROW(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false), OVException);
    const std::map<std::string, std::string> expected = {{"a.txt", "first"}, {"b.txt", "old b"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, MemberInflatingPastItsDeclaredSizeFailsAndLeavesTheOldFile) {
    const std::string archive = temp.At("bomb.zip");
    // A megabyte of zeros declared, in both headers, as a thousand bytes.
    RawArchive raw;
    raw.members = {Deflated("a.txt", "first"), Deflated("b.txt", std::string(1 << 20, '\0'))};
    raw.members[1].size = 1000;
    ASSERT_TRUE(WriteFileBytes(archive, Build(raw)));
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b.txt"), "old b"));
    try {
        CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false);
        ADD_FAILURE() << "no exception";
    } catch (const OVException& failure) {
        EXPECT_EQ(failure.GetCode(), -1380004) << failure.what();
    }
    const std::map<std::string, std::string> expected = {{"a.txt", "first"}, {"b.txt", "old b"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, CorruptedAesMemberFailsAuthenticationAndLeavesNoFileUnderItsName) {
    // a.txt "first" and b.txt, stored and encrypted with the built-in password by 7z.
    const std::string archive = CopyFixture("7z-aes256-stored-default-password.zip", temp);
    // Stored and encrypted: the middle of the file is the middle of b.txt's cipher text.
    std::string bytes = ReadFileBytes(archive);
    const size_t middle = bytes.size() / 2;
    bytes[middle] ^= 0x01;
    ASSERT_TRUE(WriteFileBytes(archive, bytes));
    try {
        CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false);
        ADD_FAILURE() << "no exception";
    } catch (const OVException& failure) {
        EXPECT_EQ(failure.GetCode(), -1380003) << failure.what();
    }
    const std::map<std::string, std::string> expected = {{"a.txt", "first"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

#ifndef _WIN32  // a forked child and a system call filter
// The report of an extraction in the child of InChild: "true", "false", or the OVException's
// message.
std::string Extract(const std::string& archive, const std::string& target) {
    try {
        return CUtils::UnzipFile(Wide(archive), Wide(target), false) ? "true" : "false";
    } catch (const OVException& failure) {
        return std::string("OVException: ") + failure.what();
    }
}
#endif

#ifndef _WIN32  // a forked child and a system call filter
TEST_F(UnzipFileTest, AReplaceThatFailsLeavesTheOldFileWholeAndNoPartFile) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"b.txt", "new b"}});
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b.txt"), "old b"));
    const std::string report = InChild([&] {
        if (!ForbidRenames())
            return std::string("no filter");
        return Extract(archive, temp.At("out"));
    });
    if (report == "no filter")
        GTEST_SKIP() << "this system cannot filter system calls";
    EXPECT_EQ(report, "OVException: CUtils::UnzipFile failed to put a member in place: " +
                          temp.At("out/b.txt"));
    const std::map<std::string, std::string> expected = {{"b.txt", "old b"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}
#endif

#ifndef _WIN32  // a forked child and a system call filter
TEST_F(UnzipFileTest, AMemberThatTheDiskCutsShortAtTheEndLeavesTheOldFileWhole) {
    const std::string archive = temp.At("a.zip");
    // Small enough to stay in the C library's buffer until the file is closed, larger than the
    // limit below: the disk refuses it only when the buffer is written out at the end.
    const std::string payload(1500, 'n');
    MakeArchive(archive, {{"b.txt", payload}});
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b.txt"), "old b"));
    const std::string report = InChild([&] {
        const rlimit limit{1024, 1024};
        std::signal(SIGXFSZ, SIG_IGN);
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return std::string("no limit");
        return Extract(archive, temp.At("out"));
    });
    EXPECT_EQ(report.rfind("OVException: ", 0), 0u) << report;
    const std::map<std::string, std::string> expected = {{"b.txt", "old b"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}
#endif

TEST_F(UnzipFileTest, AFileNamedLikeAPartFileIsLeftAsItWas) {
    const std::string archive = temp.At("a.zip");
    MakeArchive(archive, {{"b.txt", "new b"}});
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b.txt"), "old b"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/b.txt.orvpart"), "someone's file"));
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {{"b.txt", "new b"},
                                                         {"b.txt.orvpart", "someone's file"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, AMemberWhoseNameLeavesNoRoomForThePartEndingIsExtracted) {
    const std::string archive = temp.At("a.zip");
    // 250 bytes: with ".orvpart" behind it the name would pass the longest a folder takes.
    const std::string name(250, 'n');
    MakeArchive(archive, {{name, "new"}});
    fs::create_directories(temp.At("out"));
    ASSERT_TRUE(WriteFileBytes(temp.At("out/" + name), "old"));
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {{name, "new"}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, EncryptedMembersAreReadWithTheBuiltInPassword) {
    // Made by 7z with the built-in password: a.txt, and sub/b.txt deflated.
    const std::string archive = CopyFixture("7z-aes256-default-password.zip", temp);
    EXPECT_TRUE(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false));
    const std::map<std::string, std::string> expected = {{"a.txt", "secret a"},
                                                         {"sub/b.txt", std::string(10000, 'b')}};
    EXPECT_EQ(FilesBelow(temp.At("out")), expected);
}

TEST_F(UnzipFileTest, WrongPasswordThrowsAndWritesNothingUnderTheName) {
    // f.txt, encrypted by 7z with the password "secret".
    const std::string archive = CopyFixture("7z-aes256-deflated.zip", temp);
    EXPECT_THROW(CUtils::UnzipFile(Wide(archive), Wide(temp.At("out")), false), OVException);
    EXPECT_TRUE(FilesBelow(temp.At("out")).empty());
}

}  // namespace
