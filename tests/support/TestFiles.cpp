// TestFiles.cpp: the helpers of TestFiles.h.
#include "TestFiles.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utf8.h>

namespace testfiles {

namespace fs = std::filesystem;

TempFolder::TempFolder() : TempFolder(fs::temp_directory_path()) {}

TempFolder::TempFolder(const fs::path& parent) {
    std::string pattern = (parent / "orvtest-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary folder below " + parent.string());
    }
    path = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    // A test may leave read-only folders behind; make them writable so everything goes.
    fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, ignored);
    for (auto it = fs::recursive_directory_iterator(path, ignored);
         it != fs::recursive_directory_iterator(); it.increment(ignored)) {
        if (it->is_directory(ignored) && !it->is_symlink(ignored)) {
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        }
    }
    fs::remove_all(path, ignored);
}

std::u16string TempFolder::WidePath() const { return Wide(path.string()); }

std::u16string TempFolder::WideAt(const std::string& name) const { return Wide(At(name)); }

std::string ReadFileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

bool WriteFileBytes(const std::string& path, const std::string& bytes) {
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    return static_cast<bool>(file.flush());
}

bool Exists(const std::string& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

std::vector<std::string> ListNames(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::map<std::string, std::string> FilesBelow(const std::string& root) {
    std::map<std::string, std::string> files;
    std::error_code ignored;
    for (auto it = fs::recursive_directory_iterator(root, ignored);
         it != fs::recursive_directory_iterator(); it.increment(ignored)) {
        if (it->is_regular_file(ignored) && !it->is_symlink(ignored)) {
            files[fs::relative(it->path(), root).string()] = ReadFileBytes(it->path().string());
        }
    }
    return files;
}

std::u16string Wide(const std::string& utf8) {
    std::u16string utf16;
    utf8::utf8to16(utf8.begin(), utf8.end(), std::back_inserter(utf16));
    return utf16;
}

std::string Narrow(const std::u16string& utf16) {
    std::string utf8;
    utf8::utf16to8(utf16.begin(), utf16.end(), std::back_inserter(utf8));
    return utf8;
}

std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

int RunCommand(const std::string& command, std::string* output) {
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        return -1;
    }
    std::array<char, 4096> buffer;
    std::string printed;
    for (std::size_t n; (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        printed.append(buffer.data(), n);
    }
    const int status = pclose(pipe);
    if (output != nullptr) {
        *output = printed;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int UnusedPort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) {
        throw std::runtime_error("no socket for a free port");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t size = sizeof address;
    const bool found = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    close(fd);
    if (!found) {
        throw std::runtime_error("no free port on 127.0.0.1");
    }
    return ntohs(address.sin_port);
}

}  // namespace testfiles
