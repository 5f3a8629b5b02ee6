// EmulatorPort_linux.cpp: modules through dlopen, the project's files through POSIX calls.
#include "EmulatorPort.h"
#include "PathText.h"
#include "emulator/Project.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace orvhost::port {

namespace {

std::string ErrnoText(int error) { return std::strerror(error); }

}  // namespace

void* LoadModule(const std::string& path, std::string& error) {
    // Kept mapped after its unloading: LeakSanitizer reads every module's thread-local storage
    // when the process ends, and one unmapped by then can crash it.
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (module == nullptr) {
        const char* reason = dlerror();
        error = reason != nullptr ? reason : "unknown error";
    }
    return module;
}

void* FindExport(void* module, const char* name) { return dlsym(module, name); }

void UnloadModule(void* module) { dlclose(module); }

std::string ReadWholeFile(const std::filesystem::path& file) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw ProjectError(Utf8Of(file) + ": cannot be read: " + ErrnoText(errno));
    }
    std::string content;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            const int error = errno;
            ::close(fd);
            throw ProjectError(Utf8Of(file) + ": cannot be read: " + ErrnoText(error));
        }
        if (got == 0) {
            break;
        }
        content.append(buffer, static_cast<size_t>(got));
    }
    ::close(fd);
    return content;
}

void ReplaceFileAtomically(const std::filesystem::path& target, const std::string& content) {
    const std::filesystem::path folder = target.parent_path();
    std::string name = (folder / (target.filename().string() + ".XXXXXX")).string();
    const auto failure = [&](const std::string& what, int error) {
        return ProjectError("cannot save " + Utf8Of(target) + ": " + what + ": " +
                            ErrnoText(error));
    };

    int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) {
        throw failure("cannot create a temporary file in " + Utf8Of(folder), errno);
    }
    const auto fail = [&](const std::string& what) {
        const int error = errno;
        if (fd >= 0) {
            ::close(fd);
        }
        ::unlink(name.c_str());
        return failure(what, error);
    };

    // The new file keeps the old one's permissions; mkstemp makes it private.
    struct stat old {};
    const mode_t mode = ::stat(target.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644;
    if (::fchmod(fd, mode) != 0) {
        throw fail("cannot set the permissions of " + name);
    }
    size_t written = 0;
    while (written < content.size()) {
        const ssize_t put = ::write(fd, content.data() + written, content.size() - written);
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put < 0) {
            throw fail("cannot write " + name);
        }
        written += static_cast<size_t>(put);
    }
    if (::fsync(fd) != 0) {
        throw fail("cannot flush " + name);
    }
    const int closing = fd;
    fd = -1;
    if (::close(closing) != 0) {
        throw fail("cannot close " + name);
    }
    if (::rename(name.c_str(), target.c_str()) != 0) {
        throw fail("cannot rename " + name + " over it");
    }
    // The rename itself lasts once the folder is flushed; a folder that cannot be is no failure.
    const int folderFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd >= 0) {
        ::fsync(folderFd);
        ::close(folderFd);
    }
}

std::filesystem::path ProgramFolder() {
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path() : self.parent_path();
}

std::filesystem::path MakeTemporaryFolder(const std::string& prefix) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        (std::filesystem::path(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") / (prefix + "XXXXXX"))
            .string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a working folder like " + pattern);
    }
    return pattern;
}

bool ReadInputByte(char& byte) { return read(STDIN_FILENO, &byte, 1) == 1; }

bool InputIsTerminal() { return isatty(STDIN_FILENO) != 0; }

const char* const kAddOnFileName = "OrvUpdate.so";

}  // namespace orvhost::port
