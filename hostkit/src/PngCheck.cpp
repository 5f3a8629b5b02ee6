// PngCheck.cpp: walks a PNG file's chunks and checks each one's length and CRC.
#include "PngCheck.h"

#include <algorithm>
#include <array>
#include <zlib.h>

namespace hostkit {

namespace {

uint32_t BigEndian(const uint8_t* bytes) {
    return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
           uint32_t{bytes[3]};
}

}  // namespace

bool PngChunksIntact(const std::vector<uint8_t>& bytes) {
    static constexpr std::array<uint8_t, 8> signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (bytes.size() < signature.size() ||
        !std::equal(signature.begin(), signature.end(), bytes.begin())) {
        return false;
    }
    size_t at = signature.size();
    // Each chunk: length, type, data, CRC over type and data.
    while (bytes.size() - at >= 12) {
        const uint32_t length = BigEndian(&bytes[at]);
        if (length > bytes.size() - at - 12) {
            return false;
        }
        const uint8_t* type = &bytes[at + 4];
        if (crc32(0, type, 4 + length) != BigEndian(type + 4 + length)) {
            return false;
        }
        if (std::equal(type, type + 4, "IEND")) {
            return true;
        }
        at += 12 + size_t{length};
    }
    return false;
}

}  // namespace hostkit
