// ZipDirectory.cpp: reading the central directory into the member table: the end record and the
// Zip64 records, each central record with its extra blocks, then order and duplicates.
//
// A record that is bad or missing is code -18 with an empty message, as is a short directory
// signature with code -16. The checks that this reader makes beyond them (a record cut short, an
// archive whose members overlap) say what went wrong; open() passes on only the codes.
#include "ZipRecords.h"
#include "ZipTable.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/Hash.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

using namespace ziprecords;

namespace {

// How far back from the end the end record is looked for: the record, the longest comment, the
// Zip64 locator, and one more byte.
constexpr int64_t kTailLength = 65578;
// Longer names make their entry vanish.
constexpr size_t kLongestName = 256;

[[noreturn]] void ThrowBadStructure(const std::string& message = std::string()) {
    throw OVException(kZipBadStructure, message);
}

// Reads `length` bytes of a record that this reader checks beyond its signature.
void ReadRecordPart(InputStream& stream, uint8_t* buffer, int64_t length, const char* message) {
    if (ReadFully(stream, buffer, length) != length) {
        ThrowBadStructure(message);
    }
}

// Moves to `position`, which must lie within the stream of `size` bytes.
void SeekWithin(SeekableInputStream& stream, uint64_t position, int64_t size,
                const std::string& message = std::string()) {
    if (position > static_cast<uint64_t>(size) ||
        stream.seek(static_cast<int64_t>(position)) != static_cast<int64_t>(position)) {
        ThrowBadStructure(message);
    }
}

uint32_t CrcOf(const std::string& bytes) {
    Crc32 crc;
    crc.update(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int64_t>(bytes.size()));
    return crc.result();
}

// Reads the archive's last bytes, as far back as the end record may lie.
ByteBuffer ReadTail(SeekableInputStream& in, int64_t size) {
    const int64_t tailStart = std::max<int64_t>(0, size - kTailLength);
    if (in.seek(tailStart) != tailStart) {
        ThrowBadStructure("Failed to seek to the archive's last bytes");
    }
    ByteBuffer tail(static_cast<size_t>(std::min<int64_t>(size - tailStart, kTailLength)));
    tail.resize(static_cast<size_t>(ReadFully(in, tail.data(), static_cast<int64_t>(tail.size()))));
    return tail;
}

// The end record with what lies around it: the 20 bytes before it and the comment behind it.
struct EndRecords {
    const uint8_t* end = nullptr;  // inside the tail
    uint8_t locator[Zip64Locator::kSize] = {};
    ByteBuffer comment;
};

// Scans back for the end record's signature: the last match wins, since a comment may hold the
// signature too. Keeps the 20 bytes before it, if there are so many, else zeros; the comment is
// the record's length, limited to the bytes that follow.
EndRecords FindEndRecords(const ByteBuffer& tail) {
    if (tail.size() < EndRecord::kSize) {
        ThrowBadStructure();
    }
    int64_t at = static_cast<int64_t>(tail.size() - EndRecord::kSize);
    while (at >= 0 && ReadField(tail.data() + at, EndRecord::Signature) != EndRecord::kSignature) {
        --at;
    }
    if (at < 0) {
        ThrowBadStructure();
    }
    EndRecords records;
    records.end = tail.data() + at;
    if (at >= static_cast<int64_t>(Zip64Locator::kSize)) {
        std::copy(records.end - Zip64Locator::kSize, records.end, records.locator);
    }
    const size_t commentAvailable = tail.size() - static_cast<size_t>(at) - EndRecord::kSize;
    const size_t commentLength =
        std::min<size_t>(ReadField(records.end, EndRecord::CommentLength), commentAvailable);
    const uint8_t* comment = records.end + EndRecord::kSize;
    records.comment.assign(comment, comment + commentLength);
    return records;
}

bool HasZip64Locator(const EndRecords& records) {
    return ReadField(records.locator, Zip64Locator::Signature) == Zip64Locator::kSignature;
}

// Where the directory lies and how many entries it has.
struct DirectoryPlace {
    uint64_t offset = 0;
    uint64_t size = 0;
    uint64_t count = 0;
    uint16_t versionMadeBy = 0;  // Zip64 only
    uint16_t versionNeeded = 0;  // Zip64 only
};

// Without a locator, the end record gives the directory.
DirectoryPlace ClassicDirectory(const uint8_t* end) {
    DirectoryPlace place;
    place.offset = ReadField(end, EndRecord::DirectoryOffset);
    place.size = ReadField(end, EndRecord::DirectorySize);
    place.count = ReadField(end, EndRecord::TotalEntries);
    return place;
}

// With a locator, the Zip64 end record where it points gives the directory.
DirectoryPlace ReadZip64EndRecord(SeekableInputStream& in, int64_t size, const uint8_t* locator) {
    SeekWithin(in, ReadField(locator, Zip64Locator::Zip64EndOffset), size);
    uint8_t record[Zip64EndRecord::kReadLength] = {};
    const int64_t got = ReadFully(in, record, Zip64EndRecord::kReadLength);
    if (ReadField(record, Zip64EndRecord::Signature) != Zip64EndRecord::kSignature) {
        ThrowBadStructure();
    }
    if (got < static_cast<int64_t>(Zip64EndRecord::kSize)) {
        ThrowBadStructure("Zip64 end record is cut short");
    }
    DirectoryPlace place;
    place.count = ReadField(record, Zip64EndRecord::TotalEntries);
    place.size = ReadField(record, Zip64EndRecord::DirectorySize);
    place.offset = ReadField(record, Zip64EndRecord::DirectoryOffset);
    place.versionMadeBy = ReadField(record, Zip64EndRecord::VersionMadeBy);
    place.versionNeeded = ReadField(record, Zip64EndRecord::VersionNeeded);
    return place;
}

// The directory is encrypted: a version needed of 62 or more, and an end record whose total
// count is saturated while its count on this disk is 0.
bool IsEncryptedDirectory(uint16_t versionNeeded, const uint8_t* end) {
    return versionNeeded >= kVersionEncryptedDirectory &&
           ReadField(end, EndRecord::TotalEntries) >= EndRecord::kMostEntries &&
           ReadField(end, EndRecord::DiskEntries) == 0;
}

// Archive extra data may begin the directory; it is passed over. Gives the position of the
// first central record, where the stream then stands.
uint64_t SkipArchiveExtraData(SeekableInputStream& in, uint64_t directoryOffset, int64_t size) {
    uint64_t position = directoryOffset;
    uint8_t header[ArchiveExtraData::kSize] = {};
    const int64_t signatureWidth = sizeof(uint32_t);
    if (ReadFully(in, header, signatureWidth) == signatureWidth &&
        ReadField(header, ArchiveExtraData::Signature) == ArchiveExtraData::kSignature) {
        ReadRecordPart(in, header + ArchiveExtraData::Length.offset, sizeof(uint32_t),
                       "Archive extra data is cut short");
        position =
            directoryOffset + ArchiveExtraData::kSize + ReadField(header, ArchiveExtraData::Length);
    }
    SeekWithin(in, position, size, "Archive extra data runs past the archive's end");
    return position;
}

// Each record takes at least 46 bytes of the stream: a count that lies reserves no more.
size_t EntriesToReserve(const DirectoryPlace& place, int64_t size) {
    const uint64_t room = static_cast<uint64_t>(size) / CentralRecord::kSize + 1;
    return static_cast<size_t>(
        std::min({place.count, room, place.size / CentralRecord::kSize + 1}));
}

// The fields of a central record that go into the table as they stand: offset, CRC, sizes and
// attributes. A name ending in "/" is a directory.
ZipMemberInfo TakeRecordFields(const uint8_t* record, const std::string& name) {
    ZipMemberInfo member;
    member.crc = ReadField(record, CentralRecord::Crc);
    member.compressedSize = ReadField(record, CentralRecord::CompressedSize);
    member.uncompressedSize = ReadField(record, CentralRecord::UncompressedSize);
    member.offset = ReadField(record, CentralRecord::LocalHeaderOffset);
    // The attribute word means DOS attributes only when made on a DOS-like host.
    if (ReadField(record, CentralRecord::HostByte) == 0) {
        member.attributes = static_cast<uint16_t>(
            ReadField(record, CentralRecord::ExternalAttributes) & kDosAttributeMask);
    }
    if (!name.empty() && name.back() == '/') {
        member.attributes |= kZipDirectoryAttribute;
    }
    return member;
}

// The name of a Unicode path block whose version is 1 and whose CRC is the raw name's.
std::optional<WString> UnicodePathName(const ByteBuffer& extra, const std::string& name) {
    const auto block = FindExtraBlock(extra.data(), extra.size(), UnicodePathBlock::kId);
    if (!block || block->size < UnicodePathBlock::kNameOffset ||
        ReadField(block->data, UnicodePathBlock::Version) != UnicodePathBlock::kVersion ||
        ReadField(block->data, UnicodePathBlock::NameCrc) != CrcOf(name)) {
        return std::nullopt;
    }
    return CUtils::StringUTF8ToWstring(
        std::string(reinterpret_cast<const char*>(block->data + UnicodePathBlock::kNameOffset),
                    block->size - UnicodePathBlock::kNameOffset));
}

// A Zip64 block replaces whichever of offset, compressed size and uncompressed size read
// saturated, each from its fixed place.
void ApplyZip64Block(const ByteBuffer& extra, ZipMemberInfo& member) {
    const auto block = FindExtraBlock(extra.data(), extra.size(), Zip64Block::kId);
    if (!block) {
        return;
    }
    if (member.uncompressedSize == kSaturated32 &&
        block->size >= Zip64Block::LengthThrough(Zip64Block::UncompressedSize)) {
        member.uncompressedSize = ReadField(block->data, Zip64Block::UncompressedSize);
    }
    if (member.compressedSize == kSaturated32 &&
        block->size >= Zip64Block::LengthThrough(Zip64Block::CompressedSize)) {
        member.compressedSize = ReadField(block->data, Zip64Block::CompressedSize);
    }
    if (member.offset == kSaturated32 &&
        block->size >= Zip64Block::LengthThrough(Zip64Block::LocalHeaderOffset)) {
        member.offset = ReadField(block->data, Zip64Block::LocalHeaderOffset);
    }
}

// The table's flags: sizes following the data, and the encryption kind. Method 99 takes its kind
// from the AES block's strength; otherwise the strong encryption bit gives kind 5.
uint16_t TableFlags(const uint8_t* record, const ByteBuffer& extra) {
    const uint16_t generalFlags = ReadField(record, CentralRecord::GeneralFlags);
    uint16_t flags = generalFlags & kFlagSizesFollow;
    if (generalFlags & kFlagEncrypted) {
        flags |= kZipPkware;
    }
    if (ReadField(record, CentralRecord::Method) == kMethodAes) {
        const auto block = FindExtraBlock(extra.data(), extra.size(), AesBlock::kId);
        if (!block || block->size < AesBlock::kSize) {
            ThrowBadStructure("AES chunk not found");
        }
        const uint8_t strength = ReadField(block->data, AesBlock::Strength);
        const uint16_t kind =
            strength >= AesBlock::kStrength128 && strength <= AesBlock::kStrength256
                ? strength + (kZipAes128 - AesBlock::kStrength128)
                : kZipNotEncrypted;
        flags = static_cast<uint16_t>((flags & ~kZipKindMask) | kind);
    } else if (generalFlags & kFlagStrongEncryption) {
        flags = static_cast<uint16_t>((flags & ~kZipKindMask) | kZipStrong);
    }
    return flags;
}

// A directory's name gets a trailing "/"; the path splits at the last "/" into folder and name.
void SetPath(ZipMemberInfo& member, WString path) {
    if ((member.attributes & kZipDirectoryAttribute) && (path.empty() || path.back() != u'/')) {
        path += u'/';
    }
    const size_t slash = path.rfind(u'/');
    const size_t split = slash == WString::npos ? 0 : slash + 1;
    member.folder = path.substr(0, split);
    member.name = path.substr(split);
    member.hash = ziptable::HashText(path);
}

// Reads one central record with its name, extra and comment, from `position` on; nothing for an
// entry whose name is too long, which vanishes silently.
std::optional<ZipMemberInfo> ReadCentralRecord(SeekableInputStream& in, int64_t size,
                                               uint64_t& position, std::string& name,
                                               ByteBuffer& extra) {
    uint8_t record[CentralRecord::kSize];
    if (ReadFully(in, record, CentralRecord::kSize) != CentralRecord::kSize ||
        ReadField(record, CentralRecord::Signature) != CentralRecord::kSignature) {
        ThrowBadStructure();
    }
    position += CentralRecord::kSize;
    const uint16_t nameLength = ReadField(record, CentralRecord::NameLength);
    const uint16_t extraLength = ReadField(record, CentralRecord::ExtraLength);
    const uint16_t commentLength = ReadField(record, CentralRecord::CommentLength);
    if (nameLength > kLongestName) {
        position += static_cast<uint64_t>(nameLength) + extraLength + commentLength;
        SeekWithin(in, position, size, "Central directory record runs past the archive's end");
        return std::nullopt;
    }

    name.resize(nameLength);
    ReadRecordPart(in, reinterpret_cast<uint8_t*>(name.data()), nameLength,
                   "Central directory record's name is cut short");
    extra.resize(extraLength);
    ReadRecordPart(in, extra.data(), extraLength, "Central directory record's extra is cut short");
    position += static_cast<uint64_t>(nameLength) + extraLength;

    ZipMemberInfo member = TakeRecordFields(record, name);
    const std::optional<WString> unicodeName = UnicodePathName(extra, name);
    ApplyZip64Block(extra, member);
    member.flags = TableFlags(record, extra);

    // Skips the comment; one running past the end is cut short there, as skipping does.
    position = static_cast<uint64_t>(in.seek(static_cast<int64_t>(
        std::min<uint64_t>(position + commentLength, static_cast<uint64_t>(size)))));
    member.stamp = DosStamp(ReadField(record, CentralRecord::DosTime),
                            ReadField(record, CentralRecord::DosDate));
    SetPath(member, unicodeName ? *unicodeName : CUtils::StringUTF8ToWstring(name));
    return member;
}

// A directory that holds another member is already implied by that member's path: it is flagged
// shadowed.
void FlagShadowedDirectories(std::vector<ZipMemberInfo>& members) {
    std::map<WString, size_t> folders;
    for (const ZipMemberInfo& member : members) {
        ++folders[member.folder];
    }
    for (ZipMemberInfo& member : members) {
        if ((member.attributes & kZipDirectoryAttribute) && member.name.empty() &&
            folders[member.folder] > 1) {
            member.flags |= kZipShadowed;
        }
    }
}

// A directory signature may follow the directory: its data is passed over, and a short one is
// code -16.
void SkipDirectorySignature(SeekableInputStream& in, uint64_t directoryOffset,
                            uint64_t directorySize, int64_t size) {
    const uint64_t directoryEnd = directoryOffset + directorySize;
    if (directoryEnd < directoryOffset || directoryEnd > static_cast<uint64_t>(size) ||
        in.seek(static_cast<int64_t>(directoryEnd)) != static_cast<int64_t>(directoryEnd)) {
        return;
    }
    uint8_t record[DirectorySignature::kFirstRead];
    if (ReadFully(in, record, DirectorySignature::kFirstRead) != DirectorySignature::kFirstRead ||
        ReadField(record, DirectorySignature::Signature) != DirectorySignature::kSignature) {
        return;
    }
    const uint16_t signatureSize = ReadField(record, DirectorySignature::Size);
    const int64_t readAlready = DirectorySignature::kFirstRead - DirectorySignature::kSize;
    const int64_t rest = signatureSize > readAlready ? signatureSize - readAlready : 0;
    ByteBuffer data(static_cast<size_t>(rest));
    if (ReadFully(in, data.data(), rest) != rest) {
        throw OVException(kZipShortSignature, "");
    }
}

// Walks from the second-to-last entry down; where an entry and its successor have the same name
// and folder, the table's second entry goes, whichever pair it was. True when any went.
bool RemoveDuplicates(std::vector<ZipMemberInfo>& members) {
    bool removed = false;
    for (int64_t i = static_cast<int64_t>(members.size()) - 2; i >= 0; --i) {
        const size_t here = static_cast<size_t>(i);
        if (here + 1 < members.size() && members[here].name == members[here + 1].name &&
            members[here].folder == members[here + 1].folder) {
            members.erase(members.begin() + 1);
            removed = true;
        }
    }
    return removed;
}

}  // namespace

