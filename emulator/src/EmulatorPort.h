// EmulatorPort.h: what the emulator asks of the platform: loading a module the way the host
// loads an add-on, and reading and replacing the project's files. dlopen and POSIX files on
// Linux; LoadLibraryW and the wide file calls on Windows.
#pragma once

#include <filesystem>
#include <string>

namespace orvhost::port {

// The module at `path` (UTF-8), or null with the system's reason in `error`.
void* LoadModule(const std::string& path, std::string& error);
// The exported function `name` of a loaded module, or null.
void* FindExport(void* module, const char* name);
void UnloadModule(void* module);

// The whole file; throws ProjectError "FILE: cannot be read: REASON".
std::string ReadWholeFile(const std::filesystem::path& file);
// Writes `content` to a temporary file beside `target`, flushes it and renames it over
// `target`, so that a reader sees the old file or the new one; the temporary file goes when a
// step fails. Throws ProjectError "cannot save TARGET: STEP: REASON".
void ReplaceFileAtomically(const std::filesystem::path& target, const std::string& content);

}  // namespace orvhost::port
