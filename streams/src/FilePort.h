// FilePort.h: the file streams' calls that differ between platforms: opening a file by its wide
// path, moving past 2 GiB, and forcing written data onto the disk. The C library does the rest.
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <cstdio>

namespace fileport {

// How a file is opened.
enum class OpenMode {
    kRead,             // "rb": an existing file
    kReadWrite,        // "rb+": an existing file, read and written
    kCreate,           // "wb": made or emptied
    kCreateExclusive,  // made new: refused when any entry stands there, a link included
    kCreateReadWrite,  // "wb+": made or emptied, read and written
};

// The size of the entry at `path` (a link followed); false when there is none, with errno telling
// why.
bool SizeOf(const WString& path, int64_t& size);
// The file at `path` (CUtils::ToFileSystemPath decides how the system names it); nullptr on
// failure, with errno telling why.
std::FILE* Open(const WString& path, OpenMode mode);
// Moves to `offset` from the start (SEEK_SET) or the end (SEEK_END); false on failure.
bool Seek(std::FILE* file, int64_t offset, int whence);
// Hands what the C library holds of `file` to the system and waits until the system has it on
// the disk. False on failure, with errno telling why.
bool ToDisk(std::FILE* file);

}  // namespace fileport
