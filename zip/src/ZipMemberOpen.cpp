// ZipMemberOpen.cpp: ZipFile::openMember: finds a member's data behind its local header, works
// out its encryption kind and builds the reader over it.
//
// A bad index is code -6 and a local header out of reach code -18, both with an empty message;
// a strong encryption header past its limit is code -8, also without a message. The checks that
// this reader makes beyond them say what went wrong.
#include "ZipRecords.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

using namespace ziprecords;

namespace {

bool ReadExactly(InputStream& stream, uint8_t* buffer, int64_t length) {
    return ReadFully(stream, buffer, length) == length;
}

// Passes over `length` bytes by reading them: the stream's own skip reports positions.
bool PassOver(InputStream& stream, int64_t length) {
    uint8_t scratch[1024];
    while (length > 0) {
        const int64_t chunk = length < 1024 ? length : 1024;
        if (!ReadExactly(stream, scratch, chunk)) {
            return false;
        }
        length -= chunk;
    }
    return true;
}

// Reads the strong encryption header in front of the data; gives its length.
int64_t ReadStrongEncryptionHeader(InputStream& stream) {
    uint8_t field[StrongEncryptionHeader::kRemainingSizeWidth];
    if (!ReadExactly(stream, field, StrongEncryptionHeader::kVectorOffset)) {
        throw OVException("IV size read failed");
    }
    const int64_t vectorSize = ReadField(field, StrongEncryptionHeader::VectorSize);
    if (!PassOver(stream, vectorSize)) {
        throw OVException("IV size read failed");
    }
    if (!ReadExactly(stream, field, StrongEncryptionHeader::kRemainingSizeWidth)) {
        throw OVException("Enc header remaining read failed");
    }
    const int64_t remaining = ReadField(field, StrongEncryptionHeader::RemainingSize);
    const int64_t length = StrongEncryptionHeader::LengthOf(vectorSize, remaining);
    if (length > StrongEncryptionHeader::kLongest) {
        throw OVException(kZipEncryptionHeaderTooLong, "");
    }
    if (!PassOver(stream, remaining)) {
        throw OVException("Rest of enc header read failed");
    }
    return length;
}

int64_t ClampLength(uint64_t size) {
    return size > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<int64_t>(size);
}

// Seeks to the member's local header, reads it and tests its signature, skips the name and gives
// the extra.
ByteBuffer ReadLocalHeader(SeekableInputStream& input, int64_t offset, uint8_t* header) {
    if (input.seek(offset) != offset) {
        throw OVException(kZipBadStructure, "");
    }
    if (!ReadExactly(input, header, LocalHeader::kSize) ||
        ReadField(header, LocalHeader::Signature) != LocalHeader::kSignature) {
        throw OVException("Local file signature doesn't match");
    }
    const int64_t nameLength = ReadField(header, LocalHeader::NameLength);
    if (input.skip(nameLength) != offset + static_cast<int64_t>(LocalHeader::kSize) + nameLength) {
        throw OVException(kZipBadStructure, "Local header's name is cut short");
    }
    ByteBuffer extra(ReadField(header, LocalHeader::ExtraLength));
    if (!ReadExactly(input, extra.data(), static_cast<int64_t>(extra.size()))) {
        throw OVException(kZipBadStructure, "Local header's extra is cut short");
    }
    return extra;
}

// The kind that an AES member's block gives, with its compression method for the reader.
int32_t AesKind(const ByteBuffer& extra, ZipMemberDescriptor& descriptor) {
    const auto block = FindExtraBlock(extra.data(), extra.size(), AesBlock::kId);
    if (!block || block->size < AesBlock::kSize) {
        throw OVException(kZipBadStructure, "Missing AES encryption header");
    }
    descriptor.method = ReadField(block->data, AesBlock::Method);
    switch (ReadField(block->data, AesBlock::Strength)) {
    case AesBlock::kStrength128:
        return kZipAes128;
    case AesBlock::kStrength192:
        return kZipAes192;
    case AesBlock::kStrength256:
        return kZipAes256;
    default:
        throw OVException("Not supported AES bits");
    }
}

}  // namespace

