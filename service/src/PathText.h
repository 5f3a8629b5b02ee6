// PathText.h: paths to and from UTF-8, the form of the catalog's names, of a request's target and
// of the service's messages. A narrow path would be read in the ANSI code page on Windows.
#pragma once

#include <filesystem>
#include <string>

namespace orvservice {

std::filesystem::path PathOfUtf8(const std::string& text);
std::string Utf8OfPath(const std::filesystem::path& path);

// Whether `name` stands for one entry directly in a folder, on either platform: UTF-8 without a
// separator, "..", or control character, and nothing that the system reads as a drive ("C:x" on
// Windows).
bool IsPlainFileName(const std::string& name);
// Whether the plain name `name` is a regular file in `folder`.
bool IsFileIn(const std::filesystem::path& folder, const std::string& name);

}  // namespace orvservice
