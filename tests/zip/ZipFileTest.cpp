// ZipFileTest.cpp: the archive structure: opening, the central directory and its records, the
// member table, the walk, and the rewrite of an archive on close.
#include "zip/ZipFile.h"

#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipCrypto.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

using namespace ziptest;

namespace {

// ---- Archives made byte by byte ----

std::string LE16(uint32_t value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>((value >> 8) & 0xFF)};
}
std::string LE32(uint32_t value) { return LE16(value & 0xFFFF) + LE16(value >> 16); }
std::string LE64(uint64_t value) {
    return LE32(static_cast<uint32_t>(value)) + LE32(static_cast<uint32_t>(value >> 32));
}
std::string Block(uint16_t id, const std::string& data) {
    return LE16(id) + LE16(static_cast<uint32_t>(data.size())) + data;
}
uint32_t Crc(const std::string& bytes) { return CUtils::Crc32OfString(bytes); }

struct RawMember {
    std::string name;
    std::string data;
    std::string centralExtra;
    uint16_t flags = 0;
    uint16_t method = 0;
    uint32_t attributes = 0;
    uint8_t host = 0;
    uint16_t time = 0x5000;
    uint16_t date = 0x50B1;
};

struct RawArchive {
    std::vector<RawMember> members;
    std::string comment;
    bool zip64 = false;          // Zip64 end record and locator; the classic fields saturated
    std::string afterDirectory;  // bytes between the directory and the end records
    int64_t countAdjust = 0;     // added to the true entry count
    int64_t cdOffsetAdjust = 0;
    int64_t cdSizeAdjust = 0;
};

std::string Build(const RawArchive& archive) {
    std::string out;
    std::vector<uint32_t> offsets;
    for (const RawMember& m : archive.members) {
        offsets.push_back(static_cast<uint32_t>(out.size()));
        out += LE32(0x04034B50) + LE16(20) + LE16(m.flags) + LE16(m.method) + LE16(m.time) +
               LE16(m.date) + LE32(Crc(m.data)) + LE32(static_cast<uint32_t>(m.data.size())) +
               LE32(static_cast<uint32_t>(m.data.size())) +
               LE16(static_cast<uint32_t>(m.name.size())) + LE16(0) + m.name + m.data;
    }
    const uint64_t cdOffset = out.size();
    for (size_t i = 0; i < archive.members.size(); ++i) {
        const RawMember& m = archive.members[i];
        out += LE32(0x02014B50) + std::string(1, '\x14') +
               std::string(1, static_cast<char>(m.host)) + LE16(20) + LE16(m.flags) +
               LE16(m.method) + LE16(m.time) + LE16(m.date) + LE32(Crc(m.data)) +
               LE32(static_cast<uint32_t>(m.data.size())) +
               LE32(static_cast<uint32_t>(m.data.size())) +
               LE16(static_cast<uint32_t>(m.name.size())) +
               LE16(static_cast<uint32_t>(m.centralExtra.size())) + LE16(0) + LE16(0) + LE16(0) +
               LE32(m.attributes) + LE32(offsets[i]) + m.name + m.centralExtra;
    }
    const uint64_t cdSize = out.size() - cdOffset + archive.cdSizeAdjust;
    out += archive.afterDirectory;
    const uint64_t count = archive.members.size() + archive.countAdjust;
    const uint64_t offset = cdOffset + archive.cdOffsetAdjust;
    if (archive.zip64) {
        const uint64_t zip64End = out.size();
        out += LE32(0x06064B50) + LE64(44) + LE16(45) + LE16(45) + LE32(0) + LE32(0) + LE64(count) +
               LE64(count) + LE64(cdSize) + LE64(offset);
        out += LE32(0x07064B50) + LE32(0) + LE64(zip64End) + LE32(1);
        out += LE32(0x06054B50) + LE16(0) + LE16(0) + LE16(0xFFFF) + LE16(0xFFFF) +
               LE32(0xFFFFFFFF) + LE32(0xFFFFFFFF);
    } else {
        out += LE32(0x06054B50) + LE16(0) + LE16(0) + LE16(static_cast<uint32_t>(count)) +
               LE16(static_cast<uint32_t>(count)) + LE32(static_cast<uint32_t>(cdSize)) +
               LE32(static_cast<uint32_t>(offset));
    }
    out += LE16(static_cast<uint32_t>(archive.comment.size())) + archive.comment;
    return out;
}

std::unique_ptr<ZipFile> OpenBytes(const std::string& bytes) {
    return std::make_unique<ZipFile>(
        std::make_unique<MemoryInputStream>(ByteBuffer(bytes.begin(), bytes.end())), nullptr);
}

