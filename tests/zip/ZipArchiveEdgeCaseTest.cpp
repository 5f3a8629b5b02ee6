// ZipArchiveEdgeCaseTest.cpp: the edge cases of opening an archive: the longest comment, a
// signature inside the comment, empty archives, the longest names, Unicode name blocks, and the
// rewrite on close of an archive holding duplicates.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "zip/ZipFile.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace ziptest;

namespace {

TEST_F(ZipFileTest, ArchiveWithLongestCommentOpens) {
    RawArchive raw;
    raw.members = {Member("a.txt", "hello")};
    raw.comment = std::string(65535, 'c');
    const std::string path = folder.At("comment.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_EQ(zip.getMembers().size(), 1u);
    EXPECT_EQ(zip.getComment().size(), 65535u);
    EXPECT_EQ(zip.getComment().front(), 'c');
}

TEST_F(ZipFileTest, SignatureInsideCommentOpensByTheLastMatch) {
    RawArchive raw;
    raw.members = {Member("a.txt", "one")};
    // A complete end record of an empty archive inside the comment: it is the last match.
    raw.comment = "note " + LE32(0x06054B50) + std::string(18, '\0');
    const auto zip = OpenBytes(Build(raw));
    EXPECT_TRUE(zip->getMembers().empty());

    RawArchive plain;
    plain.members = {Member("a.txt", "one")};
    plain.comment = "note";
    EXPECT_EQ(OpenBytes(Build(plain))->getMembers().size(), 1u);
}

TEST_F(ZipFileTest, EmptyArchiveOf22BytesOpensWithNoMembers) {
    const std::string bytes = Build(RawArchive{});
    ASSERT_EQ(bytes.size(), 22u);
    const std::string path = folder.At("empty.zip");
    WriteFileBytes(path, bytes);
    ZipFile zip(Wide(path), nullptr, false, false, false);
    EXPECT_TRUE(zip.isOpened());
    EXPECT_TRUE(zip.getMembers().empty());
    EXPECT_TRUE(zip.getComment().empty());
    EXPECT_FALSE(zip.isModified());
}

TEST_F(ZipFileTest, EmptyArchiveWithTwentyZeroBytesBeforeItHasNoZip64Locator) {
    const std::string bytes =
        std::string(20, '\0') + Build(RawArchive{}).substr(0, 16) + LE32(20) + LE16(0);
    const auto zip = OpenBytes(bytes);
    EXPECT_TRUE(zip->getMembers().empty());
}

TEST_F(ZipFileTest, NamesOf256BytesAreKeptAndOf257Vanish) {
    RawArchive raw;
    raw.members = {Member(std::string(256, 'k'), "kept"), Member(std::string(257, 'v'), "gone"),
                   Member("z.txt", "after")};
    const auto zip = OpenBytes(Build(raw));
    EXPECT_EQ(Paths(*zip), (std::vector<std::string>{std::string(256, 'k'), "z.txt"}));
    EXPECT_FALSE(zip->isModified());
}

TEST_F(ZipFileTest, UnicodeBlockWithWrongCrcKeepsTheRawName) {
    const std::string raw = "raw.txt";
    const std::string unicode = "\xC5\xBElu\xC5\xA5ou\xC4\x8Dk\xC3\xBD.txt";  // žluťoučký.txt
    RawArchive wrong;
    wrong.members = {Member(raw, "x")};
    wrong.members[0].centralExtra =
        Block(0x7075, std::string(1, '\1') + LE32(Crc(raw) ^ 1) + unicode);
    EXPECT_EQ(Paths(*OpenBytes(Build(wrong))), std::vector<std::string>{raw});

    RawArchive right = wrong;
    right.members[0].centralExtra = Block(0x7075, std::string(1, '\1') + LE32(Crc(raw)) + unicode);
    EXPECT_EQ(Paths(*OpenBytes(Build(right))), std::vector<std::string>{unicode});

    RawArchive badVersion = wrong;
    badVersion.members[0].centralExtra =
        Block(0x7075, std::string(1, '\2') + LE32(Crc(raw)) + unicode);
    EXPECT_EQ(Paths(*OpenBytes(Build(badVersion))), std::vector<std::string>{raw});
}

TEST_F(ZipFileTest, ArchiveWithDuplicatesIsRewrittenOnCloseWithNothingElseChanged) {
    RawArchive raw;
    raw.members = {Deflated("same.txt", Repeat("first ", 50)),
                   Deflated("other.txt", Repeat("other ", 50)),
                   Deflated("same.txt", Repeat("second ", 50)),
                   Member("stored.bin", Repeat(std::string("\0\1", 2), 40))};
    const std::string path = folder.At("dups.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    const std::string before = ReadFileBytes(path);
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        EXPECT_TRUE(zip.isModified());
        EXPECT_EQ(Paths(zip), (std::vector<std::string>{"other.txt", "same.txt", "stored.bin"}));
        EXPECT_EQ(zip.close(), 0);
        EXPECT_FALSE(zip.isModified());
    }
    const std::string after = ReadFileBytes(path);
    EXPECT_NE(before, after);
    EXPECT_LT(after.size(), before.size());
    EXPECT_FALSE(CUtils::FileExists(Wide(path + ".temp")));
    {
        ZipFile again(Wide(path), nullptr, false, false, false);
        EXPECT_FALSE(again.isModified());
        EXPECT_EQ(Paths(again), (std::vector<std::string>{"other.txt", "same.txt", "stored.bin"}));
    }
    // What the other tools make of it is checked on Linux only.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("unzip -p '" + path + "' stored.bin | od -An -c | head -1", &output), 0);
    EXPECT_NE(output.find("\\0 001"), std::string::npos) << output;
}

TEST_F(ZipFileTest, RewriteKeepsAStoredMembersCentralMethodZeroSoOtherToolsReadIt) {
    // The table keeps no method, so each central record takes its local header's, not always 8.
    std::string stored;
    for (int i = 0; i < 4 * 256; ++i)
        stored += static_cast<char>(i % 256);
    RawArchive raw;
    raw.members = {Deflated("dup.txt", Repeat("packed ", 100)), Member("stored.bin", stored),
                   Deflated("dup.txt", "again")};
    const std::string path = folder.At("stored.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ASSERT_TRUE(zip.isModified());
        EXPECT_EQ(zip.close(), 0);
    }
    // The central records, in the order of the table: dup.txt deflated, stored.bin stored.
    const std::string bytes = ReadFileBytes(path);
    const size_t first = bytes.find(LE32(0x02014B50));
    ASSERT_NE(first, std::string::npos);
    const size_t second = bytes.find(LE32(0x02014B50), first + 46);
    ASSERT_NE(second, std::string::npos);
    EXPECT_EQ(bytes.substr(first + 46, 7), "dup.txt");
    EXPECT_EQ(bytes.substr(first + 10, 2), LE16(8));
    EXPECT_EQ(bytes.substr(second + 46, 10), "stored.bin");
    EXPECT_EQ(bytes.substr(second + 10, 2), LE16(0));
    // What the other tools make of it is checked on Linux only.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_TRUE(RunPython("z = zipfile.ZipFile(path)\n"
                          "methods = {i.filename: i.compress_type for i in z.infolist()}\n"
                          "assert methods == {'dup.txt': 8, 'stored.bin': 0}, methods\n"
                          "assert z.testzip() is None\n"
                          "assert z.read('stored.bin') == bytes(range(256)) * 4\n",
                          path, &output))
        << output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
}

}  // namespace
