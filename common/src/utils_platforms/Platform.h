// Platform.h: the machine's calls that the common runtime needs, one small function each.
//
// The runtime's algorithms (src/utils, the logger, the exceptions) are written once over these;
// a platform gives one file that implements them (Platform_linux.cpp, Platform_windows.cpp). Paths
// are wide text, converted at this boundary.
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace platform {

#ifdef _WIN32
constexpr char16_t kPathSeparator = u'\\';
#else
constexpr char16_t kPathSeparator = u'/';
#endif

bool PathExists(const WString& path);
bool IsFolder(const WString& path);
// Makes one folder: 1 when it was made, 0 when not (the host's own call answers that way).
int32_t MakeFolder(const WString& path);
bool RemoveEmptyFolder(const WString& path);
bool DeleteFile(const WString& path);

struct FolderEntry {
    WString name;
    bool isFolder;
};
// The entries of a folder in the file system's order, "." and ".." included; empty when the
// folder cannot be read. A link is never a folder, and a name with no wide form is left out.
std::vector<FolderEntry> ListFolder(const WString& path);

// 0 on success, -1 on failure. A file moves across file systems: copied, flushed, then removed.
int32_t Rename(const WString& from, const WString& to);
// Puts the file `from` in the place of `to` in one step that replaces a file there: until it
// succeeds `to` is the old file, whole. From another file system the file is copied beside `to`
// first. 0 on success, else the system's error number. (On the host's platform: MoveFileExW
// with MOVEFILE_REPLACE_EXISTING and MOVEFILE_COPY_ALLOWED.)
int32_t ReplaceFile(const WString& from, const WString& to);

// The system temporary folder, ending in a separator.
WString TempPath();
// The name of the add-on's folder `name` below TempPath for this user. Where every user shares
// the temporary folder (Linux: /tmp), the user id is added, so that each has a folder of their
// own; where each user has their own, it is `name` itself.
WString UserTempSubfolder(const WString& name);
// Makes the folder `path` when it is missing, for this user alone; true when it stands as a folder
// that temporary files are safe in. On Linux that is a real folder, not a link, owned by this
// user, with mode 0700: a folder someone else made or can enter is refused as it is.
bool MakePrivateFolder(const WString& path);
// True when any entry stands at `path`, a link that leads nowhere included.
bool EntryExists(const WString& path);
// Makes `path` as a new empty file: never over an existing entry and never through a link.
bool MakeNewFile(const WString& path);
// The full path of the module this code is linked into.
WString ModuleFileName();

uint64_t SystemTimeMicroseconds();
// Local calendar time of a time in microseconds since 1601-01-01 UTC.
std::tm LocalTime(uint64_t microseconds);

// The system message table's words for `code` (FormatMessageW, US English, unaltered, its line
// end included), or nothing where the platform has no such table (Linux).
WString SystemMessage(int32_t code);

void MessageBox(void* owner, const WString& caption, const WString& text, uint32_t type);
void DebugOutput(const WString& text);

// The return addresses of the calling thread's stack, innermost first, up to `capacity`: the
// platform's walk, its own frames included; it ends where the walk lost the stack.
uint32_t WalkStack(void** stack, uint32_t capacity);
// Fills up to `limit` return addresses, innermost first, after skipping `skip` frames of the
// caller's stack; gives their count and a 32-bit hash of them.
uint16_t CaptureStack(uint32_t skip, uint32_t limit, void** frames, uint32_t* hash);

// Stops the process at a guard at once, with `status` as its exit status: no exit handler and no
// destructor of the process runs any more.
[[noreturn]] void StopProcess(int status);

}  // namespace platform