// The code of the OVException that opening `bytes` throws; 1 when it opens.
int32_t OpenFailureCode(const std::string& bytes) {
    try {
        OpenBytes(bytes);
    } catch (const OVException& e) {
        return e.GetCode();
    }
    return 1;
}

std::vector<std::string> Paths(const ZipFile& zip) {
    std::vector<std::string> paths;
    for (const ZipMemberInfo& m : zip.getMembers())
        paths.push_back(Narrow(m.folder + m.name));
    return paths;
}

std::vector<std::string> Walk(ZipFile& zip, const std::string& root, uint32_t flags) {
    ZipDirectoryIterator walk(zip, Wide(root), flags);
    ZipDirectoryEntry entry;
    std::vector<std::string> seen;
    while (walk.next(entry))
        seen.push_back((entry.memberIndex < 0 ? "dir:" : "") + Narrow(entry.path) + "|" +
                       Narrow(entry.name));
    return seen;
}

class ZipFileTest : public ::testing::Test {
protected:
    TempFolder folder;

    std::string MakePython(const std::string& name, const std::string& script) {
        const std::string archive = folder.At(name);
        std::string output;
        EXPECT_TRUE(RunPython(script, archive, &output)) << output;
        return archive;
    }
};

RawMember Member(const std::string& name, const std::string& data) {
    RawMember m;
    m.name = name;
    m.data = data;
    return m;
}

// ---- The edge cases ----

TEST_F(ZipFileTest, ArchiveWithLongestCommentOpens) {
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

// ---- The member table ----

TEST_F(ZipFileTest, MembersOfPythonArchiveCarryFolderNameSizesCrcStampAttributesAndFlags) {
    const std::string path = MakePython("members.zip", R"(
with zipfile.ZipFile(path, 'w') as z:
    i = zipfile.ZipInfo('docs/readme.txt', (2020, 5, 17, 10, 30, 44))
    i.compress_type = zipfile.ZIP_DEFLATED
    i.create_system = 0
    i.external_attr = 0x21
    z.writestr(i, 'read me ' * 100)
    j = zipfile.ZipInfo('top.bin', (2001, 12, 31, 23, 59, 58))
    j.create_system = 3
    j.external_attr = 0o644 << 16
    z.writestr(j, b'12345')
    z.writestr(zipfile.ZipInfo('docs/'), b'')
)");
    ZipFile zip(Wide(path), nullptr, false, false, false);
    const auto& m = zip.getMembers();
    ASSERT_EQ(m.size(), 3u);
    // Sorted by folder, then name: "" < "docs/".
    EXPECT_EQ(Narrow(m[0].folder), "");
    EXPECT_EQ(Narrow(m[0].name), "top.bin");
    EXPECT_EQ(m[0].uncompressedSize, 5u);
    EXPECT_EQ(m[0].compressedSize, 5u);
    EXPECT_EQ(m[0].crc, Crc("12345"));
    EXPECT_EQ(m[0].stamp,
              (uint64_t{(21u << 9) | (12u << 5) | 31u} << 16) | ((23u << 11) | (59u << 5) | 29u));
    EXPECT_EQ(m[0].attributes, 0);  // made on a Unix host
    EXPECT_EQ(m[0].flags, 0);
    EXPECT_EQ(
        m[0].hash, static_cast<int32_t>(std::hash<int>{}(0) * 0) + [] {
            uint32_t h = 0;
            for (char c : std::string("top.bin"))
                h = h * 31 + static_cast<uint8_t>(c);
            return static_cast<int32_t>(h);
        }());

    EXPECT_EQ(Narrow(m[1].folder), "docs/");
    EXPECT_EQ(Narrow(m[1].name), "");
    EXPECT_EQ(m[1].attributes & kZipDirectoryAttribute, kZipDirectoryAttribute);

    EXPECT_EQ(Narrow(m[2].folder), "docs/");
    EXPECT_EQ(Narrow(m[2].name), "readme.txt");
    EXPECT_EQ(m[2].uncompressedSize, 800u);
    EXPECT_LT(m[2].compressedSize, 800u);
    std::string readMe;
    for (int i = 0; i < 100; ++i)
        readMe += "read me ";
    EXPECT_EQ(m[2].crc, Crc(readMe));
    EXPECT_EQ(m[2].stamp,
              (uint64_t{(40u << 9) | (5u << 5) | 17u} << 16) | ((10u << 11) | (30u << 5) | 22u));
    EXPECT_EQ(m[2].attributes, 0x21);
    EXPECT_EQ(m[2].offset, 0u);
    EXPECT_GT(m[0].offset, 0u);
}

TEST_F(ZipFileTest, DirectoryHoldingMembersIsShadowedAndALoneOneIsNot) {
    const std::string path = MakePython("dirs.zip", R"(
with zipfile.ZipFile(path, 'w') as z:
    z.writestr(zipfile.ZipInfo('full/'), b'')
    z.writestr('full/x.txt', 'x')
    z.writestr(zipfile.ZipInfo('lone/'), b'')
)");
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_EQ(Paths(zip), (std::vector<std::string>{"full/", "full/x.txt", "lone/"}));
    EXPECT_EQ(zip.getMembers()[0].flags & kZipShadowed, kZipShadowed);
    EXPECT_EQ(zip.getMembers()[2].flags & kZipShadowed, 0);
}

TEST_F(ZipFileTest, CzechNamesDecodeFromUtf8) {
    const std::string path = MakePython("czech.zip", R"(
with zipfile.ZipFile(path, 'w') as z:
    z.writestr('Příliš/žluťoučký kůň.txt', 'úpěl')
)");
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_EQ(zip.getMembers().size(), 1u);
    EXPECT_EQ(zip.getMembers()[0].folder, u"P\u0159\u00EDli\u0161/");
    EXPECT_EQ(zip.getMembers()[0].name, u"\u017Elu\u0165ou\u010Dk\u00FD k\u016F\u0148.txt");
}

TEST_F(ZipFileTest, ForcedZip64MembersAreReadAndSurviveARewrite) {
    const std::string path = MakePython("force64.zip", R"(
with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
    for name in ('big.txt', 'big.txt', 'small.txt'):
        with z.open(name, 'w', force_zip64=True) as f:
            f.write(b'zip64 ' * 300)
)");
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ASSERT_EQ(Paths(zip), (std::vector<std::string>{"big.txt", "small.txt"}));
        EXPECT_EQ(zip.getMembers()[1].uncompressedSize, 1800u);
        EXPECT_TRUE(zip.isModified());
    }
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
    ZipFile again(Wide(path), nullptr, false, false, false);
    EXPECT_EQ(again.getMembers()[1].uncompressedSize, 1800u);
}

