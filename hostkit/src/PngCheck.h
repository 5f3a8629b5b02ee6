// PngCheck.h: a look at a PNG file's chunks before FLTK reads it. FLTK 1.3's reader writes to
// standard error and leaks its pixel buffer on a file that is cut short or damaged, so such a file
// is refused before it gets there.
#pragma once

#include <string>

namespace hostkit {

// True when the file has the PNG signature and whole chunks with good checksums up to IEND.
bool PngChunksIntact(const std::string& path);

}  // namespace hostkit
