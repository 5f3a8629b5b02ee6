// ZipDirectory.cpp: reading the central directory into the member table: the end record and the
// Zip64 records, each central record with its extra blocks, then order and duplicates.
#include "ZipRecords.h"
#include "ZipTable.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/Hash.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <map>
#include <string>

using namespace ziprecords;

namespace {

// How far back from the end the end record is looked for: the record, the longest comment, the
// Zip64 locator, and one more byte.
constexpr int64_t kTailLength = 65578;
constexpr int64_t kZip64EndReadLength = 341;
constexpr int64_t kZip64EndBaseLength = 56;
constexpr size_t kLongestName = 256;

[[noreturn]] void BadStructure(const std::string& message = "") {
    throw OVException(kZipBadStructure, message);
}

// Reads until `length` bytes came or the stream ended; the count that came.
int64_t ReadFully(InputStream& stream, uint8_t* buffer, int64_t length) {
    int64_t total = 0;
    while (total < length) {
        const int64_t got = stream.read(buffer + total, length - total);
        if (got <= 0)
            break;
        total += got;
    }
    return total;
}

void ReadExactly(InputStream& stream, uint8_t* buffer, int64_t length) {
    if (ReadFully(stream, buffer, length) != length)
        BadStructure();
}

// Moves to `position`, which must lie within the stream of `size` bytes.
void SeekExactly(SeekableInputStream& stream, uint64_t position, int64_t size) {
    if (position > static_cast<uint64_t>(size) ||
        stream.seek(static_cast<int64_t>(position)) != static_cast<int64_t>(position))
        BadStructure();
}

uint32_t CrcOf(const std::string& bytes) {
    Crc32 crc;
    crc.update(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int64_t>(bytes.size()));
    return crc.result();
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
    const int64_t tailStart = std::max<int64_t>(0, size - kTailLength);
    if (in.seek(tailStart) != tailStart)
        BadStructure();
    ByteBuffer tail(static_cast<size_t>(std::min<int64_t>(size - tailStart, kTailLength)));
    tail.resize(static_cast<size_t>(ReadFully(in, tail.data(), static_cast<int64_t>(tail.size()))));

    // The last end record wins: a comment may hold the signature too.
    if (tail.size() < static_cast<size_t>(kEndSize))
        BadStructure();
    int64_t at = static_cast<int64_t>(tail.size()) - kEndSize;
    while (at >= 0 && CUtils::ReadLE32(tail.data() + at) != kEndSignature)
        --at;
    if (at < 0)
        BadStructure();
    const uint8_t* end = tail.data() + at;
    uint8_t locator[kZip64LocatorSize] = {};
    if (at >= kZip64LocatorSize)
        std::copy(end - kZip64LocatorSize, end, locator);
    const size_t commentAvailable = tail.size() - static_cast<size_t>(at) - kEndSize;
    const size_t commentLength = std::min<size_t>(CUtils::ReadLE16(end + 20), commentAvailable);
    comment.assign(end + kEndSize, end + kEndSize + commentLength);

    const uint16_t classicDiskCount = CUtils::ReadLE16(end + 8);
    const uint16_t classicTotal = CUtils::ReadLE16(end + 10);
    uint64_t count = 0;
    if (CUtils::ReadLE32(locator) != kZip64LocatorSignature) {
        cdOffset = CUtils::ReadLE32(end + 16);
        cdSize = CUtils::ReadLE32(end + 12);
        count = classicTotal;
        SeekExactly(in, cdOffset, size);
    } else {
        SeekExactly(in, CUtils::ReadLE64(locator + 8), size);
        uint8_t record[kZip64EndReadLength] = {};
        const int64_t got = ReadFully(in, record, kZip64EndReadLength);
        if (got < kZip64EndBaseLength || CUtils::ReadLE32(record) != kZip64EndSignature)
            BadStructure();
        count = CUtils::ReadLE64(record + 32);
        cdSize = CUtils::ReadLE64(record + 40);
        cdOffset = CUtils::ReadLE64(record + 48);
        versionMadeBy = CUtils::ReadLE16(record + 12);
        versionNeeded = CUtils::ReadLE16(record + 14);
        SeekExactly(in, cdOffset, size);
        if (versionNeeded >= 62 && classicTotal > 65534 && classicDiskCount == 0) {
            // An encrypted directory: known as a format, but its reader of kind 5 refuses.
            cdMethod = 5;
            throw OVException("Unsupported encryption algorithm");
        }
    }

    // Archive extra data may begin the directory; it is passed over.
    uint64_t position = cdOffset;
    uint8_t lead[8] = {};
    if (ReadFully(in, lead, 4) == 4 && CUtils::ReadLE32(lead) == kArchiveExtraDataSignature) {
        ReadExactly(in, lead + 4, 4);
        position = cdOffset + 8 + CUtils::ReadLE32(lead + 4);
    }
    SeekExactly(in, position, size);

    // Each record takes at least 46 bytes of the stream: a count that lies reserves no more.
    const uint64_t room = static_cast<uint64_t>(size) / kCentralHeaderSize + 1;
    members.reserve(static_cast<size_t>(std::min({count, room, cdSize / kCentralHeaderSize + 1})));

    std::string name;
    ByteBuffer extra;
    for (uint64_t entry = 0; entry < count; ++entry) {
        uint8_t header[kCentralHeaderSize];
        if (ReadFully(in, header, kCentralHeaderSize) != kCentralHeaderSize ||
            CUtils::ReadLE32(header) != kCentralHeaderSignature)
            BadStructure();
        position += kCentralHeaderSize;
        const uint16_t nameLength = CUtils::ReadLE16(header + 28);
        const uint16_t extraLength = CUtils::ReadLE16(header + 30);
        const uint16_t commentLength = CUtils::ReadLE16(header + 32);
        if (nameLength > kLongestName) {
            // Longer names vanish silently.
            position += static_cast<uint64_t>(nameLength) + extraLength + commentLength;
            SeekExactly(in, position, size);
            continue;
        }
        name.resize(nameLength);
        ReadExactly(in, reinterpret_cast<uint8_t*>(name.data()), nameLength);
        extra.resize(extraLength);
        ReadExactly(in, extra.data(), extraLength);
        position += static_cast<uint64_t>(nameLength) + extraLength;

        ZipMemberInfo member;
        const uint16_t generalFlags = CUtils::ReadLE16(header + 8);
        const uint16_t method = CUtils::ReadLE16(header + 10);
        member.crc = CUtils::ReadLE32(header + 16);
        member.compressedSize = CUtils::ReadLE32(header + 20);
        member.uncompressedSize = CUtils::ReadLE32(header + 24);
        member.offset = CUtils::ReadLE32(header + 42);
        // The attribute word means DOS attributes only when made on a DOS-like host.
        if (header[5] == 0)
            member.attributes = static_cast<uint16_t>(CUtils::ReadLE32(header + 38) & 0x1FF);
        if (!name.empty() && name.back() == '/')
            member.attributes |= kZipDirectoryAttribute;

        WString wideName;
        bool unicodeName = false;
        if (const auto block = FindExtraBlock(extra.data(), extra.size(), kExtraUnicodePath);
            block && block->size >= 5 && block->data[0] == 1 &&
            CUtils::ReadLE32(block->data + 1) == CrcOf(name)) {
            wideName = CUtils::StringUTF8ToWstring(
                std::string(reinterpret_cast<const char*>(block->data + 5), block->size - 5));
            unicodeName = true;
        }
        if (const auto block = FindExtraBlock(extra.data(), extra.size(), kExtraZip64)) {
            // Fixed places, whichever field is saturated.
            if (member.uncompressedSize == kSaturated32 && block->size >= 8)
                member.uncompressedSize = CUtils::ReadLE64(block->data);
            if (member.compressedSize == kSaturated32 && block->size >= 16)
                member.compressedSize = CUtils::ReadLE64(block->data + 8);
            if (member.offset == kSaturated32 && block->size >= 24)
                member.offset = CUtils::ReadLE64(block->data + 16);
        }

        member.flags = generalFlags & kFlagSizesFollow;
        if (generalFlags & kFlagEncrypted)
            member.flags |= kZipPkware;
        if (method == kMethodAes) {
            const auto block = FindExtraBlock(extra.data(), extra.size(), kExtraAes);
            if (!block || block->size < 7)
                BadStructure("AES chunk not found");
            const uint8_t strength = block->data[4];
            const uint16_t kind = strength >= 1 && strength <= 3 ? strength + 1 : 0;
            member.flags = static_cast<uint16_t>((member.flags & ~kZipKindMask) | kind);
        } else if (generalFlags & kFlagStrongEncryption) {
            member.flags = static_cast<uint16_t>((member.flags & ~kZipKindMask) | kZipStrong);
        }

        // A comment running past the end is cut short there, as skipping does.
        position = static_cast<uint64_t>(in.seek(static_cast<int64_t>(
            std::min<uint64_t>(position + commentLength, static_cast<uint64_t>(size)))));
        member.stamp = CUtils::ReadLE32(header + 12);
        if (!unicodeName)
            wideName = CUtils::StringUTF8ToWstring(name);
        if ((member.attributes & kZipDirectoryAttribute) &&
            (wideName.empty() || wideName.back() != u'/'))
            wideName += u'/';
        const size_t slash = wideName.rfind(u'/');
        const size_t split = slash == WString::npos ? 0 : slash + 1;
        member.folder = wideName.substr(0, split);
        member.name = wideName.substr(split);
        member.hash = ziptable::HashText(wideName);
        members.push_back(std::move(member));
    }

    // A directory that holds another member is already implied by that member's path.
    std::map<WString, size_t> folders;
    for (const ZipMemberInfo& member : members)
        ++folders[member.folder];
    for (ZipMemberInfo& member : members)
        if ((member.attributes & kZipDirectoryAttribute) && member.name.empty() &&
            folders[member.folder] > 1)
            member.flags |= kZipShadowed;

    // A directory signature may follow the directory.
    if (cdOffset + cdSize >= cdOffset && cdOffset + cdSize <= static_cast<uint64_t>(size) &&
        in.seek(static_cast<int64_t>(cdOffset + cdSize)) ==
            static_cast<int64_t>(cdOffset + cdSize)) {
        uint8_t record[8];
        if (ReadFully(in, record, 8) == 8 &&
            CUtils::ReadLE32(record) == kDirectorySignatureSignature) {
            const uint16_t signatureSize = CUtils::ReadLE16(record + 4);
            const int64_t rest = signatureSize > 2 ? signatureSize - 2 : 0;
            ByteBuffer data(static_cast<size_t>(rest));
            if (ReadFully(in, data.data(), rest) != rest)
                throw OVException(kZipShortSignature, "");
        }
    }

    ziptable::SortMembers(members);
    // Where a pair matches, the table's second entry goes, whichever pair it was.
    for (int64_t i = static_cast<int64_t>(members.size()) - 2; i >= 0; --i) {
        const size_t here = static_cast<size_t>(i);
        if (here + 1 < members.size() && members[here].name == members[here + 1].name &&
            members[here].folder == members[here + 1].folder) {
            members.erase(members.begin() + 1);
            modified = true;
        }
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
    for (const ZipMemberInfo& member : members)
        boundaries.push_back(member.offset);
    std::sort(boundaries.begin(), boundaries.end());
    if (std::adjacent_find(boundaries.begin(), boundaries.end()) != boundaries.end())
        BadStructure();
    boundaries.push_back(cdOffset);
    boundaries.push_back(streamSize);
    std::sort(boundaries.begin(), boundaries.end());
    for (const ZipMemberInfo& member : members) {
        const uint64_t room = dataLimit(member.offset) - member.offset;
        if (room < static_cast<uint64_t>(kLocalHeaderSize) ||
            member.compressedSize > room - kLocalHeaderSize)
            BadStructure();
    }
}

uint64_t ZipFile::dataLimit(uint64_t offset) const {
    const auto next = std::upper_bound(boundaries.begin(), boundaries.end(), offset);
    // A header at or past the stream's end has no room at all.
    return next == boundaries.end() ? offset : *next;
}
