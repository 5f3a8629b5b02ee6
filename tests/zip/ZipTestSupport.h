// ZipTestSupport.h: helpers shared by the ZIP library's tests: a temporary folder, shell
// commands, archives made by python3's zipfile module, and whole-file reads and writes.
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <map>
#include <string>

namespace ziptest {

// A fresh folder under the system temporary folder, removed with everything in it at the end.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::string& Path() const { return path; }
    // `name` below the folder, narrow (UTF-8) and wide.
    std::string At(const std::string& name) const { return path + "/" + name; }
    WString WideAt(const std::string& name) const;

private:
    std::string path;
};

// Runs `command` through the shell; its exit status, and what it printed (standard output and
// standard error together) in `output` when given.
// `text` in single quotes, for a shell command line.
inline std::string Quote(const std::string& text) { return "'" + text + "'"; }
int RunCommand(const std::string& command, std::string* output = nullptr);

// Runs a python3 program (ORV_PYTHON3) whose text is `script`; `archive` is its argument,
// readable as `sys.argv[1]` and as the variable `path`, with `zipfile` already imported.
// True when it exits with status 0; `output` receives what it printed.
bool RunPython(const std::string& script, const std::string& archive,
               std::string* output = nullptr);

// The whole file as bytes; empty when it cannot be read.
std::string ReadFileBytes(const std::string& path);
// Every regular file below `root`, by its path relative to `root`, with its bytes.
std::map<std::string, std::string> FilesBelow(const std::string& root);
// Writes `bytes` as the whole file; true on success.
bool WriteFileBytes(const std::string& path, const std::string& bytes);

// Text as wide text, and back.
WString Wide(const std::string& utf8);
std::string Narrow(const WString& wide);

}  // namespace ziptest
