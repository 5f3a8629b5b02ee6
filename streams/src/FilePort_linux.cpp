// FilePort_linux.cpp: the file streams' platform calls on Linux: fopen on the UTF-8 path, fseeko,
// fsync.
#include "FilePort.h"
#include "common/CUtils.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace fileport {

bool SizeOf(const WString& path, int64_t& size) {
    struct stat status {};
    if (::stat(CUtils::ToFileSystemPath(path).c_str(), &status) != 0) {
        return false;
    }
    size = static_cast<int64_t>(status.st_size);
    return true;
}

std::FILE* Open(const WString& path, OpenMode mode) {
    static constexpr const char* kModes[] = {"rb", "rb+", "wb", "wbx", "wb+"};
    return std::fopen(CUtils::ToFileSystemPath(path).c_str(), kModes[static_cast<int>(mode)]);
}

bool Seek(std::FILE* file, int64_t offset, int whence) {
    return ::fseeko(file, static_cast<off_t>(offset), whence) == 0;
}

bool ToDisk(std::FILE* file) {
    if (std::fflush(file) != 0) {
        return false;
    }
    // A file that cannot be synchronised (a device such as a pipe) has nothing more to force.
    return ::fsync(::fileno(file)) == 0 || errno == EINVAL;
}

}  // namespace fileport
