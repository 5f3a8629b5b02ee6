// FileUtils.cpp: the file, folder and module operations of CUtils.
//
// The algorithms are the platform-neutral part; each machine call goes through
// utils_platforms/Platform.h. Failures are results (false, empty text, an empty list) with a log
// entry where one is named. The two guards stop the process before a near-empty path can reach a
// delete or a listing.
#include "UtilsLog.h"
#include "common/CUtils.h"
#include "common/PlatformHooks.h"
#include "utils_platforms/Platform.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <new>
#include <utf8.h>

namespace {

constexpr char16_t kPathSeparators[] = u"\\/";
// Temporary files live in this subfolder of the system's temporary folder (one per user where
// users share that folder).
constexpr char16_t kTempSubfolder[] = u"Orvanta";
constexpr int32_t kTempFileAttempts = 10;
constexpr int32_t kRandomPrefixLength = 16;
// Paths shorter than this (a drive root, a bare drive, nothing) never reach a delete or a listing.
constexpr size_t kShortestGuardedPath = 4;

WString& ModulePathOverride() {
    // Never destroyed: the logger asks for the module path from late destructors too. It lives in
    // static storage rather than on the heap, so that a module unloaded before the process ends
    // leaves nothing behind.
    alignas(WString) static unsigned char storage[sizeof(WString)];
    static WString* path = new (storage) WString();
    return *path;
}

// Stops the process: a log entry where the caller has one, an alert, then at once with `status`.
[[noreturn]] void StopAtGuard(const char* refusal, const WString& path, int status) {
    const WString text = CUtils::StringUTF8ToWstring(refusal) + path + u".\n Aborted.";
    CUtils::ShowMessageBox(nullptr, u"Alert", text, 12);
    platform::StopProcess(status);
}

size_t LastSeparator(const WString& path) { return path.find_last_of(kPathSeparators); }

// The add-on's temporary folder, ending in a separator.
WString TempFolderPath() {
    return platform::TempPath() + platform::UserTempSubfolder(kTempSubfolder) +
           CUtils::GetPathSeparator();
}

// Makes the temporary folder when it is missing. False, with a log entry, when it is no folder
// that temporary files are safe in: one that another user made, or can enter, or a link.
bool MakeTempFolder(const WString& folder) {
    CUtils::CreateDirectories(platform::TempPath(), false);
    if (platform::MakePrivateFolder(folder)) {
        return true;
    }
    const MessageArg refused(&folder);
    LogUtils(true, "CUtils::GetTempDirectory",
             FormattedMessage("Temporary folder refused, not a private folder of this user: {0}",
                              refused));
    return false;
}

std::vector<WString> ListEntries(const WString& directory, bool folders) {
    std::vector<WString> result;
    for (const platform::FolderEntry& entry : platform::ListFolder(directory)) {
        // Drops "." and "..", and every other name with that first letter too.
        if (entry.name.empty() || entry.name.front() == u'.' || entry.isFolder != folders) {
            continue;
        }
        result.push_back(directory + CUtils::GetPathSeparator() + entry.name);
    }
    return result;
}

}  // namespace

bool CUtils::CreateDirectories(WString path, bool stripFileName) {
    if (path.empty()) {
        const MessageArg given(&path);
        LogUtils(true, "CUtils::CreateDirectories",
                 FormattedMessage("CUtils::CreateDirectories invalid path: {0}", given));
        return false;
    }
    if (stripFileName) {
        const size_t last = LastSeparator(path);
        if (last != WString::npos) {
            return CreateDirectories(path.substr(0, last), false);
        }
    }
    if (platform::IsFolder(path)) {
        return true;
    }
    // The folder call answers only 0 or 1, so these comparisons never hold: a failure to make a
    // folder is not reported here, and callers rely on that; they learn of it at their next step.
    constexpr int32_t kNeverAnswered = 3;
    for (size_t i = 1; i < path.size(); ++i) {
        if (IsPathSeparator(path[i]) && platform::MakeFolder(path.substr(0, i)) == kNeverAnswered) {
            return false;
        }
    }
    if (platform::MakeFolder(path) == kNeverAnswered) {
        return false;
    }
    return true;
}

WString CUtils::GetTempDirectory() {
    const WString folder = TempFolderPath();
    return MakeTempFolder(folder) ? folder : WString();
}