TEST_F(ZipFileTest, RewriteOfMoreThan65534MembersWritesZip64RecordsOthersRead) {
    const std::string path = MakePython("many.zip", R"(
with zipfile.ZipFile(path, 'w') as z:
    for i in range(65536):
        z.writestr('f%05d' % i, b'')
    z.writestr('f00000', b'again')
)");
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        EXPECT_EQ(zip.getMembers().size(), 65536u);
        EXPECT_TRUE(zip.isModified());
    }
    const std::string bytes = ReadFileBytes(path);
    // End record: both counts read 65,535; the locator and the Zip64 record stand before it.
    const size_t end = bytes.size() - 22;
    EXPECT_EQ(bytes.substr(end, 4), LE32(0x06054B50));
    EXPECT_EQ(bytes.substr(end + 8, 4), LE16(0xFFFF) + LE16(0xFFFF));
    EXPECT_EQ(bytes.substr(end - 20, 4), LE32(0x07064B50));
    EXPECT_EQ(bytes.substr(end - 20 - 56, 4), LE32(0x06064B50));
    std::string output;
    // The locator counts 0 disks where other tools write 1: python and 7z take it, while
    // Info-ZIP's unzip does not find the Zip64 records because of it.
    EXPECT_EQ(bytes.substr(end - 4, 4), LE32(0));
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output.substr(0, 500);
    EXPECT_TRUE(RunPython("assert len(zipfile.ZipFile(path).namelist()) == 65536", path, &output))
        << output;
    ZipFile again(Wide(path), nullptr, false, false, false);
    EXPECT_EQ(again.getMembers().size(), 65536u);
    EXPECT_FALSE(again.isModified());
}

TEST_F(ZipFileTest, CreateIfMissingOverABrokenFileWritesAnEmptyArchiveAtClose) {
    const std::string path = folder.At("broken.zip");
    WriteFileBytes(path, "no archive here");
    {
        ZipFile zip(Wide(path), nullptr, true, false, false);
        EXPECT_TRUE(zip.isOpened());
        EXPECT_TRUE(zip.getMembers().empty());
    }
    EXPECT_EQ(ReadFileBytes(path), Build(RawArchive{}));
}

