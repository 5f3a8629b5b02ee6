// PathText.h: paths as UTF-8 text and back. The narrow text of std::filesystem is the ANSI code
// page on Windows, which loses a Czech name; the emulator's messages, project.json and the host's
// wide text are UTF-8 on every platform.
#pragma once

#include <filesystem>
#include <string>

namespace orvhost {

inline std::string Utf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return std::string(text.begin(), text.end());
}

inline std::string GenericUtf8Of(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return std::string(text.begin(), text.end());
}

inline std::filesystem::path PathOfUtf8(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

}  // namespace orvhost
