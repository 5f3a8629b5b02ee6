// ZipMemberOpen.cpp: ZipFile::openMember: finds a member's data behind its local header, works
// out its encryption kind and builds the reader over it.
#include "ZipRecords.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <ctime>

namespace {

constexpr int64_t kStrongHeaderLimit = 4098;

// The present local time as a DOS stamp: time in bits 0-15, date in bits 16-31.
uint64_t presentDosStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const uint32_t date = static_cast<uint32_t>(((local.tm_year - 80) << 9) |
                                                ((local.tm_mon + 1) << 5) | local.tm_mday);
    const uint32_t time =
        static_cast<uint32_t>((local.tm_hour << 11) | (local.tm_min << 5) | (local.tm_sec / 2));
    return (static_cast<uint64_t>(date) << 16) | time;
}

bool readExactly(InputStream& stream, uint8_t* buffer, int64_t length) {
    int64_t total = 0;
    while (total < length) {
        const int64_t got = stream.read(buffer + total, length - total);
        if (got <= 0)
            return false;
        total += got;
    }
    return true;
}

// Passes over `length` bytes by reading them: the stream's own skip reports positions.
bool passOver(InputStream& stream, int64_t length) {
    uint8_t scratch[1024];
    while (length > 0) {
        const int64_t chunk = length < 1024 ? length : 1024;
        if (!readExactly(stream, scratch, chunk))
            return false;
        length -= chunk;
    }
    return true;
}

// Reads the strong encryption header in front of the data; gives its length.
int64_t readStrongEncryptionHeader(InputStream& stream) {
    uint8_t field[4];
    if (!readExactly(stream, field, 2))
        throw OVException("IV size read failed");
    const int64_t vectorSize = CUtils::ReadLE16(field);
    if (!passOver(stream, vectorSize))
        throw OVException("IV size read failed");
    if (!readExactly(stream, field, 4))
        throw OVException("Enc header remaining read failed");
    const int64_t remaining = CUtils::ReadLE32(field);
    if (2 + vectorSize + 4 + remaining > kStrongHeaderLimit)
        throw OVException(-8, "");
    if (!passOver(stream, remaining))
        throw OVException("Rest of enc header read failed");
    return remaining + vectorSize + 6;
}

int64_t clampLength(uint64_t size) {
    return size > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<int64_t>(size);
}

}  // namespace

