// ZipRecords.h: the records of the ZIP format as the archive, member and unzip code read and
// write them. Each record's fields are named once, with their offsets and widths, and checked to
// lie inside the record; every value is little-endian. Then the flag bits, methods, versions and
// extra blocks, and the one way to read a run of bytes from a stream.
#pragma once

#include "streams/InputStream.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>

namespace ziprecords {

// ---- Fields ----

// A little-endian field of the unsigned type `T` at `offset` in a record.
template <typename T> struct Field {
    static_assert(std::is_unsigned_v<T>);
    std::size_t offset;
};

// The field lies inside a record of `size` bytes.
template <typename T> constexpr bool FieldFits(Field<T> field, std::size_t size) {
    return field.offset + sizeof(T) <= size;
}

template <typename T> T ReadField(const uint8_t* record, Field<T> field) {
    T value = 0;
    for (std::size_t i = sizeof(T); i-- > 0;) {
        value = static_cast<T>((static_cast<uint64_t>(value) << 8) | record[field.offset + i]);
    }
    return value;
}

template <typename T>
void WriteField(uint8_t* record, Field<T> field, std::type_identity_t<T> value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        record[field.offset + i] = static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i));
    }
}

// ---- Records ----

// Local file header, then name, then extra.
namespace LocalHeader {
constexpr std::size_t kSize = 30;
constexpr uint32_t kSignature = 0x04034B50u;
constexpr Field<uint32_t> Signature{0};
constexpr Field<uint16_t> VersionNeeded{4};
constexpr Field<uint16_t> GeneralFlags{6};
constexpr Field<uint16_t> Method{8};
constexpr Field<uint16_t> DosTime{10};
constexpr Field<uint16_t> DosDate{12};
constexpr Field<uint32_t> Crc{14};
constexpr Field<uint32_t> CompressedSize{18};
constexpr Field<uint32_t> UncompressedSize{22};
constexpr Field<uint16_t> NameLength{26};
constexpr Field<uint16_t> ExtraLength{28};
static_assert(FieldFits(ExtraLength, kSize));
}  // namespace LocalHeader

// Central directory record, then name, extra and comment.
namespace CentralRecord {
constexpr std::size_t kSize = 46;
constexpr uint32_t kSignature = 0x02014B50u;
constexpr Field<uint32_t> Signature{0};
constexpr Field<uint16_t> VersionMadeBy{4};
constexpr Field<uint8_t> HostByte{5};  // the high byte of the version made by: 0 is a DOS host
constexpr Field<uint16_t> VersionNeeded{6};
constexpr Field<uint16_t> GeneralFlags{8};
constexpr Field<uint16_t> Method{10};
constexpr Field<uint16_t> DosTime{12};
constexpr Field<uint16_t> DosDate{14};
constexpr Field<uint32_t> Crc{16};
constexpr Field<uint32_t> CompressedSize{20};
constexpr Field<uint32_t> UncompressedSize{24};
constexpr Field<uint16_t> NameLength{28};
constexpr Field<uint16_t> ExtraLength{30};
constexpr Field<uint16_t> CommentLength{32};
constexpr Field<uint16_t> DiskNumber{34};
constexpr Field<uint16_t> InternalAttributes{36};
constexpr Field<uint32_t> ExternalAttributes{38};
constexpr Field<uint32_t> LocalHeaderOffset{42};
static_assert(FieldFits(LocalHeaderOffset, kSize));
}  // namespace CentralRecord

// End of central directory, then comment.
namespace EndRecord {
constexpr std::size_t kSize = 22;
constexpr uint32_t kSignature = 0x06054B50u;
constexpr Field<uint32_t> Signature{0};
constexpr Field<uint16_t> Disk{4};
constexpr Field<uint16_t> DirectoryDisk{6};
constexpr Field<uint16_t> DiskEntries{8};
constexpr Field<uint16_t> TotalEntries{10};
constexpr Field<uint32_t> DirectorySize{12};
constexpr Field<uint32_t> DirectoryOffset{16};
constexpr Field<uint16_t> CommentLength{20};
static_assert(FieldFits(CommentLength, kSize));
// The counts' largest value; an archive with more entries says so in its Zip64 end record.
constexpr uint64_t kMostEntries = 65535;
}  // namespace EndRecord

