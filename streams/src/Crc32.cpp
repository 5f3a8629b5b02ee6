// Crc32.cpp: the byte-wise CRC-32 and CRC-32C checksums, and the string checksum of CUtils.
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/Hash.h"

#include <array>

namespace {

// The plain byte-wise table of a reversed polynomial, computed by the compiler so that it is held
// as constant data.
constexpr std::array<uint32_t, 256> MakeTable(uint32_t reversedPolynomial) {
    std::array<uint32_t, 256> table{};
    for (uint32_t index = 0; index < 256; ++index) {
        uint32_t entry = index;
        for (int bit = 0; bit < 8; ++bit) {
            entry = (entry & 1u) ? (entry >> 1) ^ reversedPolynomial : entry >> 1;
        }
        table[index] = entry;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kStandardTable = MakeTable(0xEDB88320u);
constexpr std::array<uint32_t, 256> kCastagnoliTable = MakeTable(0x82F63B78u);

static_assert(kStandardTable[1] == 0x77073096u && kStandardTable[255] == 0x2D02EF8Du);
static_assert(kCastagnoliTable[1] == 0xF26B8303u && kCastagnoliTable[255] == 0xAD7D5351u);

}  // namespace

Crc32::Crc32(uint32_t polynomial)
    : swapped(polynomial == kCastagnoliSelector),
      table(swapped ? kCastagnoliTable.data() : kStandardTable.data()) {
    reset();
}

void Crc32::update(const uint8_t* data, int64_t length) {
    if (data == nullptr || length <= 0) {
        return;
    }
    // Local copies keep the state in registers: the loop never reloads through `this`.
    uint32_t crc = value;
    const uint32_t* const entries = table;
    const uint8_t* const end = data + length;
    for (const uint8_t* byte = data; byte != end; ++byte) {
        crc = (crc >> 8) ^ entries[(crc ^ *byte) & 0xFFu];
    }
    value = crc;
}

uint32_t Crc32::result() const {
    const uint32_t crc = ~value;
    if (!swapped) {
        return crc;
    }
    return (crc >> 24) | ((crc >> 8) & 0x0000FF00u) | ((crc << 8) & 0x00FF0000u) | (crc << 24);
}

void Crc32::final(uint8_t* output, int64_t outputLength) {
    if (outputLength < 4) {
        throw OVException("Ivalid CRC output buffer length");
    }
    // Most significant byte first: the archive code reads the four bytes back the same way.
    const uint32_t crc = result();
    output[0] = static_cast<uint8_t>(crc >> 24);
    output[1] = static_cast<uint8_t>(crc >> 16);
    output[2] = static_cast<uint8_t>(crc >> 8);
    output[3] = static_cast<uint8_t>(crc);
}

// Declared with the text utilities, defined here: the common library cannot depend on streams.
uint32_t CUtils::Crc32OfString(const std::string& bytes) {
    Crc32 crc(Crc32::kStandard);
    crc.update(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int64_t>(bytes.size()));
    return crc.result();
}