TEST_F(ZipFileTest, SortIsByFolderNameThenStamp) {
    RawArchive raw;
    raw.members = {Member("b/a.txt", "1"), Member("a.txt", "2"), Member("b.txt", "3")};
    EXPECT_EQ(Paths(*OpenBytes(Build(raw))),
              (std::vector<std::string>{"a.txt", "b.txt", "b/a.txt"}));
}

TEST_F(ZipFileTest, DuplicateRemovalAlwaysTakesTheSecondEntryOfTheTable) {
    RawArchive raw;
    raw.members = {Member("a", "1"), Member("b", "2"), Member("c", "3"), Member("c", "4")};
    const auto zip = OpenBytes(Build(raw));
    // The pair (c, c) matched, yet "b" went first: the bystander vanishes.
    EXPECT_EQ(Paths(*zip), (std::vector<std::string>{"a", "c"}));
    EXPECT_TRUE(zip->isModified());
}

TEST_F(ZipFileTest, FlagsGiveEncryptionKindAndSizesFollowingTheData) {
    RawArchive raw;
    raw.members = {Member("pkware", "1"), Member("strong", "2"), Member("aes", "3"),
                   Member("later", "4")};
    raw.members[0].flags = 1;
    raw.members[1].flags = 0x41;
    raw.members[2].flags = 1;
    raw.members[2].method = 99;
    raw.members[2].centralExtra = Block(0x9901, LE16(2) + LE16(0x4541) + "\3" + LE16(8));
    raw.members[3].flags = 8;
    const auto zip = OpenBytes(Build(raw));
    const auto& m = zip->getMembers();
    ASSERT_EQ(Paths(*zip), (std::vector<std::string>{"aes", "later", "pkware", "strong"}));
    EXPECT_EQ(m[0].flags, kZipAes256);
    EXPECT_EQ(m[1].flags, kZipSizesFollowData);
    EXPECT_EQ(m[2].flags, kZipPkware);
    EXPECT_EQ(m[3].flags, kZipStrong);
}

TEST_F(ZipFileTest, AesStrengthOutsideOneToThreeGivesNoKind) {
    RawArchive raw;
    raw.members = {Member("aes", "3")};
    raw.members[0].method = 99;
    raw.members[0].centralExtra = Block(0x9901, LE16(2) + LE16(0x4541) + "\7" + LE16(8));
    EXPECT_EQ(OpenBytes(Build(raw))->getMembers()[0].flags & kZipKindMask, kZipNotEncrypted);
}

TEST_F(ZipFileTest, AesMethodWithoutItsBlockFailsWithBadStructureAndNoMessage) {
    RawArchive raw;
    raw.members = {Member("aes", "3")};
    raw.members[0].method = 99;
    try {
        OpenBytes(Build(raw));
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), kZipBadStructure);
        EXPECT_STREQ(e.what(), "");
    }
}

TEST_F(ZipFileTest, HostByteOtherThanDosLeavesNoAttributes) {
    RawArchive raw;
    raw.members = {Member("dos", "1"), Member("unix", "2"), Member("wide", "3")};
    raw.members[0].attributes = 0x21;
    raw.members[1].attributes = 0x21;
    raw.members[1].host = 3;
    raw.members[2].attributes = 0xFFFF0FFF;
    const auto zip = OpenBytes(Build(raw));
    EXPECT_EQ(zip->getMembers()[0].attributes, 0x21);
    EXPECT_EQ(zip->getMembers()[1].attributes, 0);
    EXPECT_EQ(zip->getMembers()[2].attributes, 0x1FF);
}

// ---- Zip64 and the other records ----

TEST_F(ZipFileTest, Zip64EndRecordAndLocatorGiveTheDirectory) {
    RawArchive raw;
    raw.zip64 = true;
    raw.members = {Member("one.txt", "1"), Member("two.txt", "22")};
    raw.comment = "z64";
    const auto zip = OpenBytes(Build(raw));
    EXPECT_EQ(Paths(*zip), (std::vector<std::string>{"one.txt", "two.txt"}));
    EXPECT_EQ(std::string(zip->getComment().begin(), zip->getComment().end()), "z64");
}

