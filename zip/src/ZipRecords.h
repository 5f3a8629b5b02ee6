// ZipRecords.h: signatures, record sizes and extra blocks of the ZIP format, shared by the
// archive, member and unzip code.
#pragma once

#include "streams/InputStream.h"

#include <cstdint>
#include <optional>

namespace ziprecords {

constexpr uint32_t kLocalHeaderSignature = 0x04034B50u;
constexpr uint32_t kCentralHeaderSignature = 0x02014B50u;
constexpr uint32_t kEndSignature = 0x06054B50u;
constexpr uint32_t kZip64EndSignature = 0x06064B50u;
constexpr uint32_t kZip64LocatorSignature = 0x07064B50u;
constexpr uint32_t kArchiveExtraDataSignature = 0x08064B50u;
constexpr uint32_t kDirectorySignatureSignature = 0x05054B50u;

constexpr int32_t kLocalHeaderSize = 30;
constexpr int32_t kCentralHeaderSize = 46;
constexpr int32_t kEndSize = 22;
constexpr int32_t kZip64LocatorSize = 20;

// General purpose flag bits.
constexpr uint16_t kFlagEncrypted = 0x1;
constexpr uint16_t kFlagSizesFollow = 0x8;
constexpr uint16_t kFlagStrongEncryption = 0x40;
constexpr uint16_t kFlagUnicode = 0x800;
constexpr uint16_t kFlagMaskedHeaders = 0x2000;

// Extra block ids.
constexpr uint16_t kExtraZip64 = 0x0001;
constexpr uint16_t kExtraUnicodePath = 0x7075;
constexpr uint16_t kExtraAes = 0x9901;
constexpr uint16_t kExtraStrongEncryption = 0x0017;

constexpr uint16_t kMethodStored = 0;
constexpr uint16_t kMethodDeflated = 8;
constexpr uint16_t kMethodAes = 99;

constexpr uint32_t kSaturated32 = 0xFFFFFFFFu;

// One block of an extra field: its id and data.
struct ExtraBlock {
    uint16_t id;
    const uint8_t* data;
    uint16_t size;
};

// The first block with `id` in an extra field; blocks are id (2), size (2), data. A block whose
// size runs past the field ends the search.
std::optional<ExtraBlock> FindExtraBlock(const uint8_t* extra, size_t extraLength, uint16_t id);

}  // namespace ziprecords
