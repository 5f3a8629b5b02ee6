// FileSync.h: the file streams' one call beyond the C library: forcing written data onto the disk.
#pragma once

#include <cstdio>

namespace filesync {

// Hands what the C library holds of `file` to the system and waits until the system has it on
// the disk. False on failure, with errno telling why.
bool ToDisk(std::FILE* file);

}  // namespace filesync