// The one member "x" (4 bytes, stored, its local header at 0), with its central record's
// compressed size, uncompressed size and local offset as given and `zip64` as the Zip64 block's
// data, the record's only extra block.
std::string OneMemberWithZip64Block(uint32_t compressed, uint32_t uncompressed, uint32_t offset,
                                    const std::string& zip64) {
    RawArchive raw;
    raw.members = {Member("x", "data")};
    const std::string bytes = Build(raw);
    const size_t central = bytes.find(LE32(0x02014B50));
    const std::string block = Block(1, zip64);
    std::string edited = bytes.substr(0, central) + LE32(0x02014B50) +
                         bytes.substr(central + 4, 16) + LE32(compressed) + LE32(uncompressed) +
                         LE16(1) + LE16(static_cast<uint32_t>(block.size())) +
                         bytes.substr(central + 32, 10) + LE32(offset) + "x" + block;
    const uint32_t cdSize = static_cast<uint32_t>(edited.size() - central);
    edited += LE32(0x06054B50) + LE16(0) + LE16(0) + LE16(1) + LE16(1) + LE32(cdSize) +
              LE32(static_cast<uint32_t>(central)) + LE16(0);
    return edited;
}

TEST_F(ZipFileTest, Zip64ExtraBlockReplacesSaturatedFields) {
    // The central record's sizes and offset saturated, the block holding the true values.
    const auto zip = OpenBytes(OneMemberWithZip64Block(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF,
                                                       LE64(4) + LE64(4) + LE64(0) + LE32(0)));
    ASSERT_EQ(zip->getMembers().size(), 1u);
    EXPECT_EQ(zip->getMembers()[0].uncompressedSize, 4u);
    EXPECT_EQ(zip->getMembers()[0].compressedSize, 4u);
    EXPECT_EQ(zip->getMembers()[0].offset, 0u);
}

TEST_F(ZipFileTest, Zip64BlockHoldingOnlyTheSaturatedFieldsIsMisreadAndTheArchiveRefused) {
    // The same member, its true values in the block and its record's fields not saturated: the
    // archive itself is sound.
    EXPECT_EQ(OpenBytes(OneMemberWithZip64Block(4, 4, 0, LE64(0)))->getMembers().size(), 1u);
    // As other tools write it, the block holds only the saturated fields, in their order. The
    // block is read at fixed places (uncompressed size 0, compressed size 8, offset 16): a field
    // whose place lies past the block's end stays saturated, one whose place is inside it takes
    // another field's value. Either way the member's data would lie past the archive's end, and
    // the archive is refused.
    struct Case {
        const char* what;
        uint32_t compressed, uncompressed, offset;
        std::string block;
    };
    const Case cases[] = {
        {"offset", 4, 4, 0xFFFFFFFF, LE64(0)},
        {"compressed size", 0xFFFFFFFF, 4, 0, LE64(4)},
        {"compressed size and offset", 0xFFFFFFFF, 4, 0xFFFFFFFF, LE64(4) + LE64(0)},
        {"uncompressed size and offset", 4, 0xFFFFFFFF, 0xFFFFFFFF, LE64(4) + LE64(0)},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(OpenFailureCode(
                      OneMemberWithZip64Block(c.compressed, c.uncompressed, c.offset, c.block)),
                  kZipBadStructure)
            << c.what;
    }
}

TEST_F(ZipFileTest, Zip64LocatorPointingOutsideTheFileFails) {
    RawArchive raw;
    raw.zip64 = true;
    raw.members = {Member("one.txt", "1")};
    std::string bytes = Build(raw);
    const size_t locator = bytes.find(LE32(0x07064B50));
    bytes.replace(locator + 8, 8, LE64(uint64_t{1} << 40));
    EXPECT_EQ(OpenFailureCode(bytes), kZipBadStructure);
}

TEST_F(ZipFileTest, Zip64EndRecordWithWrongSignatureFails) {
    RawArchive raw;
    raw.zip64 = true;
    raw.members = {Member("one.txt", "1")};
    std::string bytes = Build(raw);
    bytes.replace(bytes.find(LE32(0x06064B50)), 4, "PK\x06\x05");
    EXPECT_EQ(OpenFailureCode(bytes), kZipBadStructure);
}

TEST_F(ZipFileTest, Zip64FieldsThatOverflowFail) {
    for (const uint64_t lie : {~uint64_t{0}, uint64_t{1} << 63, (uint64_t{1} << 63) - 1}) {
        for (int field = 0; field < 3; ++field) {
            RawArchive raw;
            raw.zip64 = true;
            raw.members = {Member("one.txt", "1")};
            std::string bytes = Build(raw);
            const size_t record = bytes.find(LE32(0x06064B50));
            bytes.replace(record + 32 + 8 * static_cast<size_t>(field), 8, LE64(lie));
            const int32_t code = OpenFailureCode(bytes);
            // A huge size alone is harmless; huge counts and offsets are refused.
            if (field == 1)
                EXPECT_EQ(code, 1) << lie;
            else
                EXPECT_EQ(code, kZipBadStructure) << lie << " field " << field;
        }
    }
}

