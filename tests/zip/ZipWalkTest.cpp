// ZipWalkTest.cpp: ZipDirectoryIterator: which files and folders a walk delivers for
// each root and flag, and what an entry carries.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "zip/ZipFile.h"

#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace ziptest;

namespace {

class ZipWalkTest : public ::testing::Test {
protected:
    void SetUp() override {
        RawArchive raw;
        raw.members = {Member("root.txt", "r"),   Member("Docs/", ""),
                       Member("Docs/a.txt", "a"), Member("Docs/sub/b.txt", "b"),
                       Member("Empty/", ""),      Member("pics/c.png", "c"),
                       Member("zz.txt", "z")};
        zip = OpenBytes(Build(raw));
    }
    std::unique_ptr<ZipFile> zip;
};

TEST_F(ZipWalkTest, NoFlagsDeliverOnlyTheFilesDirectlyInTheRoot) {
    EXPECT_EQ(Walk(*zip, "", 0), (std::vector<std::string>{"|root.txt", "|zz.txt"}));
}

TEST_F(ZipWalkTest, FilesFlagDeliversEveryFileAndNoDirectory) {
    EXPECT_EQ(Walk(*zip, "", ZipDirectoryIterator::kFiles),
              (std::vector<std::string>{"|root.txt", "|zz.txt", "Docs/|a.txt", "Docs/sub/|b.txt",
                                        "pics/|c.png"}));
}

TEST_F(ZipWalkTest, DirectoriesFlagDeliversEachSubfolderOnce) {
    EXPECT_EQ(
        Walk(*zip, "", ZipDirectoryIterator::kDirectories),
        (std::vector<std::string>{"|root.txt", "|zz.txt", "dir:|Docs", "dir:|Empty", "dir:|pics"}));
}

TEST_F(ZipWalkTest, RootFolderLimitsDirectoriesAndFilesHere) {
    EXPECT_EQ(Walk(*zip, "Docs", ZipDirectoryIterator::kDirectories),
              (std::vector<std::string>{"Docs/|a.txt", "dir:Docs/|sub"}));
    EXPECT_EQ(Walk(*zip, "Docs/", 0), (std::vector<std::string>{"Docs/|a.txt"}));
    EXPECT_EQ(Walk(*zip, "Docs\\sub\\", 0), (std::vector<std::string>{"Docs/sub/|b.txt"}));
}

TEST_F(ZipWalkTest, CaseInsensitiveWalkMatchesTheRootInAnyCase) {
    EXPECT_TRUE(Walk(*zip, "docs/", 0).empty());
    EXPECT_EQ(Walk(*zip, "docs/", ZipDirectoryIterator::kCaseInsensitive),
              (std::vector<std::string>{"Docs/|a.txt"}));
}

TEST_F(ZipWalkTest, EntryCarriesIndexSizesCrcTimeAndEncryption) {
    RawArchive raw;
    raw.members = {Member("x.bin", "12345")};
    raw.members[0].flags = 1;
    raw.members[0].time = (13u << 11) | (14u << 5) | 15u;
    raw.members[0].date = (43u << 9) | (6u << 5) | 7u;
    auto single = OpenBytes(Build(raw));
    ZipDirectoryIterator walk(*single, u"", ZipDirectoryIterator::kFiles);
    ZipDirectoryEntry entry;
    ASSERT_TRUE(walk.next(entry));
    EXPECT_EQ(entry.zip, single.get());
    EXPECT_EQ(entry.memberIndex, 0);
    EXPECT_EQ(entry.crc, Crc("12345"));
    EXPECT_EQ(entry.uncompressedSize, 5u);
    EXPECT_EQ(entry.compressedSize, 5u);
    EXPECT_EQ(entry.attributes & 0x4000, 0x4000u);
    const std::tm* read = std::localtime(&entry.time);  // the test's own thread only
    ASSERT_NE(read, nullptr);
    const std::tm local = *read;
    EXPECT_EQ(local.tm_year, 123);
    EXPECT_EQ(local.tm_mon, 5);
    EXPECT_EQ(local.tm_mday, 7);
    EXPECT_EQ(local.tm_hour, 13);
    EXPECT_EQ(local.tm_min, 14);
    EXPECT_EQ(local.tm_sec, 30);
    EXPECT_FALSE(walk.next(entry));
}

TEST_F(ZipWalkTest, PendingMembersAreWalkedAfterTheTable) {
    ZipPendingMember member;
    member.folder = u"";
    member.name = u"zzz.txt";
    zip->addPendingMember(member);
    ZipDirectoryIterator walk(*zip, u"", 0);
    ZipDirectoryEntry entry;
    std::vector<int32_t> indices;
    while (walk.next(entry))
        indices.push_back(entry.memberIndex);
    ASSERT_EQ(indices.size(), 3u);
    EXPECT_EQ(indices[2], static_cast<int32_t>(kZipPendingBit));
}

}  // namespace
