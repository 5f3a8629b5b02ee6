// PngWriter.cpp: a minimal PNG encoder on zlib: one IDAT chunk, no filtering.
#include "presentation/PngWriter.h"

#include <fstream>
#include <vector>
#include <zlib.h>

namespace presentation {

namespace {

void PutBigEndian(std::vector<uint8_t>& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.push_back(static_cast<uint8_t>(value >> shift));
    }
}

// Length, type, data and the CRC over type and data.
void PutChunk(std::vector<uint8_t>& out, const char* type, const std::vector<uint8_t>& data) {
    PutBigEndian(out, static_cast<uint32_t>(data.size()));
    std::vector<uint8_t> body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    out.insert(out.end(), body.begin(), body.end());
    PutBigEndian(out, static_cast<uint32_t>(crc32(0, body.data(), static_cast<uInt>(body.size()))));
}

}  // namespace

bool WritePng(const std::string& path, const uint8_t* pixels, int width, int height, int channels) {
    std::vector<uint8_t> header;
    PutBigEndian(header, static_cast<uint32_t>(width));
    PutBigEndian(header, static_cast<uint32_t>(height));
    header.push_back(8);                                            // bits per channel
    header.push_back(static_cast<uint8_t>(channels == 4 ? 6 : 2));  // RGBA or RGB
    header.push_back(0);                                            // deflate
    header.push_back(0);                                            // adaptive filtering
    header.push_back(0);                                            // no interlace

    // Every row starts with its filter type, 0: none.
    const size_t rowBytes = static_cast<size_t>(width) * static_cast<size_t>(channels);
    std::vector<uint8_t> raw;
    raw.reserve((rowBytes + 1) * static_cast<size_t>(height));
    for (int row = 0; row < height; ++row) {
        raw.push_back(0);
        const uint8_t* start = pixels + rowBytes * static_cast<size_t>(row);
        raw.insert(raw.end(), start, start + rowBytes);
    }
    uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
    std::vector<uint8_t> packed(packedSize);
    if (compress2(packed.data(), &packedSize, raw.data(), static_cast<uLong>(raw.size()),
                  Z_BEST_COMPRESSION) != Z_OK) {
        return false;
    }
    packed.resize(packedSize);

    std::vector<uint8_t> file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    PutChunk(file, "IHDR", header);
    PutChunk(file, "IDAT", packed);
    PutChunk(file, "IEND", {});
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(file.data()),
              static_cast<std::streamsize>(file.size()));
    return static_cast<bool>(out.flush());
}

}  // namespace presentation
