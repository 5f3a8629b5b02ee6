// ZipMemberTableTest.cpp: the member table of ZipFile: what each member carries (folder, name,
// sizes, CRC, stamp, attributes, flags), shadowed directories, sorting and duplicate removal, the
// encryption kind, and large tables through a rewrite.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "common/OVException.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace ziptest;

namespace {

// A DOS date and time.
uint16_t DosDate(unsigned year, unsigned month, unsigned day) {
    return static_cast<uint16_t>(((year - 1980) << 9) | (month << 5) | day);
}
uint16_t DosTime(unsigned hour, unsigned minute, unsigned second) {
    return static_cast<uint16_t>((hour << 11) | (minute << 5) | (second / 2));
}

// A folder as zipfile writes one: its name ending in "/", no data, made on a Unix host.
RawMember Folder(const std::string& name) {
    RawMember folder = Member(name, "");
    folder.host = 3;
    folder.attributes = 0600u << 16;
    folder.date = DosDate(1980, 1, 1);
    folder.time = 0;
    return folder;
}

TEST_F(ZipFileTest, MembersCarryFolderNameSizesCrcStampAttributesAndFlags) {
    RawArchive raw;
    const std::string readMe = Repeat("read me ", 100);
    raw.members = {Deflated("docs/readme.txt", readMe), Member("top.bin", "12345"),
                   Folder("docs/")};
    raw.members[0].date = DosDate(2020, 5, 17);
    raw.members[0].time = DosTime(10, 30, 44);
    raw.members[0].attributes = 0x21;
    raw.members[1].date = DosDate(2001, 12, 31);
    raw.members[1].time = DosTime(23, 59, 58);
    raw.members[1].host = 3;
    raw.members[1].attributes = 0644u << 16;
    const std::string path = folder.At("members.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
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
    EXPECT_EQ(m[2].crc, Crc(readMe));
    EXPECT_EQ(m[2].stamp,
              (uint64_t{(40u << 9) | (5u << 5) | 17u} << 16) | ((10u << 11) | (30u << 5) | 22u));
    EXPECT_EQ(m[2].attributes, 0x21);
    EXPECT_EQ(m[2].offset, 0u);
    EXPECT_GT(m[0].offset, 0u);
}

TEST_F(ZipFileTest, DirectoryHoldingMembersIsShadowedAndALoneOneIsNot) {
    RawArchive raw;
    raw.members = {Folder("full/"), Member("full/x.txt", "x"), Folder("lone/")};
    const std::string path = folder.At("dirs.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_EQ(Paths(zip), (std::vector<std::string>{"full/", "full/x.txt", "lone/"}));
    EXPECT_EQ(zip.getMembers()[0].flags & kZipShadowed, kZipShadowed);
    EXPECT_EQ(zip.getMembers()[2].flags & kZipShadowed, 0);
}

TEST_F(ZipFileTest, CzechNamesDecodeFromUtf8) {
    RawArchive raw;
    raw.members = {Member("Příliš/žluťoučký kůň.txt", "úpěl")};
    raw.members[0].flags = 0x800;  // the name is UTF-8
    const std::string path = folder.At("czech.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_EQ(zip.getMembers().size(), 1u);
    EXPECT_EQ(zip.getMembers()[0].folder, u"P\u0159\u00EDli\u0161/");
    EXPECT_EQ(zip.getMembers()[0].name, u"\u017Elu\u0165ou\u010Dk\u00FD k\u016F\u0148.txt");
}

TEST_F(ZipFileTest, ForcedZip64MembersAreReadAndSurviveARewrite) {
    const std::string text = Repeat("zip64 ", 300);
    RawArchive raw;
    // Each written as of unknown size: a Zip64 block in the local header.
    for (const char* name : {"big.txt", "big.txt", "small.txt"}) {
        raw.members.push_back(Deflated(name, text));
        raw.members.back().zip64Local = true;
    }
    const std::string path = folder.At("force64.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ASSERT_EQ(Paths(zip), (std::vector<std::string>{"big.txt", "small.txt"}));
        EXPECT_EQ(zip.getMembers()[1].uncompressedSize, 1800u);
        EXPECT_TRUE(zip.isModified());
    }
    ZipFile again(Wide(path), nullptr, false, false, false);
    EXPECT_EQ(again.getMembers()[1].uncompressedSize, 1800u);
    // What the other tools make of it is checked on Linux only.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
}

TEST_F(ZipFileTest, RewriteOfMoreThan65534MembersWritesZip64RecordsOthersRead) {
    RawArchive raw;
    raw.zip64 = true;
    for (int i = 0; i < 65536; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "f%05d", i);
        raw.members.push_back(Member(name, ""));
    }
    raw.members.push_back(Member("f00000", "again"));
    const std::string path = folder.At("many.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
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
    // The locator counts 0 disks where other tools write 1: python and 7z take it, while
    // Info-ZIP's unzip does not find the Zip64 records because of it.
    EXPECT_EQ(bytes.substr(end - 4, 4), LE32(0));
    ZipFile again(Wide(path), nullptr, false, false, false);
    EXPECT_EQ(again.getMembers().size(), 65536u);
    EXPECT_FALSE(again.isModified());
    // What the other tools make of it is checked on Linux only.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output.substr(0, 500);
    EXPECT_TRUE(RunPython("assert len(zipfile.ZipFile(path).namelist()) == 65536", path, &output))
        << output;
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

}  // namespace
