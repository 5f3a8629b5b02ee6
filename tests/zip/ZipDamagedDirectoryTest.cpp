// ZipDamagedDirectoryTest.cpp: archives cut short, corrupted byte by byte or damaged at random, and
// directories whose offsets, counts or names lie: each opens or fails with an OVException.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "zip/ZipFile.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace ziptest;

namespace {

TEST_F(ZipFileTest, TruncationAtEveryOffsetFailsWithOVException) {
    RawArchive raw;
    raw.members = {Member("dir/one.txt", "first"), Member("two.txt", "second")};
    const std::string bytes = Build(raw);
    for (size_t length = 0; length < bytes.size(); ++length)
        EXPECT_NE(OpenFailureCode(bytes.substr(0, length)), 1) << length;
}

TEST_F(ZipFileTest, CommentCutShortIsTakenAsFarAsItGoes) {
    RawArchive raw;
    raw.members = {Member("one.txt", "first")};
    raw.comment = "comment";
    const std::string bytes = Build(raw);
    const auto zip = OpenBytes(bytes.substr(0, bytes.size() - 3));
    EXPECT_EQ(std::string(zip->getComment().begin(), zip->getComment().end()), "comm");
}

TEST_F(ZipFileTest, TruncationOfAZip64ArchiveAtEveryOffsetFailsWithOVException) {
    RawArchive raw;
    raw.zip64 = true;
    raw.members = {Member("one.txt", "first")};
    const std::string bytes = Build(raw);
    for (size_t length = 0; length < bytes.size(); ++length)
        EXPECT_NE(OpenFailureCode(bytes.substr(0, length)), 1) << length;
}

TEST_F(ZipFileTest, EveryCorruptedByteGivesAnOpenArchiveOrAnOVException) {
    RawArchive raw;
    raw.zip64 = true;
    raw.members = {Member("dir/one.txt", "first"), Member("two.txt", "second")};
    raw.members[1].centralExtra = Block(0x7075, std::string(1, '\1') + LE32(Crc("two.txt")) + "t");
    const std::string bytes = Build(raw);
    ASSERT_EQ(OpenBytes(bytes)->getMembers().size(), 2u);
    DamageTally tally;
    for (size_t at = 0; at < bytes.size(); ++at) {
        for (const char value : {'\0', '\xFF', '\x7F'}) {
            std::string broken = bytes;
            broken[at] = value;
            tally.Run("byte " + std::to_string(at) + " = " + std::to_string(value), [&] {
                auto zip = OpenBytes(broken);
                EXPECT_TRUE(zip->isOpened()) << at;
                EXPECT_LE(zip->getMembers().size(), 2u) << at;
            });
        }
    }
    // Both outcomes occur: a damaged record is refused, a damaged time or name is taken.
    EXPECT_GT(tally.refused, 0);
    EXPECT_GT(tally.taken, 0);
}

TEST_F(ZipFileTest, EveryCorruptedByteOfAnArchiveWithDuplicatesOpensAndClosesOrThrows) {
    RawArchive raw;
    raw.members = {Member("a.txt", "first"), Member("a.txt", "again"), Member("b.txt", "bee")};
    const std::string bytes = Build(raw);
    const std::string path = folder.At("mutated.zip");
    for (size_t at = 0; at < bytes.size(); ++at) {
        for (const char value : {'\0', '\xFF'}) {
            std::string broken = bytes;
            broken[at] = value;
            WriteFileBytes(path, broken);
            try {
                ZipFile zip(Wide(path), nullptr, false, false, false);
                const int32_t result = zip.close();
                EXPECT_TRUE(result == 0 || result == 14) << at;
            } catch (const OVException&) {
            }
            EXPECT_FALSE(CUtils::FileExists(Wide(path + ".temp"))) << at;
        }
    }
}

TEST_F(ZipFileTest, RewriteOverABrokenLocalHeaderFailsAndKeepsTheOldFile) {
    RawArchive raw;
    raw.members = {Member("a.txt", "first"), Member("a.txt", "again")};
    std::string bytes = Build(raw);
    bytes[1] = 'X';  // the first local header's signature
    const std::string path = folder.At("badlocal.zip");
    WriteFileBytes(path, bytes);
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ASSERT_TRUE(zip.isModified());
        EXPECT_EQ(zip.close(), 14);
        EXPECT_EQ(zip.getMembers().size(), 1u);
    }
    EXPECT_EQ(ReadFileBytes(path), bytes);
    EXPECT_FALSE(CUtils::FileExists(Wide(path + ".temp")));
}

