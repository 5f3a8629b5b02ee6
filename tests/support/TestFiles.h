// TestFiles.h: what tests of every subsystem need around them: a temporary folder, whole-file
// reads and writes, UTF-8 and UTF-16 text, commands run through the shell and a free port.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace testfiles {

// A fresh folder, removed with everything in it at the end. Its paths come as the runtime takes
// them too: wide text is UTF-16 (the runtime's WString).
class TempFolder {
public:
    // Below the system's temporary folder: TMPDIR when it is set.
    TempFolder();
    // Below `parent`, for a folder on another file system than the temporary folder's.
    explicit TempFolder(const std::filesystem::path& parent);
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path; }
    // `name` below the folder.
    std::string At(const std::string& name) const;
    std::u16string WidePath() const;
    std::u16string WideAt(const std::string& name) const;

private:
    std::filesystem::path path;
};

// Paths in these helpers are UTF-8 text; these give the file system's path of one and back (on
// Windows a narrow path would be read in the ANSI code page).
std::filesystem::path PathOf(const std::string& utf8);
std::string Utf8Of(const std::filesystem::path& path);

// The whole file as bytes; empty when it cannot be read.
std::string ReadFileBytes(const std::string& path);
// The whole file read as text: the platform's line end ("\r\n" on Windows) becomes "\n". For the
// files that are written as text (the log, the conversion failures).
std::string ReadFileText(const std::string& path);
// Writes `bytes` as the whole file, making missing folders; true on success.
bool WriteFileBytes(const std::string& path, const std::string& bytes);
// Whether anything stands at `path`; a link counts, even one to nothing.
bool Exists(const std::string& path);
// Makes `link` a symbolic link to `target`; false when it cannot be made.
bool MakeLink(const std::string& target, const std::string& link);
// The names directly in `folder`, sorted.
std::vector<std::string> ListNames(const std::string& folder);
// Every regular file below `root`, by its path relative to `root`, with its bytes.
std::map<std::string, std::string> FilesBelow(const std::string& root);

// UTF-8 text as UTF-16, and back; text that is not valid throws.
std::u16string Wide(const std::string& utf8);
std::string Narrow(const std::u16string& utf16);

// `text` in single quotes, for a shell command line.
std::string Quote(const std::string& text);
// Runs `command` through the shell; its exit status, and what it printed (standard output and
// standard error together) in `output` when given. Windows programs have no shell of the Linux
// tools: there it gives -1 and says so in `output`.
int RunCommand(const std::string& command, std::string* output = nullptr);

// The shell command that starts a program under test: what the environment variable `variable`
// holds, or else `built` (this build's own, quoted). test.sh puts the Windows build's programs
// there, run under wine, so that the same Linux tests play against both builds.
std::string ProgramUnderTest(const char* variable, const std::string& built);
// Whether `variable` names a program in place of this build's own.
bool OtherProgramUnderTest(const char* variable);

// Whether this program can run the Linux tools (unzip, 7z, python3) that some tests check their
// results with as well: a Windows program cannot. Such a test checks the rest on both platforms.
#ifdef _WIN32
inline constexpr bool kLinuxTools = false;
#else
inline constexpr bool kLinuxTools = true;
#endif

// True in a Windows program that runs under wine rather than on Windows.
bool RunningUnderWine();

// From now on this thread's system message boxes answer themselves with OK, each written to
// standard error as "CAPTION: TEXT" and a line end, the Linux build's alert line; on Linux, where
// the alert is that line already, nothing. For a child of a death test that alerts before it
// stops, which would otherwise wait for a user.
void AnswerSystemAlerts();

// A port on 127.0.0.1 that was free a moment ago: bound and closed again, so nothing listens.
int UnusedPort();

}  // namespace testfiles
