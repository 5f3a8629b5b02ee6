// FileSync_linux.cpp: forcing a file's data onto the disk with fsync.
#include "FileSync.h"

#include <cerrno>
#include <unistd.h>

namespace filesync {

bool ToDisk(std::FILE* file) {
    if (std::fflush(file) != 0) {
        return false;
    }
    // A file that cannot be synchronised (a device such as a pipe) has nothing more to force.
    return ::fsync(::fileno(file)) == 0 || errno == EINVAL;
}

}  // namespace filesync