// Zip64 end record in its base form; the extension that may follow is not read.
namespace Zip64EndRecord {
constexpr std::size_t kSize = 56;
constexpr uint32_t kSignature = 0x06064B50u;
constexpr Field<uint32_t> Signature{0};
constexpr Field<uint64_t> RecordLength{4};  // the length less the signature and this field
constexpr Field<uint16_t> VersionMadeBy{12};
constexpr Field<uint16_t> VersionNeeded{14};
constexpr Field<uint32_t> Disk{16};
constexpr Field<uint32_t> DirectoryDisk{20};
constexpr Field<uint64_t> DiskEntries{24};
constexpr Field<uint64_t> TotalEntries{32};
constexpr Field<uint64_t> DirectorySize{40};
constexpr Field<uint64_t> DirectoryOffset{48};
static_assert(FieldFits(DirectoryOffset, kSize));
constexpr uint64_t kBaseRecordLength = kSize - 12;
// How much is read where the locator points: the record with its longest extension.
constexpr int64_t kReadLength = 341;
}  // namespace Zip64EndRecord

// Zip64 locator, immediately before the end record.
namespace Zip64Locator {
constexpr std::size_t kSize = 20;
constexpr uint32_t kSignature = 0x07064B50u;
constexpr Field<uint32_t> Signature{0};
constexpr Field<uint32_t> Disk{4};
constexpr Field<uint64_t> Zip64EndOffset{8};
constexpr Field<uint32_t> TotalDisks{16};  // written as 0; the reader ignores it
static_assert(FieldFits(TotalDisks, kSize));
}  // namespace Zip64Locator

// Archive extra data: its header, then as many bytes as its length says. It may begin the
// central directory.
namespace ArchiveExtraData {
constexpr std::size_t kSize = 8;
constexpr uint32_t kSignature = 0x08064B50u;
constexpr Field<uint32_t> Signature{0};
constexpr Field<uint32_t> Length{4};
static_assert(FieldFits(Length, kSize));
}  // namespace ArchiveExtraData

// Directory signature: its header, then `Size` bytes of data. It may follow the directory.
namespace DirectorySignature {
constexpr std::size_t kSize = 6;
constexpr uint32_t kSignature = 0x05054B50u;
constexpr Field<uint32_t> Signature{0};
constexpr Field<uint16_t> Size{4};
static_assert(FieldFits(Size, kSize));
// The first read takes the header and two bytes of the data; the rest is the size less 2.
constexpr int64_t kFirstRead = kSize + 2;
}  // namespace DirectorySignature

// Strong encryption header in front of a member's data: the vector size, the vector, then the
// remaining size and as many bytes as it says.
namespace StrongEncryptionHeader {
constexpr Field<uint16_t> VectorSize{0};
constexpr int64_t kVectorOffset = 2;
constexpr Field<uint32_t> RemainingSize{0};  // at kVectorOffset + the vector size
constexpr int64_t kRemainingSizeWidth = 4;
// The header's length, taken from the data: both sizes, the vector and the remaining bytes.
constexpr int64_t LengthOf(int64_t vectorSize, int64_t remainingSize) {
    return kVectorOffset + vectorSize + kRemainingSizeWidth + remainingSize;
}
constexpr int64_t kLongest = 4098;
}  // namespace StrongEncryptionHeader

// ---- Flags, methods, versions ----

// General purpose flag bits.
constexpr uint16_t kFlagEncrypted = 0x1;
constexpr uint16_t kFlagSizesFollow = 0x8;
constexpr uint16_t kFlagStrongEncryption = 0x40;
constexpr uint16_t kFlagUnicode = 0x800;
constexpr uint16_t kFlagMaskedHeaders = 0x2000;

constexpr uint16_t kMethodStored = 0;
constexpr uint16_t kMethodDeflated = 8;
constexpr uint16_t kMethodAes = 99;

// Versions made by and needed.
constexpr uint16_t kVersionMadeBy = 64;  // a DOS-like host: the attribute word is DOS attributes
constexpr uint16_t kVersionDefault = 20;
constexpr uint16_t kVersionZip64 = 45;
constexpr uint16_t kVersionStrong = 51;
constexpr uint16_t kVersionEncryptedDirectory = 62;

// A 32-bit size or offset that stands in a Zip64 block.
constexpr uint32_t kSaturated32 = 0xFFFFFFFFu;
// The largest value of a 16-bit length field.
constexpr uint64_t kLongest16 = 0xFFFF;

