// PathText.cpp: the conversions through char8_t, which both platforms read as UTF-8.
#include "PathText.h"

#include "Utf8Text.h"

#include <algorithm>

namespace orvservice {

std::filesystem::path PathOfUtf8(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

std::string Utf8OfPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

bool IsPlainFileName(const std::string& name) {
    // No "..", even within a name: the download route refuses every such name, so a catalog
    // must not offer one. No control character: none is a file name on Windows, and one would
    // break a header that quotes the name. UTF-8 only: no other name has a path on Windows.
    const bool control = std::any_of(name.begin(), name.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
    });
    if (name.empty() || name == "." || name.find("..") != std::string::npos ||
        name.find_first_of("/\\") != std::string::npos || control || !IsUtf8(name)) {
        return false;
    }
    const std::filesystem::path path = PathOfUtf8(name);
    return path == path.filename();
}

namespace {

// A step that Windows reads as a drive ("C:", "C:x") is refused on Linux too, where it would be a
// name, so that a catalog means the same on both.
bool IsServedStep(const std::string& step) {
    const bool drive = step.size() >= 2 && step[1] == ':' &&
                       ((step[0] >= 'A' && step[0] <= 'Z') || (step[0] >= 'a' && step[0] <= 'z'));
    return !drive && IsPlainFileName(step);
}

}  // namespace

bool IsServedPath(const std::string& path) {
    const std::size_t slash = path.find('/');
    if (slash == std::string::npos) {
        return IsServedStep(path);
    }
    return IsServedStep(path.substr(0, slash)) && IsServedStep(path.substr(slash + 1));
}

std::string LastStep(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool IsFileIn(const std::filesystem::path& folder, const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(folder / PathOfUtf8(path), error);
}

}  // namespace orvservice
