// ModuleFile.h: a module file as the host's loader sees it: loaded, its functions looked up, the
// path it was loaded from, and the names it exports. The platform's loader decides
// (ModuleFile_linux.cpp, ModuleFile_windows.cpp).
#pragma once

#include <set>
#include <string>

namespace modulefile {

// The loaded module, or null with the loader's reason in `error`.
void* Load(const std::string& path, std::string* error);
void* Function(void* module, const char* name);
void Unload(void* module);
// The path the loader gives for the loaded module, UTF-8, as the module reads it of itself.
std::string LoadedPath(void* module);
// The names of the functions the file exports; `error` says why they could not be read.
std::set<std::string> ExportedNames(const std::string& path, std::string* error);

}  // namespace modulefile
