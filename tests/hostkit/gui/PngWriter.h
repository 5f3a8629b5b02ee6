// PngWriter.h: writes 8-bit RGB or RGBA pixels as a PNG file, for the screenshots the gui tests
// keep as artifacts (and for an icon they load).
#pragma once

#include <cstdint>
#include <string>

namespace guitest {

// `channels` is 3 (RGB) or 4 (RGBA); rows follow each other without padding. False when the
// file cannot be written.
bool WritePng(const std::string& path, const uint8_t* pixels, int width, int height, int channels);

}  // namespace guitest
