// FilePort_windows.cpp: the file streams' platform calls on Windows: _wfopen on the wide path (a
// new file made exclusively through CreateFileW), _fseeki64, _commit.
#include "FilePort.h"
#include "common/CUtils.h"

#include <windows.h>

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

namespace fileport {

namespace {

// CREATE_NEW refuses any entry at the path, a link included; the handle becomes a C stream.
std::FILE* CreateExclusive(const std::wstring& path) {
    const HANDLE handle = ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        errno = ::GetLastError() == ERROR_FILE_EXISTS ? EEXIST : EACCES;
        return nullptr;
    }
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_BINARY);
    if (descriptor < 0) {
        ::CloseHandle(handle);
        return nullptr;
    }
    std::FILE* file = ::_fdopen(descriptor, "wb");
    if (file == nullptr) {
        ::_close(descriptor);
    }
    return file;
}

}  // namespace

bool SizeOf(const WString& path, int64_t& size) {
    struct _stat64 status {};
    if (::_wstat64(CUtils::ToFileSystemPath(path).c_str(), &status) != 0) {
        return false;
    }
    size = static_cast<int64_t>(status.st_size);
    return true;
}

std::FILE* Open(const WString& path, OpenMode mode) {
    const std::wstring native = CUtils::ToFileSystemPath(path).wstring();
    if (native.empty()) {
        errno = ENOENT;
        return nullptr;
    }
    static constexpr const wchar_t* kModes[] = {L"rb", L"rb+", L"wb", nullptr, L"wb+"};
    if (mode == OpenMode::kCreateExclusive) {
        return CreateExclusive(native);
    }
    return ::_wfopen(native.c_str(), kModes[static_cast<int>(mode)]);
}

bool Seek(std::FILE* file, int64_t offset, int whence) {
    return ::_fseeki64(file, offset, whence) == 0;
}

bool ToDisk(std::FILE* file) {
    if (std::fflush(file) != 0) {
        return false;
    }
    return ::_commit(::_fileno(file)) == 0;
}

}  // namespace fileport
