// ZipRecordsTest.cpp: the Zip64 end record, locator and extra block, an encrypted directory,
// and the other records that may stand around the central directory.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "common/OVException.h"
#include "zip/ZipFile.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

using namespace ziptest;

namespace {

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

}  // namespace
