// Demo.h: `orvhost demo`: the demo library of Brennerstein, copied into a working folder, served
// by the version service in-process, and opened twice, before and after the user's updates.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace orvhost {

int RunDemo(const std::vector<std::string>& arguments);

// Writes a ZIP archive of the files of `folder` (not its subfolders), at its root in name
// order, with the project's own ZIP library; throws std::exception when it cannot.
void BuildZipOfFolder(const std::filesystem::path& folder, const std::filesystem::path& archive);

}  // namespace orvhost
