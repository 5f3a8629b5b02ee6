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
// Whether `path` names a file the files folder serves: a plain name, or "FOLDER/NAME" of two plain
// names, so that a plain part keeps its own file name in a folder of its own; no step in the form
// of a Windows drive ("C:x"), on either platform. One level only: nothing deeper is published.
bool IsServedPath(const std::string& path);
// The last step of a served path: the name the file is downloaded under.
std::string LastStep(const std::string& path);
// Whether the served path `path` is a regular file in `folder`.
bool IsFileIn(const std::filesystem::path& folder, const std::string& path);

}  // namespace orvservice
