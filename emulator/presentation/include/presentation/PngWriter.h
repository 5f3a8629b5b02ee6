// PngWriter.h: writes 8-bit RGB or RGBA pixels as a PNG file: the gui backend's screenshot
// (ORV_GUI_SCREENSHOT) and the screenshots and icons of the gui tests.
#pragma once

#include <cstdint>
#include <string>

namespace presentation {

// `channels` is 3 (RGB) or 4 (RGBA); rows follow each other without padding. False when the
// file cannot be written.
bool WritePng(const std::string& path, const uint8_t* pixels, int width, int height, int channels);

}  // namespace presentation