// The DOS attribute bits that the central record's external attributes give a member.
constexpr uint32_t kDosAttributeMask = 0x1FF;

// A DOS stamp: time in the low 16 bits, date in the next 16.
constexpr uint64_t DosStamp(uint16_t time, uint16_t date) {
    return static_cast<uint64_t>(time) | (static_cast<uint64_t>(date) << 16);
}
constexpr uint16_t DosTimeOf(uint64_t stamp) { return static_cast<uint16_t>(stamp & 0xFFFF); }
constexpr uint16_t DosDateOf(uint64_t stamp) {
    return static_cast<uint16_t>((stamp >> 16) & 0xFFFF);
}
// The present local time as a DOS stamp.
uint64_t PresentDosStamp();

// ---- Extra blocks ----

// The head of each block of an extra field, then `Size` bytes of data.
namespace ExtraBlockHeader {
constexpr std::size_t kSize = 4;
constexpr Field<uint16_t> Id{0};
constexpr Field<uint16_t> Size{2};
static_assert(FieldFits(Size, kSize));
}  // namespace ExtraBlockHeader

// The longest extra field.
constexpr std::size_t kLongestExtraField = 65535;

// Zip64 sizes, id 0x0001: a prefix of these fields, as far as the member needs them.
namespace Zip64Block {
constexpr uint16_t kId = 0x0001;
constexpr Field<uint64_t> UncompressedSize{0};
constexpr Field<uint64_t> CompressedSize{8};
constexpr Field<uint64_t> LocalHeaderOffset{16};
constexpr Field<uint32_t> Disk{24};
constexpr std::size_t kLongestSize = 28;
static_assert(FieldFits(Disk, kLongestSize));
// The block's length when it holds the fields up to and including `field`.
template <typename T> constexpr std::size_t LengthThrough(Field<T> field) {
    return field.offset + sizeof(T);
}
}  // namespace Zip64Block

// Unicode path, id 0x7075: version, CRC-32 of the raw name, then the UTF-8 name.
namespace UnicodePathBlock {
constexpr uint16_t kId = 0x7075;
constexpr Field<uint8_t> Version{0};
constexpr Field<uint32_t> NameCrc{1};
constexpr std::size_t kNameOffset = 5;
static_assert(FieldFits(NameCrc, kNameOffset));
constexpr uint8_t kVersion = 1;
}  // namespace UnicodePathBlock

// AES, id 0x9901, in the AE-2 convention.
namespace AesBlock {
constexpr uint16_t kId = 0x9901;
constexpr std::size_t kSize = 7;
constexpr Field<uint16_t> Version{0};
constexpr Field<uint16_t> Vendor{2};
constexpr Field<uint8_t> Strength{4};
constexpr Field<uint16_t> Method{5};  // the member's compression method
static_assert(FieldFits(Method, kSize));
constexpr uint16_t kVersion = 2;
constexpr uint16_t kVendor = 0x4541;
constexpr uint8_t kStrength128 = 1;
constexpr uint8_t kStrength192 = 2;
constexpr uint8_t kStrength256 = 3;
}  // namespace AesBlock

// Strong encryption, id 0x0017, then 4 zero bytes.
namespace StrongEncryptionBlock {
constexpr uint16_t kId = 0x0017;
constexpr std::size_t kSize = 12;
constexpr Field<uint16_t> Format{0};
constexpr Field<uint16_t> AlgorithmId{2};
constexpr Field<uint16_t> KeyBits{4};
constexpr Field<uint16_t> Flags{6};
static_assert(FieldFits(Flags, kSize));
constexpr uint16_t kFormat = 2;
constexpr uint16_t kAlgorithm192 = 0x660F;
constexpr uint16_t kAlgorithm256 = 0x6610;
}  // namespace StrongEncryptionBlock

// One block of an extra field: its id and data.
struct ExtraBlock {
    uint16_t id;
    const uint8_t* data;
    uint16_t size;
};

// The first block with `id` in an extra field. A block whose size runs past the field ends the
// search.
std::optional<ExtraBlock> FindExtraBlock(const uint8_t* extra, size_t extraLength, uint16_t id);

// ---- Streams ----

// Reads until `length` bytes came or the stream has nothing more; the count that came.
int64_t ReadFully(InputStream& stream, uint8_t* buffer, int64_t length);

}  // namespace ziprecords