std::unique_ptr<InputStream> ZipFile::openMember(int32_t index, uint64_t* uncompressedSize,
                                                 bool standalone) {
    if (!opened) {
        open();
    }
    if (index < 0) {
        throw OVException(kZipBadIndex, "");
    }
    if (standalone && path == kStreamPath) {
        throw OVException("Standalone file data stream is not possible for readonly zip");
    }

    uint32_t position = static_cast<uint32_t>(index);
    if ((position & kZipPendingBit) != 0) {
        position &= ~kZipPendingBit;
        if (position >= pendingMembers.size()) {
            throw OVException(kZipBadIndex, "");
        }
        const ZipPendingMember& pending = pendingMembers[position];
        ZipMemberDescriptor descriptor;
        descriptor.zip = this;
        descriptor.index = position;
        descriptor.compressedSize = pending.compressedSize;
        descriptor.uncompressedSize = pending.uncompressedSize;
        if (uncompressedSize != nullptr) {
            *uncompressedSize = pending.uncompressedSize;
        }
        // No stream is built over a pending member: the reader refuses it.
        return std::make_unique<ZipFileMemberDataInputStream>(nullptr, descriptor, 0, false, 0, 0);
    }
    if (position >= members.size()) {
        throw OVException(kZipBadIndex, "");
    }
    ZipMemberInfo& member = members[position];

    if (stampOnRead) {
        const uint64_t stamp = PresentDosStamp();
        if (stamp != member.stamp) {
            modified = true;
        }
        member.stamp = stamp;
    }

    std::unique_ptr<FileInputStream> ownFile;
    SeekableInputStream* input = stream;
    if (standalone) {
        ownFile = std::make_unique<FileInputStream>(path);
        input = ownFile.get();
    }
    if (input == nullptr) {
        throw OVException(kZipBadStructure, "The archive has no stream to read the member from");
    }

    const int64_t offset = ClampLength(member.offset);
    uint8_t header[LocalHeader::kSize];
    const ByteBuffer extra = ReadLocalHeader(*input, offset, header);
    const int64_t nameLength = ReadField(header, LocalHeader::NameLength);
    const int64_t extraLength = static_cast<int64_t>(extra.size());

    const uint16_t method = ReadField(header, LocalHeader::Method);
    int64_t dataSize = ClampLength(member.compressedSize);
    int64_t dataStart =
        offset + static_cast<int64_t>(LocalHeader::kSize) + nameLength + extraLength;
    // With the local header's lengths known, the data must still end before the next header.
    if (static_cast<uint64_t>(dataStart) + static_cast<uint64_t>(dataSize) >
        dataLimit(member.offset)) {
        throw OVException(kZipBadStructure,
                          "Member data runs into the next local header or the directory");
    }

    uint16_t flags = ReadField(header, LocalHeader::GeneralFlags);
    const uint16_t tableKind = member.flags & kZipKindMask;
    if (tableKind != kZipNotEncrypted) {
        flags |= kFlagEncrypted;
    }
    if (tableKind == kZipStrong) {
        flags |= kFlagStrongEncryption;
    }
    const bool encrypted = (flags & kFlagEncrypted) != 0;
    const bool strong = encrypted && (flags & kFlagStrongEncryption) != 0;
    if (strong) {
        const int64_t length = ReadStrongEncryptionHeader(*input);
        dataStart += length;
        dataSize -= length;
        if (dataSize < 0) {
            throw OVException(kZipBadStructure,
                              "Strong encryption header is longer than the member's data");
        }
    }

    input->seek(0);
    std::unique_ptr<InputStream> window;
    if (standalone) {
        window = std::make_unique<PartialInputStream>(std::move(ownFile), dataSize, dataStart);
    } else {
        window = std::make_unique<PartialInputStream>(*input, dataSize, dataStart);
    }

    ZipMemberDescriptor descriptor;
    descriptor.zip = this;
    descriptor.index = position;
    descriptor.compressedSize = static_cast<uint64_t>(dataSize);
    descriptor.uncompressedSize = member.uncompressedSize;
    descriptor.method = method;
    const bool hasCrc = encrypted && member.crc != 0;
    // The last header byte of a PKWARE member repeats the CRC's high byte, or the time's when the
    // CRC was not known before the data was written.
    const uint8_t pkwareCheck =
        (flags & kFlagSizesFollow) != 0
            ? static_cast<uint8_t>(ReadField(header, LocalHeader::DosTime) >> 8)
            : static_cast<uint8_t>(member.crc >> 24);

    int32_t kind = kZipNotEncrypted;
    if (strong) {
        kind = kZipStrong;
    } else if (encrypted && method != kMethodAes) {
        kind = kZipPkware;
    } else if (encrypted) {
        kind = AesKind(extra, descriptor);
    }
    if (uncompressedSize != nullptr) {
        *uncompressedSize = member.uncompressedSize;
    }
    return std::make_unique<ZipFileMemberDataInputStream>(std::move(window), descriptor, kind,
                                                          hasCrc, member.crc, pkwareCheck);
}
