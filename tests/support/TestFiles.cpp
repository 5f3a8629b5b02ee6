// TestFiles.cpp: the helpers of TestFiles.h.
#include "TestFiles.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <stdexcept>
#include <utf8.h>

namespace testfiles {

namespace fs = std::filesystem;

fs::path PathOf(const std::string& utf8) {
    return fs::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string Utf8Of(const fs::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

TempFolder::TempFolder() : TempFolder(fs::temp_directory_path()) {}

TempFolder::TempFolder(const fs::path& parent) {
    // A name no folder has: made by this call, never one that was there (mkdtemp's promise).
    static thread_local std::mt19937_64 draw(std::random_device{}());
    constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = "orvtest-";
        for (int i = 0; i < 6; ++i) {
            name += kLetters[draw() % (sizeof kLetters - 1)];
        }
        std::error_code error;
        if (fs::create_directory(parent / name, error)) {
            path = parent / name;
            return;
        }
    }
    throw std::runtime_error("cannot make a temporary folder below " + parent.string());
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

std::string TempFolder::At(const std::string& name) const { return Utf8Of(path / PathOf(name)); }

std::u16string TempFolder::WidePath() const { return Wide(Utf8Of(path)); }

std::u16string TempFolder::WideAt(const std::string& name) const { return Wide(At(name)); }

std::string ReadFileBytes(const std::string& path) {
    std::ifstream file(PathOf(path), std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

std::string ReadFileText(const std::string& path) {
    std::ifstream file(PathOf(path));
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool WriteFileBytes(const std::string& path, const std::string& bytes) {
    std::error_code ignored;
    fs::create_directories(PathOf(path).parent_path(), ignored);
    std::ofstream file(PathOf(path), std::ios::binary | std::ios::trunc);
    file << bytes;
    return static_cast<bool>(file.flush());
}

bool Exists(const std::string& path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(PathOf(path), ignored));
}

bool MakeLink(const std::string& target, const std::string& link) {
    std::error_code error;
    fs::create_symlink(PathOf(target), PathOf(link), error);
    return !error;
}

std::vector<std::string> ListNames(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(PathOf(folder))) {
        names.push_back(Utf8Of(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::map<std::string, std::string> FilesBelow(const std::string& root) {
    std::map<std::string, std::string> files;
    std::error_code ignored;
    for (auto it = fs::recursive_directory_iterator(PathOf(root), ignored);
         it != fs::recursive_directory_iterator(); it.increment(ignored)) {
        if (it->is_regular_file(ignored) && !it->is_symlink(ignored)) {
            // "/" between folders on every platform, as the archives name them.
            const std::u8string name = fs::relative(it->path(), PathOf(root)).generic_u8string();
            files[std::string(name.begin(), name.end())] = ReadFileBytes(Utf8Of(it->path()));
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

std::string ProgramUnderTest(const char* variable, const std::string& built) {
    return OtherProgramUnderTest(variable) ? std::getenv(variable) : Quote(built);
}

bool OtherProgramUnderTest(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

}  // namespace testfiles
