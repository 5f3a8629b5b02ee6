// PathText.cpp: the conversions through char8_t, which both platforms read as UTF-8.
#include "PathText.h"

namespace orvservice {

std::filesystem::path PathOfUtf8(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

std::string Utf8OfPath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

bool IsPlainFileName(const std::string& name) {
    if (name.empty() || name == "." || name == ".." ||
        name.find_first_of(std::string("/\\\0", 3)) != std::string::npos) {
        return false;
    }
    const std::filesystem::path path = PathOfUtf8(name);
    return path == path.filename();
}

bool IsFileIn(const std::filesystem::path& folder, const std::string& name) {
    std::error_code error;
    return std::filesystem::is_regular_file(folder / PathOfUtf8(name), error);
}

}  // namespace orvservice
