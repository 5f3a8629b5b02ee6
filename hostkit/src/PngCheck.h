// PngCheck.h: a look at a PNG file's chunks before the image reader decodes it: a file that is
// cut short or damaged anywhere, even in a chunk the decoder would skip, is refused as a whole.
#pragma once

#include <cstdint>
#include <vector>

namespace hostkit {

// True when the file's bytes have the PNG signature and whole chunks with good checksums up to
// IEND.
bool PngChunksIntact(const std::vector<uint8_t>& bytes);

}  // namespace hostkit