TEST_F(ZipFileTest, EncryptedDirectoryFailsAsUnsupportedEncryption) {
    RawArchive raw;
    raw.zip64 = true;
    raw.members = {Member("one.txt", "1")};
    std::string bytes = Build(raw);
    const size_t record = bytes.find(LE32(0x06064B50));
    bytes.replace(record + 14, 2, LE16(62));
    const size_t end = bytes.rfind(LE32(0x06054B50));
    bytes.replace(end + 8, 2, LE16(0));  // nothing on this disk, 65,535 in total
    try {
        OpenBytes(bytes);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), 0);
        EXPECT_STREQ(e.what(), "Unsupported encryption algorithm");
    }
}

TEST_F(ZipFileTest, DirectorySignatureAfterTheDirectoryIsReadAndAShortOneFails) {
    RawArchive raw;
    raw.members = {Member("one.txt", "1")};
    raw.afterDirectory = LE32(0x05054B50) + LE16(6) + "sig!56";
    EXPECT_EQ(OpenFailureCode(Build(raw)), 1);

    // The record claims more than the file holds before its end.
    RawArchive shortOne;
    shortOne.members = {Member("one.txt", "1")};
    shortOne.afterDirectory = LE32(0x05054B50) + LE16(0xFFF0) + "ab";
    EXPECT_EQ(OpenFailureCode(Build(shortOne)), kZipShortSignature);
}

TEST_F(ZipFileTest, ArchiveExtraDataBeginningTheDirectoryIsPassedOver) {
    RawArchive raw;
    raw.members = {Member("one.txt", "1")};
    std::string bytes = Build(raw);
    const size_t central = bytes.find(LE32(0x02014B50));
    const std::string extraData = LE32(0x08064B50) + LE32(4) + "abcd";
    bytes.insert(central, extraData);
    const size_t end = bytes.rfind(LE32(0x06054B50));
    bytes.replace(end + 12, 4, LE32(46 + 7 + 12));
    EXPECT_EQ(Paths(*OpenBytes(bytes)), std::vector<std::string>{"one.txt"});
}

// ---- Broken archives ----

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
    const std::string path = MakePython("fuzz.zip", R"(
with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
    z.writestr(zipfile.ZipInfo('d/'), b'')
    z.writestr('d/č.txt', 'x' * 50)
    with z.open('big', 'w', force_zip64=True) as f:
        f.write(b'y' * 70)
    z.writestr('d/č.txt', 'dup')
    z.comment = b'fuzz'
)");
    const std::string bytes = ReadFileBytes(path);
    ASSERT_FALSE(bytes.empty());
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

// ---- Open, close and the provider ----

TEST_F(ZipFileTest, MissingFileFailsToOpenWithTheSystemCodeAndIsNotCreated) {
    const std::string path = folder.At("missing.zip");
    try {
        ZipFile zip(Wide(path), nullptr, false, true, false);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), ENOENT);
        EXPECT_STREQ(e.what(), "");
    }
    EXPECT_FALSE(CUtils::FileExists(Wide(path)));
}

TEST_F(ZipFileTest, CreateIfMissingMakesFoldersAndWritesAnEmptyArchiveOnClose) {
    const std::string path = folder.At("new/deeper/made.zip");
    {
        ZipFile zip(Wide(path), nullptr, true, false, false);
        EXPECT_TRUE(zip.isOpened());
        EXPECT_TRUE(zip.isModified());
    }
    EXPECT_EQ(ReadFileBytes(path), Build(RawArchive{}));
}

TEST_F(ZipFileTest, DeleteOnOpenFailureRemovesTheBrokenFile) {
    const std::string path = folder.At("broken.zip");
    WriteFileBytes(path, "garbage that holds no end record");
    try {
        ZipFile zip(Wide(path), nullptr, false, true, false);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), kZipBadStructure);
    }
    EXPECT_FALSE(CUtils::FileExists(Wide(path)));
}

TEST_F(ZipFileTest, BrokenFileStaysWithoutDeleteOnOpenFailure) {
    const std::string path = folder.At("broken.zip");
    WriteFileBytes(path, "garbage that holds no end record");
    EXPECT_THROW(ZipFile(Wide(path), nullptr, false, false, false), OVException);
    EXPECT_TRUE(CUtils::FileExists(Wide(path)));
}

class ThrowingStream : public SeekableInputStream {
public:
    explicit ThrowingStream(int kind) : kind(kind) {}
    int64_t read(uint8_t*, int64_t) override {
        if (kind == 0)
            throw std::runtime_error("standard");
        throw 42;
    }
    int64_t seek(int64_t position) override { return std::clamp<int64_t>(position, 0, 1000); }

private:
    int kind;
};