WString CUtils::CreateTempFileOV(WString nameHint) {
    const WString folder = TempFolderPath();
    const size_t last = LastSeparator(nameHint);
    const WString name = last == WString::npos ? nameHint : nameHint.substr(last + 1);
    WString candidate = folder + name;
    const MessageArg tried(&candidate);
    if (!MakeTempFolder(folder)) {
        LogUtils(true, "CUtils::CreateTempFileOV",
                 FormattedMessage("Failed to create temp file: {0}", tried));
        return WString();
    }
    // A link takes its name, even one that leads nowhere, so the file is never made through one.
    // The counter alone decides below, so a tenth random name that is free still counts as out
    // of attempts: at most nine random names can succeed.
    int32_t attempts = kTempFileAttempts;
    while (platform::EntryExists(candidate)) {
        if (attempts-- < 1) {
            break;
        }
        candidate = folder + RandomWstring(kRandomPrefixLength, 0) + name;
    }
    if (attempts <= 0) {
        LogUtils(true, "CUtils::CreateTempFileOV",
                 FormattedMessage("Failed to create temp file, out of attempts: {0}", tried));
        return WString();
    }
    // Made anew, so that nothing that took the name since stands in for the file.
    if (!platform::MakeNewFile(candidate)) {
        LogUtils(true, "CUtils::CreateTempFileOV",
                 FormattedMessage("Failed to create temp file: {0}", tried));
        return WString();
    }
    return candidate;
}

bool CUtils::RemoveDirectoryOV(WString path, bool removeContents, bool recursive,
                               bool keepDirectory) {
    if (path.size() < kShortestGuardedPath) {
        const MessageArg given(&path);
        LogUtils(true, "CUtils::RemoveDirectoryOV",
                 FormattedMessage("CUtils::RemoveDirectoryOV invalid directory: \"{0}\"", given));
        StopAtGuard("ERROR: RemoveDirectoryOV tried to delete the directory ", path, 18);
    }
    if (removeContents) {
        if (recursive) {
            for (const WString& folder : GetSubdirectoriesInDirectory(path)) {
                RemoveDirectoryOV(folder, true, true, false);
            }
        }
        for (const WString& file : GetFilesInDirectory(path)) {
            DeleteFileOV(file);
        }
    }
    if (!keepDirectory) {
        platform::RemoveEmptyFolder(path);
    }
    return true;
}

bool CUtils::RenameFileOV(const WString& from, const WString& to, bool overwrite) {
    const char* label = "CUtils::RenameFileOV";
    const MessageArg source(&from);
    const MessageArg target(&to);
    if (!FileExists(from) && !IsDirectory(from)) {
        LogUtils(true, label,
                 FormattedMessage("Rename from \"{0}\" to \"{1}\", from doesn't exists", source,
                                  target));
        return false;
    }
    // FileExists holds for a folder too, so a folder target takes this branch and fails at the
    // delete; the order of the two conditions is kept.
    if (FileExists(to)) {
        LogUtils(false, label,
                 FormattedMessage("Rename from \"{0}\" to \"{1}\", target is already existing file",
                                  source, target));
        if (!overwrite) {
            return false;
        }
        if (!DeleteFileOV(to)) {
            LogUtils(true, label,
                     FormattedMessage("Failed to delete rename target file \"{0}\"", target));
            return false;
        }
    } else if (IsDirectory(to)) {
        LogUtils(false, label,
                 FormattedMessage("Rename from \"{0}\" to \"{1}\", target is already existing dir",
                                  source, target));
        if (!overwrite) {
            return false;
        }
        if (!RemoveDirectoryOV(to, true, true, false)) {
            LogUtils(true, label,
                     FormattedMessage("Failed to delete rename target directory \"{0}\"", target));
            return false;
        }
    }
    const int32_t result = platform::Rename(from, to);
    if (result != 0) {
        const MessageArg error(result);
        LogUtils(true, label,
                 FormattedMessage("Rename from \"{0}\" to \"{1}\" failed, err: {2}", source, target,
                                  error));
        return false;
    }
    return true;
}

bool CUtils::ReplaceFileOV(const WString& from, const WString& to) {
    // Unlike RenameFileOV, nothing is deleted first: a failure leaves the old file in place.
    const int32_t result = platform::ReplaceFile(from, to);
    if (result == 0) {
        return true;
    }
    const MessageArg source(&from);
    const MessageArg target(&to);
    const MessageArg error(result);
    LogUtils(
        true, "CUtils::ReplaceFileOV",
        FormattedMessage("Replacing \"{1}\" by \"{0}\" failed, err: {2}", source, target, error));
    return false;
}

