// GXImage.cpp: an image file read into RGBA pixels with FLTK's PNG reader. A file that is
// missing or cannot be read gives an empty image, which the caller takes as it comes.
#include "CharCode.h"
#include "PngCheck.h"
#include "hostkit/DG.h"
#include "hostkit/IOLocation.h"

#include <FL/Fl_PNG_Image.H>

namespace GX {

Image::Image(const IO::Location& location) {
    const std::string path = hostkit::Utf16ToUtf8(location.ToPath().ToUStr().Get());
    if (!hostkit::PngChunksIntact(path)) {
        return;
    }
    Fl_PNG_Image png(path.c_str());
    if (png.fail() != 0 || png.w() <= 0 || png.h() <= 0 || png.count() < 1 || png.d() < 1 ||
        png.d() > 4) {
        return;
    }
    const int depth = png.d();
    // ld() is the line length in bytes; 0 means the lines are packed.
    const int stride = png.ld() != 0 ? png.ld() : png.w() * depth;
    const auto* data = reinterpret_cast<const uint8_t*>(png.data()[0]);
    width = png.w();
    height = png.h();
    pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    uint8_t* out = pixels.data();
    for (int y = 0; y < height; ++y) {
        const uint8_t* in = data + static_cast<ptrdiff_t>(y) * stride;
        for (int x = 0; x < width; ++x, in += depth, out += 4) {
            // Depth 1 and 2 are grey (with alpha), 3 and 4 colour (with alpha).
            const bool grey = depth < 3;
            out[0] = in[0];
            out[1] = grey ? in[0] : in[1];
            out[2] = grey ? in[0] : in[2];
            out[3] = depth == 2 ? in[1] : depth == 4 ? in[3] : 0xFF;
        }
    }
}

Image::~Image() = default;

}  // namespace GX
