// Platform_linux.cpp: the runtime's machine calls on Linux (POSIX and glibc).
//
// Paths reach the system as UTF-8. A rename over another file system copies the file beside its
// target and renames it into place, so no half-written file ever stands under the target's name.
// The command line (common/CommandLine.h) is argv itself: Linux passes the bytes unconverted, the
// same UTF-8 that its file names are in.
#include "Platform.h"
#include "common/CUtils.h"
#include "common/CommandLine.h"
#include "common/PlatformHooks.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utf8.h>

namespace platform {

namespace {

// Seconds from 1601-01-01 to 1970-01-01, the two epochs' distance.
constexpr uint64_t kEpochDistanceSeconds = 11644473600ull;

std::string Native(const WString& path) { return CUtils::ToFileSystemPath(path).string(); }

void WriteToStandardError(const WString& text) {
    const std::string bytes = CUtils::WstringToStringUTF8(text);
    std::fwrite(bytes.data(), 1, bytes.size(), stderr);
    std::fflush(stderr);
}

// An open file descriptor, closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd(fd) {}
    ~Descriptor() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return fd; }

private:
    int fd;
};

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// The pattern of the copy's temporary name: the target's name with ".partXXXXXX" behind it. A name
// near the longest a folder takes is cut short (at the start of a character) to leave room.
std::string TemporaryPatternBeside(const std::string& to) {
    constexpr char kSuffix[] = ".partXXXXXX";
    constexpr size_t kLongestStem = NAME_MAX - (sizeof kSuffix - 1);
    const size_t slash = to.rfind('/');
    const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    size_t stem = to.size() - nameStart;
    if (stem > kLongestStem) {
        stem = kLongestStem;
        while (stem > 0 && (static_cast<unsigned char>(to[nameStart + stem]) & 0xC0) == 0x80) {
            --stem;
        }
    }
    return to.substr(0, nameStart + stem) + kSuffix;
}

// Copies `from` to a new file beside `to`, flushed to disk, and renames it over `to`.
bool CopyIntoPlace(const std::string& from, const std::string& to) {
    const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0) {
        return false;
    }
    struct stat info {};
    std::string temporary = TemporaryPatternBeside(to);
    const int target = ::fstat(source, &info) == 0 ? ::mkstemp(temporary.data()) : -1;
    bool copied = target >= 0;
    char buffer[65536];
    while (copied) {
        const ssize_t got = ::read(source, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            copied = got == 0;
            break;
        }
        copied = WriteAll(target, buffer, static_cast<size_t>(got));
    }
    ::close(source);
    if (target >= 0) {
        copied = copied && ::fchmod(target, info.st_mode & 07777) == 0 && ::fsync(target) == 0;
        copied = ::close(target) == 0 && copied;
        copied = copied && ::rename(temporary.c_str(), to.c_str()) == 0;
        if (!copied) {
            ::unlink(temporary.c_str());
        }
    }
    return copied;
}

}  // namespace

bool PathExists(const WString& path) {
    struct stat info {};
    return ::stat(Native(path).c_str(), &info) == 0;
}