TEST_F(ZipFileTest, RewriteWithASizeRunningPastTheFileFails) {
    RawArchive raw;
    raw.members = {Member("a.txt", "first"), Member("a.txt", "again")};
    std::string bytes = Build(raw);
    bytes.replace(18, 4, LE32(0x7FFFFFF0));  // the first local header's compressed size
    const std::string path = folder.At("longsize.zip");
    WriteFileBytes(path, bytes);
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        EXPECT_EQ(zip.close(), 14);
    }
    EXPECT_EQ(ReadFileBytes(path), bytes);
}

TEST_F(ZipFileTest, RandomlyDamagedArchivesOpenAndWalkOrThrowOVException) {
    // A folder, a UTF-8 name, a member with a Zip64 block in its local header, a duplicate and a
    // comment.
    RawArchive raw;
    raw.members = {Member("d/", ""), Deflated("d/č.txt", Repeat("x", 50)),
                   Deflated("big", Repeat("y", 70)), Deflated("d/č.txt", "dup")};
    raw.members[1].flags = raw.members[3].flags = 0x800;
    raw.members[2].zip64Local = true;
    raw.comment = "fuzz";
    const std::string bytes = Build(raw);
    const uint32_t everything = ZipDirectoryIterator::kFiles | ZipDirectoryIterator::kDirectories;
    EXPECT_EQ(Walk(*OpenBytes(bytes), "", everything),
              (std::vector<std::string>{"|big", "dir:|d", "d/|č.txt"}));
    DamageTally tally;
    std::mt19937 random(12345);
    for (int round = 0; round < 3000; ++round) {
        std::string broken = bytes;
        const int changes = 1 + static_cast<int>(random() % 4);
        for (int i = 0; i < changes; ++i)
            broken[random() % broken.size()] = static_cast<char>(random());
        tally.Run("round " + std::to_string(round), [&] {
            auto zip = OpenBytes(broken);
            // Each member gives at most itself and its folder.
            EXPECT_LE(Walk(*zip, "", everything).size(), 2 * zip->getMembers().size()) << round;
        });
    }
    EXPECT_GT(tally.refused, 0);
    EXPECT_GT(tally.taken, 0);
}

TEST_F(ZipFileTest, DirectoryOffsetOutsideTheFileFails) {
    RawArchive raw;
    raw.members = {Member("one.txt", "1")};
    raw.cdOffsetAdjust = 100000;
    EXPECT_EQ(OpenFailureCode(Build(raw)), kZipBadStructure);
}

TEST_F(ZipFileTest, CountThatLiesHighFailsAndLowReadsFewer) {
    RawArchive high;
    high.members = {Member("one.txt", "1"), Member("two.txt", "2")};
    high.countAdjust = 60000;
    EXPECT_EQ(OpenFailureCode(Build(high)), kZipBadStructure);

    RawArchive low = high;
    low.countAdjust = -1;
    EXPECT_EQ(Paths(*OpenBytes(Build(low))), std::vector<std::string>{"one.txt"});
}

TEST_F(ZipFileTest, HugeZip64CountWithSmallDirectoryReservesNoHugeTable) {
    RawArchive raw;
    raw.zip64 = true;
    raw.members = {Member("one.txt", "1")};
    raw.countAdjust = (int64_t{1} << 40);
    EXPECT_EQ(OpenFailureCode(Build(raw)), kZipBadStructure);
}

TEST_F(ZipFileTest, NameRunningPastTheFileFails) {
    RawArchive raw;
    raw.members = {Member("one.txt", "1")};
    std::string bytes = Build(raw);
    const size_t central = bytes.find(LE32(0x02014B50));
    bytes.replace(central + 28, 2, LE16(200));
    EXPECT_EQ(OpenFailureCode(bytes), kZipBadStructure);
}

TEST_F(ZipFileTest, MissingEndRecordFailsWithBadStructure) {
    EXPECT_EQ(OpenFailureCode("not a zip archive at all, but long enough to be scanned"),
              kZipBadStructure);
    EXPECT_EQ(OpenFailureCode(""), kZipBadStructure);
}

}  // namespace
