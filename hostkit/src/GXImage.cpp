// GXImage.cpp: an image file read into RGBA pixels with libpng. A file that is missing or cannot
// be read gives an empty image, which the caller takes as it comes.
#include "PngCheck.h"
#include "hostkit/DG.h"
#include "hostkit/IOLocation.h"

#include <csetjmp>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <png.h>

namespace GX {

namespace {

// libpng's complaints stay quiet: a file it cannot read is an empty image, nothing more.
void QuietError(png_structp png, png_const_charp /*message*/) { png_longjmp(png, 1); }
void QuietWarning(png_structp /*png*/, png_const_charp /*message*/) {}

// The bytes libpng has not read yet.
struct Unread {
    const uint8_t* next;
    size_t left;
};

void ReadFromMemory(png_structp png, png_bytep into, size_t count) {
    auto& unread = *static_cast<Unread*>(png_get_io_ptr(png));
    if (count > unread.left) {
        png_error(png, "past the end");
    }
    std::memcpy(into, unread.next, count);
    unread.next += count;
    unread.left -= count;
}

// The whole file; empty when it cannot be read. The path goes to the system as wide text where
// the system takes it so.
std::vector<uint8_t> ReadFile(const GS::UniString& path) {
    try {
        std::ifstream file(std::filesystem::path(std::u16string(path.ToUStr().Get())),
                           std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    } catch (const std::exception&) {
        return {};  // a path that is no text
    }
}

// The image as 8-bit samples of `channels` per pixel (1 grey, 2 grey and alpha, 3 colour,
// 4 colour and alpha): palettes expanded, small depths unpacked, 16 bits cut to their high byte,
// a transparent colour turned into alpha. False when libpng cannot read the file. No object
// with a destructor may begin its life between the setjmp and the end of the reading.
bool ReadSamples(Unread file, std::vector<uint8_t>& samples, std::vector<png_bytep>& rows,
                 png_uint_32& width, png_uint_32& height, int& channels) {
    png_structp png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, QuietError, QuietWarning);
    if (png == nullptr) {
        return false;
    }
    png_infop info = png_create_info_struct(png);
    if (info == nullptr) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png)) != 0) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_set_read_fn(png, &file, ReadFromMemory);
    png_read_info(png, info);
    const png_byte colourType = png_get_color_type(png, info);
    const png_byte bitDepth = png_get_bit_depth(png, info);
    if (colourType == PNG_COLOR_TYPE_PALETTE) {
        png_set_expand(png);
    }
    if (bitDepth < 8) {
        png_set_packing(png);
        png_set_expand(png);
    } else if (bitDepth == 16) {
        png_set_strip_16(png);
    }
    if (png_get_valid(png, info, PNG_INFO_tRNS) != 0) {
        png_set_tRNS_to_alpha(png);
    }
    const int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    width = png_get_image_width(png, info);
    height = png_get_image_height(png, info);
    channels = png_get_channels(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    if (width == 0 || height == 0 || channels < 1 || channels > 4 ||
        rowBytes != static_cast<size_t>(width) * static_cast<size_t>(channels)) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    samples.resize(rowBytes * height);
    rows.resize(height);
    for (png_uint_32 y = 0; y < height; ++y) {
        rows[y] = samples.data() + static_cast<size_t>(y) * rowBytes;
    }
    for (int pass = 0; pass < passes; ++pass) {
        png_read_rows(png, rows.data(), nullptr, height);
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

}  // namespace

Image::Image(const IO::Location& location) {
    const std::vector<uint8_t> bytes = ReadFile(location.ToPath());
    // A file cut short or damaged anywhere is refused as a whole, before libpng reads it.
    if (!hostkit::PngChunksIntact(bytes)) {
        return;
    }
    std::vector<uint8_t> samples;
    std::vector<png_bytep> rows;
    png_uint_32 fileWidth = 0;
    png_uint_32 fileHeight = 0;
    int depth = 0;
    const bool read =
        ReadSamples({bytes.data(), bytes.size()}, samples, rows, fileWidth, fileHeight, depth);
    if (!read || fileWidth > 0x7FFFFFFF || fileHeight > 0x7FFFFFFF) {
        return;
    }
    width = static_cast<int>(fileWidth);
    height = static_cast<int>(fileHeight);
    pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    const uint8_t* in = samples.data();
    uint8_t* out = pixels.data();
    for (size_t count = static_cast<size_t>(width) * static_cast<size_t>(height); count > 0;
         --count, in += depth, out += 4) {
        // Depth 1 and 2 are grey (with alpha), 3 and 4 colour (with alpha).
        const bool grey = depth < 3;
        out[0] = in[0];
        out[1] = grey ? in[0] : in[1];
        out[2] = grey ? in[0] : in[2];
        out[3] = depth == 2 ? in[1] : depth == 4 ? in[3] : 0xFF;
    }
}

Image::~Image() = default;

}  // namespace GX
