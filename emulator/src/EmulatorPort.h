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

// The folder of the running program; empty when the system does not say.
std::filesystem::path ProgramFolder();
// A new folder of its own below the system's temporary folder, its name starting with `prefix`.
// Throws std::runtime_error when none can be made.
std::filesystem::path MakeTemporaryFolder(const std::string& prefix);
// One byte of standard input, unbuffered, so that nothing meant for a later reader is taken
// along; false at its end.
bool ReadInputByte(char& byte);
// Whether standard input is a terminal (a console on Windows), where a user can answer.
bool InputIsTerminal();
// The add-on module's file name on this platform.
extern const char* const kAddOnFileName;

}  // namespace orvhost::port
