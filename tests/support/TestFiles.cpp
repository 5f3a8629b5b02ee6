// TestFiles.cpp: the helpers of TestFiles.h.
#include "TestFiles.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

namespace testfiles {

namespace fs = std::filesystem;

TempFolder::TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "orvtest-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a temporary folder");
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

std::string MonitoredPartXml(const std::string& checkUrl) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<Symbol>
  <ParamSection>
    <Parameters>
      <String Name="check_url"><Value><![CDATA[")" +
           checkUrl + R"("]]></Value></String>
      <RealNum Name="uptodate"><Value>0</Value></RealNum>
    </Parameters>
  </ParamSection>
</Symbol>
)";
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

}  // namespace testfiles