std::vector<WString> CUtils::GetSubdirectoriesInDirectory(const WString& directory) {
    if (directory.size() < kShortestGuardedPath) {
        StopAtGuard("ERROR: GetSubdirectoriesInDirectory tried to obtain the directory ", directory,
                    17);
    }
    return ListEntries(directory, true);
}

std::vector<WString> CUtils::GetFilesInDirectory(const WString& directory) {
    std::vector<WString> files = ListEntries(directory, false);
    std::sort(files.begin(), files.end());
    return files;
}

bool CUtils::DeleteFileOV(WString path) { return platform::DeleteFile(path); }

bool CUtils::FileExists(const WString& path) { return platform::PathExists(path); }

bool CUtils::IsDirectory(WString path) { return platform::IsFolder(path); }

WString CUtils::GetFileName(const WString& path) {
    const size_t last = LastSeparator(path);
    return last == WString::npos ? WString() : path.substr(last + 1);
}

WString CUtils::GetPathSeparators() { return kPathSeparators; }

WString CUtils::GetPathSeparator() { return WString(1, platform::kPathSeparator); }

bool CUtils::IsPathSeparator(char16_t c) { return c == u'/' || c == u'\\'; }

std::filesystem::path CUtils::ToFileSystemPath(const WString& path) {
    const std::string utf8 = WstringToStringUTF8(path);
    // A path the system cannot name exactly (a lone surrogate cuts the conversion short, a null
    // character cuts the system's reading short) would name its own prefix, another file. It
    // becomes the empty path, which every file call refuses.
    if (utf8.find('\0') != std::string::npos || StringUTF8ToWstring(utf8) != path) {
        return std::filesystem::path();
    }
    return std::filesystem::path(path);
}

bool CUtils::TouchFile(WString path) {
    {
        std::ofstream file(ToFileSystemPath(path), std::ios::out);
        file << "";
    }
    return FileExists(path);
}

bool CUtils::WriteStringToFile(const WString& path, const std::string& bytes, bool append) {
    const std::ios::openmode mode =
        std::ios::out | std::ios::binary | (append ? std::ios::app : std::ios::openmode());
    std::ofstream file(ToFileSystemPath(path), mode);
    if (!file.good()) {
        return false;
    }
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return true;
}

bool CUtils::AppendStringToFile(const WString& path, const std::string& text) {
    std::ofstream file(ToFileSystemPath(path), std::ios::out | std::ios::app);
    if (!file) {
        return false;
    }
    file << text;
    file.flush();
    return !file.fail();
}

WString CUtils::ReadTextFile(const WString& path) {
    std::ifstream file(ToFileSystemPath(path), std::ios::in | std::ios::binary);
    if (!file.good()) {
        return WString();
    }
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    // A wide stream's conversion stops quietly at the first bytes that are not UTF-8; so does
    // this, and the text in front of them is the content.
    WString text;
    try {
        utf8::utf8to16(bytes.begin(), bytes.end(), std::back_inserter(text));
    } catch (const utf8::exception&) {
    }
    return text;
}

WString CUtils::GetModulePath() {
    const WString& path = ModulePathOverride();
    return path.empty() ? platform::ModuleFileName() : path;
}

WString CUtils::GetModuleDirectory() {
    const WString path = GetModulePath();
    return path.substr(0, LastSeparator(path));
}

void CUtils::SetModulePathOverride(const WString& path) { ModulePathOverride() = path; }

uint64_t CUtils::GetTimeMicroseconds() {
    const auto clock = GetPlatformHooks().clock;
    return clock != nullptr ? clock() : platform::SystemTimeMicroseconds();
}

void CUtils::ShowMessageBox(void* owner, WString caption, WString text, uint32_t flags) {
    uint32_t type = kMessageBoxOk;
    if (flags & 2) {
        type |= kMessageBoxIconInformation;
    }
    if (flags & 8) {
        type |= kMessageBoxIconWarning;
    }
    const auto messageBox = GetPlatformHooks().messageBox;
    if (messageBox != nullptr) {
        messageBox(owner, caption, text, type);
    } else {
        platform::MessageBox(owner, caption, text, type);
    }
}
