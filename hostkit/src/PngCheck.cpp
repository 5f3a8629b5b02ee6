// PngCheck.cpp: walks a PNG file's chunks and checks each one's length and CRC.
#include "PngCheck.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <vector>

namespace hostkit {

namespace {

uint32_t Crc32(const uint8_t* bytes, size_t count) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < count; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
        }
    }
    return ~crc;
}

uint32_t BigEndian(const uint8_t* bytes) {
    return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
           uint32_t{bytes[3]};
}

}  // namespace

bool PngChunksIntact(const std::string& path) {
    static constexpr std::array<uint8_t, 8> signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file),
                                     std::istreambuf_iterator<char>()};
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
        if (Crc32(type, 4 + size_t{length}) != BigEndian(type + 4 + length)) {
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