void ZipFile::readDirectory() {
    cdOffset = 0;
    cdSize = 0;
    members.clear();
    comment.clear();

    SeekableInputStream& in = *stream;
    // Seeking is limited to the stream, so the far end gives its length.
    const int64_t size = in.seek(INT64_MAX);
    const ByteBuffer tail = ReadTail(in, size);
    const EndRecords records = FindEndRecords(tail);
    comment = records.comment;

    DirectoryPlace place;
    if (!HasZip64Locator(records)) {
        place = ClassicDirectory(records.end);
        cdOffset = place.offset;
        cdSize = place.size;
        SeekWithin(in, cdOffset, size);
    } else {
        place = ReadZip64EndRecord(in, size, records.locator);
        cdOffset = place.offset;
        cdSize = place.size;
        versionMadeBy = place.versionMadeBy;
        versionNeeded = place.versionNeeded;
        SeekWithin(in, cdOffset, size);
        if (IsEncryptedDirectory(versionNeeded, records.end)) {
            // Known as a format, but its reader of kind 5 refuses.
            cdMethod = kZipStrong;
            throw OVException("Unsupported encryption algorithm");
        }
    }

    uint64_t position = SkipArchiveExtraData(in, cdOffset, size);
    members.reserve(EntriesToReserve(place, size));
    std::string name;
    ByteBuffer extra;
    for (uint64_t entry = 0; entry < place.count; ++entry) {
        if (std::optional<ZipMemberInfo> member =
                ReadCentralRecord(in, size, position, name, extra)) {
            members.push_back(std::move(*member));
        }
    }
    FlagShadowedDirectories(members);
    SkipDirectorySignature(in, cdOffset, cdSize, size);

    ziptable::SortMembers(members);
    if (RemoveDuplicates(members)) {
        modified = true;
    }
    refuseOverlaps(static_cast<uint64_t>(size));
}