bool IsFolder(const WString& path) {
    struct stat info {};
    return ::stat(Native(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

int32_t MakeFolder(const WString& path) { return ::mkdir(Native(path).c_str(), 0777) == 0 ? 1 : 0; }

bool RemoveEmptyFolder(const WString& path) { return ::rmdir(Native(path).c_str()) == 0; }

bool DeleteFile(const WString& path) {
    // unlink would also remove a symbolic link to a folder; a folder itself it refuses.
    return ::unlink(Native(path).c_str()) == 0;
}

std::vector<FolderEntry> ListFolder(const WString& path) {
    std::vector<FolderEntry> entries;
    const std::string folder = Native(path);
    DIR* listing = ::opendir(folder.c_str());
    if (listing == nullptr) {
        return entries;
    }
    while (const dirent* entry = ::readdir(listing)) {
        // A name that is no UTF-8 has no wide form: passing it on cut short would name another
        // entry, so it is not listed at all.
        const std::string name = entry->d_name;
        if (!utf8::is_valid(name.begin(), name.end())) {
            continue;
        }
        // A link is never a folder here, even when it points at one, so that a walk over the
        // tree never leaves it.
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat info {};
            isFolder = ::lstat((folder + "/" + name).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
        }
        entries.push_back({CUtils::StringUTF8ToWstring(name), isFolder});
    }
    ::closedir(listing);
    return entries;
}

int32_t Rename(const WString& from, const WString& to) {
    const std::string source = Native(from);
    const std::string target = Native(to);
    if (::rename(source.c_str(), target.c_str()) == 0) {
        return 0;
    }
    if (errno != EXDEV) {
        return -1;
    }
    // Only a plain file moves across file systems: a folder does not, as on the host's platform,
    // and a link is not turned into a copy of what it points at.
    struct stat info {};
    if (::lstat(source.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return -1;
    }
    if (!CopyIntoPlace(source, target)) {
        return -1;
    }
    return ::unlink(source.c_str()) == 0 ? 0 : -1;
}

int32_t ReplaceFile(const WString& from, const WString& to) {
    const std::string source = Native(from);
    const std::string target = Native(to);
    if (::rename(source.c_str(), target.c_str()) == 0) {
        return 0;
    }
    if (errno != EXDEV) {
        return errno;
    }
    // A copy made beside the target takes its place in one step, as the rename would have.
    struct stat info {};
    if (::lstat(source.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return EXDEV;
    }
    errno = 0;
    if (!CopyIntoPlace(source, target)) {
        return errno != 0 ? errno : EIO;
    }
    return ::unlink(source.c_str()) == 0 ? 0 : errno;
}

WString TempPath() {
    const char* fromEnvironment = std::getenv("TMPDIR");
    std::string folder = fromEnvironment != nullptr ? fromEnvironment : "";
    if (folder.empty() || !utf8::is_valid(folder.begin(), folder.end())) {
        folder = "/tmp";
    }
    if (folder.back() != '/') {
        folder += '/';
    }
    return CUtils::StringUTF8ToWstring(folder);
}

WString UserTempSubfolder(const WString& name) {
    // The effective id: it owns what the process makes.
    const std::string user = "-" + std::to_string(::geteuid());
    return name + WString(user.begin(), user.end());
}

bool MakePrivateFolder(const WString& path) {
    std::string folder = Native(path);
    // A trailing separator would make the system follow a link in the folder's place.
    while (folder.size() > 1 && folder.back() == '/') {
        folder.pop_back();
    }
    const bool made = !folder.empty() && ::mkdir(folder.c_str(), 0700) == 0;
    const Descriptor opened(
        ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (opened.Get() < 0) {
        return false;
    }
    // A folder made just now may have lost rights to the file mode mask; it gets exactly the
    // owner's. One that was there already is judged as it stands.
    if (made && ::fchmod(opened.Get(), 0700) != 0) {
        return false;
    }
    struct stat info {};
    return ::fstat(opened.Get(), &info) == 0 && S_ISDIR(info.st_mode) &&
           info.st_uid == ::geteuid() && (info.st_mode & 07777) == 0700;
}

bool EntryExists(const WString& path) {
    struct stat info {};
    return ::lstat(Native(path).c_str(), &info) == 0;
}

bool MakeNewFile(const WString& path) {
    // The mode is the ordinary one: the folder keeps others out, and the file may end up in the
    // library, where others read it.
    const Descriptor file(
        ::open(Native(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    return file.Get() >= 0;
}

WString ModuleFileName() {
    static const int anchor = 0;  // an address inside this module
    Dl_info info{};
    link_map* module = nullptr;
    std::string file;
    if (::dladdr1(&anchor, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0) {
        std::fprintf(stderr, "GetModuleHandle returned %d\n", 0);
    } else if (module != nullptr && module->l_name != nullptr && module->l_name[0] != '\0') {
        file = module->l_name;
    }
    // The main program's own entry has no name: it is the running executable.
    if (file.empty()) {
        file = "/proc/self/exe";
    }
    char resolved[PATH_MAX];
    if (::realpath(file.c_str(), resolved) != nullptr) {
        file = resolved;
    }
    return CUtils::StringUTF8ToWstring(file);
}

uint64_t SystemTimeMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<uint64_t>(now.tv_sec) + kEpochDistanceSeconds) * 1000000ull +
           static_cast<uint64_t>(now.tv_nsec) / 1000u;
}

std::tm LocalTime(uint64_t microseconds) {
    const time_t seconds =
        static_cast<time_t>(microseconds / 1000000ull) - static_cast<time_t>(kEpochDistanceSeconds);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return local;
}

WString SystemMessage(int32_t /*code*/) { return WString(); }

void MessageBox(void* /*owner*/, const WString& caption, const WString& text, uint32_t /*type*/) {
    WriteToStandardError(caption + u": " + text + u"\n");
}

void DebugOutput(const WString& text) { WriteToStandardError(text); }

uint32_t WalkStack(void** stack, uint32_t capacity) {
    return static_cast<uint32_t>(::backtrace(stack, static_cast<int>(capacity)));
}

void StopProcess(int status) {
    // The host's platform stops here with a store through a null pointer, and leaves with the
    // status only if the host survives the fault. Here the stop is as immediate as that fault,
    // without it: no exit handler, no static destructor and no stream flush runs, since any of
    // them could touch what the guard refused; only the status is kept. What the guard reported
    // before is already written, as the log and the alert flush as they go.
    std::_Exit(status);
}

}  // namespace platform

std::vector<std::string> Utf8Arguments(int argc, char** argv) {
    return std::vector<std::string>(argv, argv + argc);
}