TEST_F(ZipFileTest, StandardExceptionWhileOpeningGivesCodeMinus999) {
    try {
        ZipFile zip(std::make_unique<ThrowingStream>(0), nullptr);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), -999);
    }
}

TEST_F(ZipFileTest, ForeignExceptionWhileOpeningGivesCode4864) {
    try {
        ZipFile zip(std::make_unique<ThrowingStream>(1), nullptr);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), kZipOpenFailed);
    }
}

TEST_F(ZipFileTest, StreamArchiveWithDuplicatesIsNeverSaved) {
    RawArchive raw;
    raw.members = {Member("a", "1"), Member("a", "2")};
    auto zip = OpenBytes(Build(raw));
    EXPECT_EQ(zip->getPath(), WString(ZipFile::kStreamPath));
    EXPECT_TRUE(zip->isModified());
    EXPECT_EQ(zip->close(), 0);
}

TEST_F(ZipFileTest, CloseReportsFourteenWhenTheRewriteFails) {
    const std::string path = MakePython("vanish.zip", R"(
with zipfile.ZipFile(path, 'w') as z:
    z.writestr('a', '1')
    z.writestr('a', '2')
)");
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_TRUE(zip.isModified());
    // The old archive is gone, so its members cannot be copied.
    ASSERT_TRUE(CUtils::DeleteFileOV(Wide(path)));
    EXPECT_EQ(zip.close(), 14);
    EXPECT_FALSE(CUtils::FileExists(Wide(path + ".temp")));
}

TEST_F(ZipFileTest, PendingMemberIsWrittenAndReadableByUnzip) {
    const std::string path = MakePython("pending.zip", R"(
with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
    z.writestr('old.txt', 'old content ' * 20)
)");
    const std::string content = "pending member text, Příliš";
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ZipPendingMember member;
        member.folder = u"new/";
        member.name = u"p\u0159idan\u00FD.txt";  // přidaný.txt
        // One final deflate block stored as it is.
        const uint16_t length = static_cast<uint16_t>(content.size());
        member.data = {1, static_cast<uint8_t>(length & 0xFF), static_cast<uint8_t>(length >> 8),
                       static_cast<uint8_t>(~length & 0xFF),
                       static_cast<uint8_t>((~length >> 8) & 0xFF)};
        member.data.insert(member.data.end(), content.begin(), content.end());
        member.crc = Crc(content);
        member.uncompressedSize = content.size();
        member.stamp = (uint64_t{(44u << 9) | (1u << 5) | 2u} << 16) | (12u << 11);
        zip.addPendingMember(std::move(member));
        EXPECT_EQ(zip.getPendingMembers().size(), 1u);
        EXPECT_EQ(Narrow(zip.getMemberPath(kZipPendingBit)), "new/přidaný.txt");
        EXPECT_EQ(zip.close(), 0);
        EXPECT_TRUE(zip.getPendingMembers().empty());
        EXPECT_EQ(Paths(zip), (std::vector<std::string>{"old.txt", "new/přidaný.txt"}));
    }
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("unzip -p '" + path + "' 'new/přidaný.txt'", &output), 0);
    EXPECT_EQ(output, content);
    EXPECT_EQ(RunCommand("unzip -p '" + path + "' old.txt | head -c 12", &output), 0);
    EXPECT_EQ(output, "old content ");
}

TEST_F(ZipFileTest, ArchiveSavedWithTheTableUnchangedListsTheSameMembers) {
    RawArchive raw;
    raw.members = {Member("z.txt", "zz"), Member("a/b.txt", "bb"), Member("a/b.txt", "cc")};
    raw.members[0].host = 0;
    raw.members[0].attributes = 0x20;
    raw.comment = "kept comment";
    const std::string path = folder.At("raw.zip");
    WriteFileBytes(path, Build(raw));
    std::vector<ZipMemberInfo> before;
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        before = zip.getMembers();
    }
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_EQ(zip.getMembers().size(), before.size());
    for (size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(zip.getMembers()[i].folder + zip.getMembers()[i].name,
                  before[i].folder + before[i].name);
        EXPECT_EQ(zip.getMembers()[i].crc, before[i].crc);
        EXPECT_EQ(zip.getMembers()[i].stamp, before[i].stamp);
        EXPECT_EQ(zip.getMembers()[i].attributes, before[i].attributes);
    }
    EXPECT_EQ(std::string(zip.getComment().begin(), zip.getComment().end()), "kept comment");
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
}