// Members that share a local header, or whose data runs into the next header or the directory,
// would give the same bytes more than once: the overlapping kind of zip bomb. They are refused
// before anything is read. The local name and extra are not known here, so each member's data
// is taken at its least, behind a bare 30-byte header; openMember checks it exactly.
void ZipFile::refuseOverlaps(uint64_t streamSize) {
    boundaries.clear();
    boundaries.reserve(members.size() + 2);
    for (const ZipMemberInfo& member : members) {
        boundaries.push_back(member.offset);
    }
    std::sort(boundaries.begin(), boundaries.end());
    if (std::adjacent_find(boundaries.begin(), boundaries.end()) != boundaries.end()) {
        ThrowBadStructure("Two members share one local header");
    }
    boundaries.push_back(cdOffset);
    boundaries.push_back(streamSize);
    std::sort(boundaries.begin(), boundaries.end());
    for (const ZipMemberInfo& member : members) {
        const uint64_t room = dataLimit(member.offset) - member.offset;
        if (room < LocalHeader::kSize || member.compressedSize > room - LocalHeader::kSize) {
            ThrowBadStructure("Member data runs into the next local header or the directory");
        }
    }
}

uint64_t ZipFile::dataLimit(uint64_t offset) const {
    const auto next = std::upper_bound(boundaries.begin(), boundaries.end(), offset);
    // A header at or past the stream's end has no room at all.
    return next == boundaries.end() ? offset : *next;
}
