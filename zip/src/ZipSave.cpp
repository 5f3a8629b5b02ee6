// ZipSave.cpp: rewriting the whole archive through a temporary file: member data copied unchanged
// from the old archive, pending members from memory, then the directory and the end records.
//
// Whatever fails while the archive is written reaches the caller with its code and an empty
// message. An extra field that would pass 65,535 bytes is code -3.
#include "ZipRecords.h"
#include "ZipTable.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/FileStreams.h"
#include "streams/Hash.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <cstdio>
#include <string>

using namespace ziprecords;

namespace {

// What the directory needs of one written member beyond its table entry.
struct WrittenMember {
    ZipMemberInfo* member;
    std::string name;    // as written, UTF-8
    ByteBuffer unicode;  // the Unicode path block, if any, as a whole extra field
    uint16_t method;
};

void WriteBytes(CountingOutputStream& out, const uint8_t* data, size_t length) {
    if (length > 0) {
        out.write(data, static_cast<int64_t>(length));
    }
}

void WriteBytes(CountingOutputStream& out, const std::string& text) {
    WriteBytes(out, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void WriteBytes(CountingOutputStream& out, const ByteBuffer& bytes) {
    WriteBytes(out, bytes.data(), bytes.size());
}

uint32_t Saturate(uint64_t value) {
    return value >= kSaturated32 ? kSaturated32 : static_cast<uint32_t>(value);
}

bool IsSaturated(uint64_t value) { return value >= kSaturated32; }

// ---- Extra fields ----

// Appends whole blocks to an extra field, which may not pass 65,535 bytes.
void AppendBlocks(ByteBuffer& extra, const ByteBuffer& blocks) {
    if (extra.size() + blocks.size() > kLongestExtraField) {
        throw OVException(kZipExtraFieldTooLong, "");
    }
    extra.insert(extra.end(), blocks.begin(), blocks.end());
}

// Appends one block with its header.
void AddExtraBlock(ByteBuffer& extra, uint16_t id, const ByteBuffer& data) {
    if (extra.size() + ExtraBlockHeader::kSize + data.size() > kLongestExtraField) {
        throw OVException(kZipExtraFieldTooLong, "");
    }
    uint8_t header[ExtraBlockHeader::kSize];
    WriteField(header, ExtraBlockHeader::Id, id);
    WriteField(header, ExtraBlockHeader::Size, static_cast<uint16_t>(data.size()));
    extra.insert(extra.end(), header, header + ExtraBlockHeader::kSize);
    extra.insert(extra.end(), data.begin(), data.end());
}

// The field without any block of `id`; a block running past the field ends it.
ByteBuffer WithoutBlock(const ByteBuffer& extra, uint16_t id) {
    ByteBuffer kept;
    size_t at = 0;
    while (at + ExtraBlockHeader::kSize <= extra.size()) {
        const uint16_t blockId = ReadField(extra.data() + at, ExtraBlockHeader::Id);
        const size_t end =
            at + ExtraBlockHeader::kSize + ReadField(extra.data() + at, ExtraBlockHeader::Size);
        if (end > extra.size()) {
            break;
        }
        if (blockId != id) {
            kept.insert(kept.end(), extra.begin() + static_cast<std::ptrdiff_t>(at),
                        extra.begin() + static_cast<std::ptrdiff_t>(end));
        }
        at = end;
    }
    return kept;
}

// A Unicode path block, as a whole extra field, when the name's UTF-8 length differs from its
// character count; else nothing.
ByteBuffer UnicodePathField(const WString& name, const std::string& utf8) {
    ByteBuffer field;
    if (utf8.size() == name.size()) {
        return field;
    }
    Crc32 crc;
    crc.update(reinterpret_cast<const uint8_t*>(utf8.data()), static_cast<int64_t>(utf8.size()));
    ByteBuffer data(UnicodePathBlock::kNameOffset);
    WriteField(data.data(), UnicodePathBlock::Version, UnicodePathBlock::kVersion);
    WriteField(data.data(), UnicodePathBlock::NameCrc, crc.result());
    data.insert(data.end(), utf8.begin(), utf8.end());
    AddExtraBlock(field, UnicodePathBlock::kId, data);
    return field;
}

// Version 2, strength 3, method 8: every AES member is written with 256-bit parameters.
ByteBuffer AesBlockData() {
    ByteBuffer data(AesBlock::kSize);
    WriteField(data.data(), AesBlock::Version, AesBlock::kVersion);
    WriteField(data.data(), AesBlock::Vendor, AesBlock::kVendor);
    WriteField(data.data(), AesBlock::Strength, AesBlock::kStrength256);
    WriteField(data.data(), AesBlock::Method, kMethodDeflated);
    return data;
}

// Algorithm 0x6610, 256 bits, flags 1.
ByteBuffer StrongEncryptionBlockData() {
    ByteBuffer data(StrongEncryptionBlock::kSize, 0);
    WriteField(data.data(), StrongEncryptionBlock::Format, StrongEncryptionBlock::kFormat);
    WriteField(data.data(), StrongEncryptionBlock::AlgorithmId,
               StrongEncryptionBlock::kAlgorithm256);
    WriteField(data.data(), StrongEncryptionBlock::KeyBits, 256);
    WriteField(data.data(), StrongEncryptionBlock::Flags, 1);
    return data;
}

// The Zip64 block's data, `length` bytes of the prefix of uncompressed size, compressed size and
// local header offset.
ByteBuffer Zip64BlockData(const ZipMemberInfo& member, size_t length) {
    ByteBuffer data(length);
    WriteField(data.data(), Zip64Block::UncompressedSize, member.uncompressedSize);
    if (length >= Zip64Block::LengthThrough(Zip64Block::CompressedSize)) {
        WriteField(data.data(), Zip64Block::CompressedSize, member.compressedSize);
    }
    if (length >= Zip64Block::LengthThrough(Zip64Block::LocalHeaderOffset)) {
        WriteField(data.data(), Zip64Block::LocalHeaderOffset, member.offset);
    }
    return data;
}

// ---- Names and flags ----

std::string HexName(uint64_t value) {
    char text[32];
    std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(value));
    return text;
}

// The name a member is written under: its folder and name, or, under an encrypted directory,
// its number in hexadecimal.
WString WrittenName(const ZipMemberInfo& member, bool hidden, uint64_t number) {
    return hidden ? CUtils::StringUTF8ToWstring(HexName(number)) : member.folder + member.name;
}

// A name must fit its 16-bit length field.
void CheckNameLength(const std::string& name) {
    if (name.size() > kLongest16) {
        throw OVException(kZipBadStructure, "Member name is longer than 65,535 bytes");
    }
}

// The general flags that the encryption kind gives: encrypted, and strong encryption for kind 5.
uint16_t EncryptionFlags(uint16_t kind) {
    uint16_t flags = 0;
    if (kind != kZipNotEncrypted) {
        flags |= kFlagEncrypted;
    }
    if (kind == kZipStrong) {
        flags |= kFlagStrongEncryption;
    }
    return flags;
}

// ---- Members of the old archive ----

// Skips forward to the member's local header, reads it and tests its signature, skips the name
// and gives the extra.
ByteBuffer ReadOldLocalHeader(FileInputStream& old, uint64_t offset, uint8_t* header) {
    if (old.seek(static_cast<int64_t>(offset)) != static_cast<int64_t>(offset)) {
        throw OVException("Local file signature doesn't match");
    }
    if (ReadFully(old, header, LocalHeader::kSize) != LocalHeader::kSize ||
        ReadField(header, LocalHeader::Signature) != LocalHeader::kSignature) {
        throw OVException("Local file signature doesn't match");
    }
    if (old.skip(ReadField(header, LocalHeader::NameLength)) < 0) {
        throw OVException(kZipBadStructure, "Failed to skip the local header's name");
    }
    ByteBuffer extra(ReadField(header, LocalHeader::ExtraLength));
    const int64_t extraLength = static_cast<int64_t>(extra.size());
    if (ReadFully(old, extra.data(), extraLength) != extraLength) {
        throw OVException(kZipBadStructure, "Local header's extra is cut short");
    }
    return extra;
}

// With sizes following the data, the flag is cleared and the table's CRC and sizes go into the
// header, saturated. Otherwise the header's sizes are the member's: saturated ones stand in the
// local Zip64 block, or else the table keeps its own.
void SettleSizes(uint8_t* header, const ByteBuffer& extra, ZipMemberInfo& member) {
    const uint16_t localFlags = ReadField(header, LocalHeader::GeneralFlags);
    if (localFlags & kFlagSizesFollow) {
        WriteField(header, LocalHeader::GeneralFlags, localFlags & ~kFlagSizesFollow);
        WriteField(header, LocalHeader::Crc, member.crc);
        WriteField(header, LocalHeader::CompressedSize, Saturate(member.compressedSize));
        WriteField(header, LocalHeader::UncompressedSize, Saturate(member.uncompressedSize));
    } else {
        uint64_t compressed = ReadField(header, LocalHeader::CompressedSize);
        uint64_t uncompressed = ReadField(header, LocalHeader::UncompressedSize);
        const auto zip64 = FindExtraBlock(extra.data(), extra.size(), Zip64Block::kId);
        if (uncompressed == kSaturated32) {
            uncompressed =
                zip64 && zip64->size >= Zip64Block::LengthThrough(Zip64Block::UncompressedSize)
                    ? ReadField(zip64->data, Zip64Block::UncompressedSize)
                    : member.uncompressedSize;
        }
        if (compressed == kSaturated32) {
            compressed =
                zip64 && zip64->size >= Zip64Block::LengthThrough(Zip64Block::CompressedSize)
                    ? ReadField(zip64->data, Zip64Block::CompressedSize)
                    : member.compressedSize;
        }
        member.compressedSize = compressed;
        member.uncompressedSize = uncompressed;
    }
    member.flags &= static_cast<uint16_t>(~kZipSizesFollowData);
}

// The extra with its Unicode path block replaced by the member's own, if any; bit 11 is cleared.
ByteBuffer RebuildUnicodeBlock(uint8_t* header, const ByteBuffer& extra,
                               const ByteBuffer& unicode) {
    const uint16_t localFlags = ReadField(header, LocalHeader::GeneralFlags);
    WriteField(header, LocalHeader::GeneralFlags, localFlags & ~kFlagUnicode);
    ByteBuffer rebuilt = WithoutBlock(extra, UnicodePathBlock::kId);
    AppendBlocks(rebuilt, unicode);
    return rebuilt;
}

// A local header with its name and extra.
void WriteLocalHeader(CountingOutputStream& out, uint8_t* header, const std::string& name,
                      const ByteBuffer& extra) {
    WriteField(header, LocalHeader::NameLength, static_cast<uint16_t>(name.size()));
    WriteField(header, LocalHeader::ExtraLength, static_cast<uint16_t>(extra.size()));
    WriteBytes(out, header, LocalHeader::kSize);
    WriteBytes(out, name);
    WriteBytes(out, extra);
}

// A member of the old archive: its local header, settled and renamed, then its data unchanged.
WrittenMember CopyMember(FileInputStream& old, CountingOutputStream& out, ZipMemberInfo& member,
                         const WString& name) {
    uint8_t header[LocalHeader::kSize];
    ByteBuffer extra = ReadOldLocalHeader(old, member.offset, header);
    SettleSizes(header, extra, member);

    member.offset = out.getCount();
    WrittenMember entry{
        &member, CUtils::WstringToStringUTF8(name), {}, ReadField(header, LocalHeader::Method)};
    entry.unicode = UnicodePathField(name, entry.name);
    extra = RebuildUnicodeBlock(header, extra, entry.unicode);
    CheckNameLength(entry.name);

    WriteLocalHeader(out, header, entry.name, extra);
    old.transfer(out, static_cast<int64_t>(member.compressedSize));
    return entry;
}

// ---- Pending members ----

// A pending member from memory. Under an encrypted directory the CRC and sizes are 0; a size
// past 32 bits adds a Zip64 block with both sizes.
WrittenMember WritePendingMember(CountingOutputStream& out, ZipPendingMember& member,
                                 const WString& name, bool hidden) {
    member.compressedSize = member.data.size();
    member.flags &= static_cast<uint16_t>(~kZipSizesFollowData);
    member.offset = out.getCount();
    const uint16_t kind = member.flags & kZipKindMask;
    WrittenMember entry{&member,
                        CUtils::WstringToStringUTF8(name),
                        {},
                        IsAesKind(kind) ? kMethodAes : kMethodDeflated};
    entry.unicode = UnicodePathField(name, entry.name);
    ByteBuffer extra = entry.unicode;
    const bool large = IsSaturated(member.compressedSize) || IsSaturated(member.uncompressedSize);
    if (large) {
        AddExtraBlock(
            extra, Zip64Block::kId,
            Zip64BlockData(member, Zip64Block::LengthThrough(Zip64Block::CompressedSize)));
    }
    if (IsAesKind(kind)) {
        AddExtraBlock(extra, AesBlock::kId, AesBlockData());
    }
    CheckNameLength(entry.name);

    uint8_t header[LocalHeader::kSize] = {};
    WriteField(header, LocalHeader::Signature, LocalHeader::kSignature);
    WriteField(header, LocalHeader::VersionNeeded, large ? kVersionZip64 : kVersionDefault);
    WriteField(header, LocalHeader::GeneralFlags, EncryptionFlags(kind));
    WriteField(header, LocalHeader::Method, entry.method);
    WriteField(header, LocalHeader::DosTime, DosTimeOf(member.stamp));
    WriteField(header, LocalHeader::DosDate, DosDateOf(member.stamp));
    WriteField(header, LocalHeader::Crc, hidden ? 0 : member.crc);
    WriteField(header, LocalHeader::CompressedSize, hidden ? 0 : Saturate(member.compressedSize));
    WriteField(header, LocalHeader::UncompressedSize,
               hidden ? 0 : Saturate(member.uncompressedSize));
    WriteLocalHeader(out, header, entry.name, extra);
    WriteBytes(out, member.data);
    return entry;
}

// ---- The directory and the end records ----

// How much of the Zip64 block a central record needs: a prefix of uncompressed size, compressed
// size and offset up to the last that does not fit 32 bits; 0 for none.
size_t CentralZip64Length(const ZipMemberInfo& member) {
    if (IsSaturated(member.offset)) {
        return Zip64Block::LengthThrough(Zip64Block::LocalHeaderOffset);
    }
    if (IsSaturated(member.compressedSize)) {
        return Zip64Block::LengthThrough(Zip64Block::CompressedSize);
    }
    if (IsSaturated(member.uncompressedSize)) {
        return Zip64Block::LengthThrough(Zip64Block::UncompressedSize);
    }
    return 0;
}

// One member's central record, name and extra. Every field that the Zip64 block holds reads
// saturated in the record, so that other readers find the same values. AES kinds get an AES
// block, kind 5 a strong encryption block. True when the member needed a Zip64 block.
bool WriteCentralRecord(CountingOutputStream& out, const WrittenMember& entry) {
    const ZipMemberInfo& member = *entry.member;
    const uint16_t kind = member.flags & kZipKindMask;
    const size_t zip64Length = CentralZip64Length(member);
    const auto inZip64 = [&](auto field) {
        return zip64Length >= Zip64Block::LengthThrough(field);
    };
    ByteBuffer extra;
    if (zip64Length > 0) {
        AddExtraBlock(extra, Zip64Block::kId, Zip64BlockData(member, zip64Length));
    }
    AppendBlocks(extra, entry.unicode);
    if (IsAesKind(kind)) {
        AddExtraBlock(extra, AesBlock::kId, AesBlockData());
    } else if (kind == kZipStrong) {
        AddExtraBlock(extra, StrongEncryptionBlock::kId, StrongEncryptionBlockData());
    }
    const uint16_t needed = kind == kZipStrong ? kVersionStrong
                            : zip64Length > 0  ? kVersionZip64
                                               : kVersionDefault;

    uint8_t record[CentralRecord::kSize] = {};
    WriteField(record, CentralRecord::Signature, CentralRecord::kSignature);
    WriteField(record, CentralRecord::VersionMadeBy, kVersionMadeBy);
    WriteField(record, CentralRecord::VersionNeeded, needed);
    WriteField(record, CentralRecord::GeneralFlags, EncryptionFlags(kind));
    WriteField(record, CentralRecord::Method, entry.method);
    WriteField(record, CentralRecord::DosTime, DosTimeOf(member.stamp));
    WriteField(record, CentralRecord::DosDate, DosDateOf(member.stamp));
    WriteField(record, CentralRecord::Crc, member.crc);
    WriteField(record, CentralRecord::CompressedSize,
               inZip64(Zip64Block::CompressedSize) ? kSaturated32
                                                   : static_cast<uint32_t>(member.compressedSize));
    WriteField(record, CentralRecord::UncompressedSize,
               inZip64(Zip64Block::UncompressedSize)
                   ? kSaturated32
                   : static_cast<uint32_t>(member.uncompressedSize));
    WriteField(record, CentralRecord::NameLength, static_cast<uint16_t>(entry.name.size()));
    WriteField(record, CentralRecord::ExtraLength, static_cast<uint16_t>(extra.size()));
    WriteField(record, CentralRecord::CommentLength, 0);
    WriteField(record, CentralRecord::DiskNumber, 0);
    WriteField(record, CentralRecord::InternalAttributes, 0);
    WriteField(record, CentralRecord::ExternalAttributes, member.attributes);
    WriteField(record, CentralRecord::LocalHeaderOffset,
               inZip64(Zip64Block::LocalHeaderOffset) ? kSaturated32
                                                      : static_cast<uint32_t>(member.offset));
    WriteBytes(out, record, CentralRecord::kSize);
    WriteBytes(out, entry.name);
    WriteBytes(out, extra);
    return zip64Length > 0;
}

// Each member's central record, name and extra; true when any needed a Zip64 block.
bool WriteDirectory(CountingOutputStream& out, const std::vector<WrittenMember>& written) {
    bool anyZip64 = false;
    for (const WrittenMember& entry : written) {
        anyZip64 |= WriteCentralRecord(out, entry);
    }
    return anyZip64;
}

// Zip64 records are written unless the directory's offset fits 32 bits, the count fits the end
// record, no member needed a Zip64 block, and the directory is not encrypted.
bool NeedsZip64Records(uint64_t directoryOffset, uint64_t count, bool anyZip64,
                       uint16_t cdAlgorithm) {
    return directoryOffset > kSaturated32 || count >= EndRecord::kMostEntries || anyZip64 ||
           cdAlgorithm != 0;
}

// The Zip64 end record in its base form, then the locator that points at it.
void WriteZip64Records(CountingOutputStream& out, uint16_t versionMadeBy, uint16_t versionNeeded,
                       uint64_t count, uint64_t directorySize, uint64_t directoryOffset) {
    const uint64_t zip64EndOffset = out.getCount();
    uint8_t record[Zip64EndRecord::kSize] = {};
    WriteField(record, Zip64EndRecord::Signature, Zip64EndRecord::kSignature);
    WriteField(record, Zip64EndRecord::RecordLength, Zip64EndRecord::kBaseRecordLength);
    WriteField(record, Zip64EndRecord::VersionMadeBy, versionMadeBy);
    WriteField(record, Zip64EndRecord::VersionNeeded, versionNeeded);
    WriteField(record, Zip64EndRecord::Disk, 0);
    WriteField(record, Zip64EndRecord::DirectoryDisk, 0);
    WriteField(record, Zip64EndRecord::DiskEntries, count);
    WriteField(record, Zip64EndRecord::TotalEntries, count);
    WriteField(record, Zip64EndRecord::DirectorySize, directorySize);
    WriteField(record, Zip64EndRecord::DirectoryOffset, directoryOffset);
    WriteBytes(out, record, Zip64EndRecord::kSize);

    uint8_t locator[Zip64Locator::kSize] = {};
    WriteField(locator, Zip64Locator::Signature, Zip64Locator::kSignature);
    WriteField(locator, Zip64Locator::Disk, 0);
    WriteField(locator, Zip64Locator::Zip64EndOffset, zip64EndOffset);
    WriteField(locator, Zip64Locator::TotalDisks, 0);
    WriteBytes(out, locator, Zip64Locator::kSize);
}

// The end record, then the comment. Past 65,535 entries both counts read 65,535; a size or
// offset past 32 bits reads saturated.
void WriteEndRecord(CountingOutputStream& out, uint64_t count, uint64_t directorySize,
                    uint64_t directoryOffset, const ByteBuffer& comment) {
    const uint16_t shortCount = static_cast<uint16_t>(std::min(count, EndRecord::kMostEntries));
    uint8_t record[EndRecord::kSize] = {};
    WriteField(record, EndRecord::Signature, EndRecord::kSignature);
    WriteField(record, EndRecord::Disk, 0);
    WriteField(record, EndRecord::DirectoryDisk, 0);
    WriteField(record, EndRecord::DiskEntries, shortCount);
    WriteField(record, EndRecord::TotalEntries, shortCount);
    WriteField(record, EndRecord::DirectorySize, Saturate(directorySize));
    WriteField(record, EndRecord::DirectoryOffset, Saturate(directoryOffset));
    WriteField(record, EndRecord::CommentLength, static_cast<uint16_t>(comment.size()));
    WriteBytes(out, record, EndRecord::kSize);
    WriteBytes(out, comment);
}

}  // namespace

void ZipFile::save() {
    if (path == kStreamPath) {
        return;
    }
    if (pendingMembers.empty() && !modified) {
        return;
    }
    const WString temporaryPath = path + u".temp";
    // A temporary file without its archive is what a failed rename left: the only copy of the
    // archive, which a new attempt must not overwrite.
    if (CUtils::FileExists(temporaryPath) && !CUtils::FileExists(path)) {
        throw OVException(kZipSaveFailed, "Failed to save zip file");
    }
    if (CUtils::FileExists(temporaryPath)) {
        CUtils::DeleteFileOV(temporaryPath);
    }
    if (!CUtils::TouchFile(temporaryPath)) {
        throw OVException("Failed to create temp file for zip write");
    }

    // The table changes only once the new archive stands in place of the old.
    const std::vector<ZipMemberInfo> savedMembers = members;
    const std::vector<ZipPendingMember> savedPending = pendingMembers;
    const uint64_t savedOffset = cdOffset;
    const uint64_t savedSize = cdSize;
    const uint16_t savedVersion = versionNeeded;
    auto restore = [&] {
        members = savedMembers;
        pendingMembers = savedPending;
        cdOffset = savedOffset;
        cdSize = savedSize;
        versionNeeded = savedVersion;
    };
    // A failed write goes on with its code and an empty message.
    try {
        writeArchive(temporaryPath);
    } catch (const OVException& e) {
        restore();
        CUtils::DeleteFileOV(temporaryPath);
        throw OVException(e.GetCode(), "");
    } catch (...) {
        restore();
        CUtils::DeleteFileOV(temporaryPath);
        throw OVException("");
    }
    if (!CUtils::RenameFileOV(temporaryPath, path, true)) {
        restore();
        // The rename may have removed the old archive before it failed; the new one stays under
        // the temporary name so that the data survives.
        throw OVException(kZipSaveFailed, "Failed to save zip file");
    }
    for (ZipPendingMember& member : pendingMembers) {
        members.push_back(static_cast<ZipMemberInfo&&>(std::move(member)));
    }
    pendingMembers.clear();
    ziptable::SortMembers(members);
    modified = false;
}

void ZipFile::writeArchive(const WString& temporaryPath) {
    FileOutputStream file(temporaryPath, FileOutputStream::kCreate);
    CountingOutputStream out(file);
    const bool hidden = cdAlgorithm != 0;
    std::vector<WrittenMember> written;
    written.reserve(members.size() + pendingMembers.size());

    // The members of the old archive, their data copied unchanged, then the pending members.
    if (cdOffset != 0 || !members.empty()) {
        FileInputStream old(path);
        for (size_t i = 0; i < members.size(); ++i) {
            ZipMemberInfo& member = members[i];
            written.push_back(CopyMember(old, out, member, WrittenName(member, hidden, i + 1)));
        }
    }
    for (size_t i = 0; i < pendingMembers.size(); ++i) {
        ZipPendingMember& member = pendingMembers[i];
        const WString name = WrittenName(member, hidden, members.size() + i + 1);
        written.push_back(WritePendingMember(out, member, name, hidden));
    }

    // The directory, then the Zip64 records where needed, and the end record.
    cdOffset = out.getCount();
    const bool anyZip64 = WriteDirectory(out, written);
    cdSize = out.getCount() - cdOffset;

    const uint64_t count = written.size();
    if (NeedsZip64Records(cdOffset, count, anyZip64, cdAlgorithm)) {
        versionNeeded =
            std::max<uint16_t>(versionNeeded, hidden ? kVersionEncryptedDirectory : kVersionZip64);
        WriteZip64Records(out, versionMadeBy, versionNeeded, count, cdSize, cdOffset);
    }
    WriteEndRecord(out, count, cdSize, cdOffset, comment);
    // A short write or a full disk must fail here, before the rename puts the file in place.
    file.commit(true);
}