TEST_F(ZipFileTest, BitThreeIsClearedAndSizesWrittenIntoTheLocalHeaderOnRewrite) {
    // Written to a stream that cannot seek, python puts the sizes behind the data.
    const std::string path = MakePython("streamed.zip", R"(
class Unseekable:
    def __init__(self, f): self.f = f
    def write(self, b): return self.f.write(b)
    def flush(self): self.f.flush()
with open(path, 'wb') as raw:
    with zipfile.ZipFile(Unseekable(raw), 'w', zipfile.ZIP_DEFLATED) as z:
        for name in ('s.txt', 's.txt', 't.txt'):
            z.writestr(name, 'streamed ' * 30)
)");
    const std::string before = ReadFileBytes(path);
    ASSERT_GT(before.size(), 30u);
    ASSERT_EQ(static_cast<uint8_t>(before[6]) & 8, 8);
    ASSERT_EQ(before.substr(18, 4), LE32(0));
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ASSERT_EQ(zip.getMembers().size(), 2u);
        EXPECT_EQ(zip.getMembers()[0].flags & kZipSizesFollowData, kZipSizesFollowData);
        EXPECT_EQ(zip.close(), 0);
        EXPECT_EQ(zip.getMembers()[0].flags & kZipSizesFollowData, 0);
    }
    const std::string bytes = ReadFileBytes(path);
    EXPECT_EQ(static_cast<uint8_t>(bytes[6]) & 8, 0);
    EXPECT_EQ(bytes.substr(22, 4), LE32(270));
    EXPECT_NE(bytes.substr(18, 4), LE32(0));
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
}

TEST_F(ZipFileTest, WithoutProviderThePasswordIsTheDefaultWithStatusTwo) {
    RawArchive raw;
    raw.members = {Member("a", "1")};
    auto zip = OpenBytes(Build(raw));
    WString password;
    EXPECT_EQ(zip->getPassword(*zip, u"a", 0, false, password),
              MZipDataSecurityProvider::kPasswordAskAgain);
    EXPECT_EQ(password, WString(kZipDefaultPassword));
}

class RecordingProvider : public MZipDataSecurityProvider {
public:
    int32_t getPassword(ZipFile&, const WString& memberName, uint32_t index, bool,
                        WString& password) override {
        askedName = memberName;
        askedIndex = index;
        password = u"secret";
        return kPasswordOnce;
    }
    void confirmPassword(ZipFile&, const WString& memberName, const WString&) override {
        confirmed = memberName;
    }
    void fillSalt(ZipFile&, ByteBuffer& buffer) override {
        std::fill(buffer.begin(), buffer.end(), 7);
    }

    WString askedName;
    uint32_t askedIndex = 0;
    WString confirmed;
};

TEST_F(ZipFileTest, ProviderHearsTheMemberPathBuiltFromTheIndex) {
    RawArchive raw;
    raw.members = {Member("dir/a.txt", "1")};
    const std::string bytes = Build(raw);
    RecordingProvider provider;
    ZipFile zip(std::make_unique<MemoryInputStream>(ByteBuffer(bytes.begin(), bytes.end())),
                &provider);
    WString password;
    EXPECT_EQ(zip.getPassword(zip, u"ignored", 0, false, password),
              MZipDataSecurityProvider::kPasswordOnce);
    EXPECT_EQ(password, u"secret");
    EXPECT_EQ(provider.askedName, u"dir/a.txt");
    zip.confirmPassword(zip, u"dir/a.txt", password);
    EXPECT_EQ(provider.confirmed, u"dir/a.txt");
    ByteBuffer salt(16, 0);
    zip.fillSalt(zip, salt);
    EXPECT_EQ(salt, ByteBuffer(16, 7));
}

TEST_F(ZipFileTest, WithoutProviderSaltsAreRandom) {
    auto zip = OpenBytes(Build(RawArchive{}));
    ByteBuffer first(16, 0);
    ByteBuffer second(16, 0);
    zip->fillSalt(*zip, first);
    zip->fillSalt(*zip, second);
    EXPECT_NE(first, second);
    EXPECT_NE(first, ByteBuffer(16, 0));
}

TEST_F(ZipFileTest, MemberPathOfABadIndexIsCodeMinus6) {
    auto zip = OpenBytes(Build(RawArchive{}));
    try {
        zip->getMemberPath(0);
        FAIL();
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), kZipBadIndex);
    }
    EXPECT_THROW(zip->getMemberPath(kZipPendingBit), OVException);
}

// ---- The walk ----

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
    std::tm local{};
    ASSERT_NE(::localtime_r(&entry.time, &local), nullptr);
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
