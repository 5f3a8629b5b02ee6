// TestFiles.h: what tests of every subsystem need around them: a temporary folder, whole-file
// reads and writes, and commands run through the shell.
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace testfiles {

// A fresh folder under the system temporary folder, removed with everything in it at the end.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path; }
    // `name` below the folder.
    std::string At(const std::string& name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
};

// The whole file as bytes; empty when it cannot be read.
std::string ReadFileBytes(const std::string& path);
// Writes `bytes` as the whole file, making missing folders; true on success.
bool WriteFileBytes(const std::string& path, const std::string& bytes);
// Every regular file below `root`, by its path relative to `root`, with its bytes.
std::map<std::string, std::string> FilesBelow(const std::string& root);

// A GDL library part that the add-on monitors: `check_url` and `uptodate` 0, nothing else.
std::string MonitoredPartXml(const std::string& checkUrl);

// `text` in single quotes, for a shell command line.
std::string Quote(const std::string& text);
// Runs `command` through the shell; its exit status, and what it printed (standard output and
// standard error together) in `output` when given.
int RunCommand(const std::string& command, std::string* output = nullptr);

}  // namespace testfiles
