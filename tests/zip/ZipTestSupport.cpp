// ZipTestSupport.cpp: helpers shared by the ZIP library's tests.
#include "ZipTestSupport.h"

#include "common/CUtils.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace ziptest {

TempFolder::TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "orvziptest-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder");
    path = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

WString TempFolder::WideAt(const std::string& name) const { return Wide(At(name)); }

int RunCommand(const std::string& command, std::string* output) {
    std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr)
        return -1;
    std::array<char, 4096> chunk{};
    std::string collected;
    size_t got = 0;
    while ((got = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0)
        collected.append(chunk.data(), got);
    const int status = ::pclose(pipe);
    if (output != nullptr)
        *output = collected;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool RunPython(const std::string& script, const std::string& archive, std::string* output) {
    // The program goes through a file beside the archive, so that no quoting is needed.
    const std::string programPath = archive + ".py";
    const std::string program =
        "import sys, zipfile, warnings\nwarnings.simplefilter('ignore')\npath = sys.argv[1]\n" +
        script + "\n";
    if (!WriteFileBytes(programPath, program))
        return false;
    const int status =
        RunCommand(std::string(ORV_PYTHON3) + " '" + programPath + "' '" + archive + "'", output);
    std::error_code ignored;
    fs::remove(programPath, ignored);
    return status == 0;
}

std::string ReadFileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool WriteFileBytes(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

WString Wide(const std::string& utf8) { return CUtils::StringUTF8ToWstring(utf8); }

std::string Narrow(const WString& wide) { return CUtils::WstringToStringUTF8(wide); }

std::map<std::string, std::string> FilesBelow(const std::string& root) {
    std::map<std::string, std::string> files;
    if (!std::filesystem::is_directory(root))
        return files;
    for (const auto& item : std::filesystem::recursive_directory_iterator(root)) {
        if (item.is_regular_file())
            files[std::filesystem::relative(item.path(), root).string()] =
                ReadFileBytes(item.path().string());
    }
    return files;
}

}  // namespace ziptest
