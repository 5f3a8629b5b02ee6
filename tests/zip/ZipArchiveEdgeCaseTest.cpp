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
    SKIP_WITHOUT_LINUX_TOOLS();
    const std::string path = MakePython("comment.zip", R"(
with zipfile.ZipFile(path, 'w') as z:
    z.writestr('a.txt', 'hello')
    z.comment = b'c' * 65535
)");
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
    SKIP_WITHOUT_LINUX_TOOLS();
    const std::string path = MakePython("dups.zip", R"(
with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
    z.writestr('same.txt', 'first ' * 50)
    z.writestr('other.txt', 'other ' * 50)
    z.writestr('same.txt', 'second ' * 50)
    z.writestr(zipfile.ZipInfo('stored.bin'), b'\x00\x01' * 40, zipfile.ZIP_STORED)
)");
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
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("unzip -p '" + path + "' stored.bin | od -An -c | head -1", &output), 0);
    EXPECT_NE(output.find("\\0 001"), std::string::npos) << output;

    ZipFile again(Wide(path), nullptr, false, false, false);
    EXPECT_FALSE(again.isModified());
    EXPECT_EQ(Paths(again), (std::vector<std::string>{"other.txt", "same.txt", "stored.bin"}));
}

TEST_F(ZipFileTest, RewriteKeepsAStoredMembersCentralMethodZeroSoOtherToolsReadIt) {
    SKIP_WITHOUT_LINUX_TOOLS();
    // The table keeps no method, so each central record takes its local header's, not always 8.
    const std::string path = MakePython("stored.zip", R"(
with zipfile.ZipFile(path, 'w') as z:
    z.writestr('dup.txt', 'packed ' * 100, zipfile.ZIP_DEFLATED)
    z.writestr('stored.bin', bytes(range(256)) * 4)
    z.writestr('dup.txt', 'again', zipfile.ZIP_DEFLATED)
)");
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ASSERT_TRUE(zip.isModified());
        EXPECT_EQ(zip.close(), 0);
    }
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