std::unique_ptr<InputStream> ZipFile::openMember(int32_t index, uint64_t* uncompressedSize,
                                                 bool standalone) {
    if (!opened)
        open();
    if (index < 0)
        throw OVException(kZipBadIndex, "");
    if (standalone && path == kStreamPath)
        throw OVException("Standalone file data stream is not possible for readonly zip");

    uint32_t position = static_cast<uint32_t>(index);
    if ((position & kZipPendingBit) != 0) {
        position &= ~kZipPendingBit;
        if (position >= pendingMembers.size())
            throw OVException(kZipBadIndex, "");
        const ZipPendingMember& pending = pendingMembers[position];
        ZipMemberDescriptor descriptor;
        descriptor.zip = this;
        descriptor.index = position;
        descriptor.compressedSize = pending.compressedSize;
        descriptor.uncompressedSize = pending.uncompressedSize;
        if (uncompressedSize != nullptr)
            *uncompressedSize = pending.uncompressedSize;
        // No stream is built over a pending member: the reader refuses it.
        return std::make_unique<ZipFileMemberDataInputStream>(nullptr, descriptor, 0, false, 0, 0);
    }
    if (position >= members.size())
        throw OVException(kZipBadIndex, "");
    ZipMemberInfo& member = members[position];

    if (stampOnRead) {
        const uint64_t stamp = presentDosStamp();
        if (stamp != member.stamp)
            modified = true;
        member.stamp = stamp;
    }

    std::unique_ptr<FileInputStream> ownFile;
    SeekableInputStream* input = stream;
    if (standalone) {
        ownFile = std::make_unique<FileInputStream>(path);
        input = ownFile.get();
    }
    if (input == nullptr)
        throw OVException(kZipBadStructure, "");

    const int64_t offset = clampLength(member.offset);
    if (input->seek(offset) != offset)
        throw OVException(kZipBadStructure, "");
    uint8_t header[ziprecords::kLocalHeaderSize];
    if (!readExactly(*input, header, sizeof(header)) ||
        CUtils::ReadLE32(header) != ziprecords::kLocalHeaderSignature)
        throw OVException("Local file signature doesn't match");
    const int64_t nameLength = CUtils::ReadLE16(header + 26);
    const int64_t extraLength = CUtils::ReadLE16(header + 28);
    if (input->skip(nameLength) != offset + ziprecords::kLocalHeaderSize + nameLength)
        throw OVException(kZipBadStructure, "");
    ByteBuffer extra(static_cast<size_t>(extraLength));
    if (!readExactly(*input, extra.data(), extraLength))
        throw OVException(kZipBadStructure, "");

    uint16_t method = CUtils::ReadLE16(header + 8);
    int64_t dataSize = clampLength(member.compressedSize);
    int64_t dataStart = offset + ziprecords::kLocalHeaderSize + nameLength + extraLength;
    // With the local header's lengths known, the data must still end before the next header.
    if (static_cast<uint64_t>(dataStart) + static_cast<uint64_t>(dataSize) >
        dataLimit(member.offset))
        throw OVException(kZipBadStructure, "");

    uint16_t flags = CUtils::ReadLE16(header + 6);
    const uint16_t tableKind = member.flags & kZipKindMask;
    if (tableKind != kZipNotEncrypted)
        flags |= ziprecords::kFlagEncrypted;
    if (tableKind == kZipStrong)
        flags |= ziprecords::kFlagStrongEncryption;
    const bool encrypted = (flags & ziprecords::kFlagEncrypted) != 0;
    if (encrypted && (flags & ziprecords::kFlagStrongEncryption) != 0) {
        const int64_t length = readStrongEncryptionHeader(*input);
        dataStart += length;
        dataSize -= length;
        if (dataSize < 0)
            throw OVException(kZipBadStructure, "");
    }

    input->seek(0);
    std::unique_ptr<InputStream> window;
    if (standalone)
        window = std::make_unique<PartialInputStream>(std::move(ownFile), dataSize, dataStart);
    else
        window = std::make_unique<PartialInputStream>(*input, dataSize, dataStart);

    ZipMemberDescriptor descriptor;
    descriptor.zip = this;
    descriptor.index = position;
    descriptor.compressedSize = static_cast<uint64_t>(dataSize);
    descriptor.uncompressedSize = member.uncompressedSize;
    descriptor.method = method;
    const bool hasCrc = encrypted && member.crc != 0;
    // The last header byte of a PKWARE member repeats the CRC's high byte, or the time's when the
    // CRC was not known before the data was written.
    const uint8_t pkwareCheck = (flags & ziprecords::kFlagSizesFollow) != 0
                                    ? static_cast<uint8_t>(CUtils::ReadLE16(header + 10) >> 8)
                                    : static_cast<uint8_t>(member.crc >> 24);

    int32_t kind = kZipNotEncrypted;
    if (encrypted) {
        if ((flags & ziprecords::kFlagStrongEncryption) != 0) {
            kind = kZipStrong;
        } else if (method != ziprecords::kMethodAes) {
            kind = kZipPkware;
        } else {
            const auto block =
                ziprecords::FindExtraBlock(extra.data(), extra.size(), ziprecords::kExtraAes);
            if (!block || block->size < 7)
                throw OVException(kZipBadStructure, "Missing AES encryption header");
            descriptor.method = CUtils::ReadLE16(block->data + 5);
            switch (block->data[4]) {
            case 1:
                kind = kZipAes128;
                break;
            case 2:
                kind = kZipAes192;
                break;
            case 3:
                kind = kZipAes256;
                break;
            default:
                throw OVException("Not supported AES bits");
            }
        }
    }
    if (uncompressedSize != nullptr)
        *uncompressedSize = member.uncompressedSize;
    return std::make_unique<ZipFileMemberDataInputStream>(std::move(window), descriptor, kind,
                                                          hasCrc, member.crc, pkwareCheck);
}
