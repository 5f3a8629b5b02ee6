// Platform_windows.cpp: the runtime's machine calls on Windows (KERNEL32, SHLWAPI, USER32).
//
// Paths reach the system as wide text, unchanged: UTF-16 is the system's own form. The
// temporary folder is the user's own, so the add-on's folder below it needs no user id. The
// command line (common/CommandLine.h) is read in wide text too (SHELL32).
#include "Platform.h"
#include "common/CUtils.h"
#include "common/CommandLine.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <shellapi.h>
#include <shlwapi.h>
#include <string>

// windows.h names these macros for its A and W forms; here they are the platform's own names.
#undef DeleteFile
#undef MessageBox
#undef ReplaceFile

namespace platform {

namespace {

// Seconds from 1601-01-01 to 1970-01-01, the two epochs' distance.
constexpr uint64_t kEpochDistanceSeconds = 11644473600ull;
constexpr DWORD kTempPathLength = 255;
constexpr DWORD kModulePathLength = 1024;

// The path as the system takes it; a path that it cannot name exactly becomes the empty path,
// which every call refuses (CUtils::ToFileSystemPath decides).
std::wstring Native(const WString& path) { return CUtils::ToFileSystemPath(path).wstring(); }

WString FromNative(const wchar_t* text) { return WString(reinterpret_cast<const char16_t*>(text)); }

DWORD Attributes(const WString& path) { return ::GetFileAttributesW(Native(path).c_str()); }

}  // namespace

bool PathExists(const WString& path) { return ::PathFileExistsW(Native(path).c_str()) != FALSE; }

bool IsFolder(const WString& path) {
    const DWORD attributes = Attributes(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

int32_t MakeFolder(const WString& path) {
    return ::CreateDirectoryW(Native(path).c_str(), nullptr) != FALSE ? 1 : 0;
}

bool RemoveEmptyFolder(const WString& path) {
    return ::RemoveDirectoryW(Native(path).c_str()) != FALSE;
}

bool DeleteFile(const WString& path) { return ::DeleteFileW(Native(path).c_str()) != FALSE; }

std::vector<FolderEntry> ListFolder(const WString& path) {
    std::vector<FolderEntry> entries;
    std::wstring pattern = Native(path);
    if (pattern.empty()) {
        return entries;
    }
    pattern += L"\\*";
    WIN32_FIND_DATAW found{};
    const HANDLE search = ::FindFirstFileW(pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return entries;
    }
    do {
        // A link (a reparse point) is never a folder here, so that a walk never leaves the tree.
        const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                              (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
        entries.push_back({FromNative(found.cFileName), isFolder});
    } while (::FindNextFileW(search, &found) != FALSE);
    ::FindClose(search);
    return entries;
}

int32_t Rename(const WString& from, const WString& to) {
    // _wrename moves a file to another volume by a copy, and a folder only within its volume.
    return ::_wrename(Native(from).c_str(), Native(to).c_str()) == 0 ? 0 : -1;
}

int32_t ReplaceFile(const WString& from, const WString& to) {
    const DWORD flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH;
    if (::MoveFileExW(Native(from).c_str(), Native(to).c_str(), flags) != FALSE) {
        return 0;
    }
    const DWORD error = ::GetLastError();
    return error != 0 ? static_cast<int32_t>(error) : ERROR_GEN_FAILURE;
}

WString TempPath() {
    wchar_t buffer[kTempPathLength + 1] = {};
    const DWORD length = ::GetTempPathW(kTempPathLength, buffer);
    if (length == 0 || length > kTempPathLength) {
        return u"C:\\Windows\\Temp\\";
    }
    WString folder = FromNative(buffer);
    if (folder.back() != u'\\' && folder.back() != u'/') {
        folder += u'\\';
    }
    return folder;
}

WString UserTempSubfolder(const WString& name) { return name; }

bool MakePrivateFolder(const WString& path) {
    std::wstring folder = Native(path);
    while (folder.size() > 3 && (folder.back() == L'\\' || folder.back() == L'/')) {
        folder.pop_back();
    }
    if (folder.empty()) {
        return false;
    }
    ::CreateDirectoryW(folder.c_str(), nullptr);
    // The user's temporary folder keeps others out; what is judged is that a real folder, not a
    // link to somewhere else, stands here.
    const DWORD attributes = ::GetFileAttributesW(folder.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
           (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

bool EntryExists(const WString& path) { return Attributes(path) != INVALID_FILE_ATTRIBUTES; }

bool MakeNewFile(const WString& path) {
    // CREATE_NEW fails on any entry there, a link included.
    const HANDLE file = ::CreateFileW(Native(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return false;
    }
    ::CloseHandle(file);
    return true;
}

WString ModuleFileName() {
    static const int anchor = 0;  // an address inside this module
    HMODULE module = nullptr;
    if (::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                 GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                             reinterpret_cast<LPCSTR>(&anchor), &module) == FALSE) {
        std::fprintf(stderr, "GetModuleHandle returned %d\n", static_cast<int>(::GetLastError()));
        module = nullptr;  // the host's own file
    }
    wchar_t buffer[kModulePathLength] = {};
    const DWORD length = ::GetModuleFileNameW(module, buffer, kModulePathLength);
    return WString(reinterpret_cast<const char16_t*>(buffer), length);
}

uint64_t SystemTimeMicroseconds() {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    const uint64_t ticks = (static_cast<uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
    return ticks / 10u;
}

std::tm LocalTime(uint64_t microseconds) {
    const __time64_t seconds = static_cast<__time64_t>(microseconds / 1000000ull) -
                               static_cast<__time64_t>(kEpochDistanceSeconds);
    std::tm local{};
    ::_localtime64_s(&local, &seconds);
    return local;
}

WString SystemMessage(int32_t code) {
    constexpr DWORD kFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                             FORMAT_MESSAGE_IGNORE_INSERTS;  // 0x1300
    constexpr DWORD kUsEnglish = 1033;
    wchar_t* buffer = nullptr;
    const DWORD length = ::FormatMessageW(kFlags, nullptr, static_cast<DWORD>(code), kUsEnglish,
                                          reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    WString text;
    if (length > 0 && buffer != nullptr) {
        text.assign(reinterpret_cast<const char16_t*>(buffer), length);
    }
    if (buffer != nullptr) {
        ::LocalFree(buffer);
    }
    return text;
}

void MessageBox(void* owner, const WString& caption, const WString& text, uint32_t type) {
    ::MessageBoxW(static_cast<HWND>(owner), reinterpret_cast<LPCWSTR>(text.c_str()),
                  reinterpret_cast<LPCWSTR>(caption.c_str()), type);
}

void DebugOutput(const WString& text) {
    ::OutputDebugStringW(reinterpret_cast<LPCWSTR>(text.c_str()));
}

uint32_t WalkStack(void** stack, uint32_t capacity) {
    DWORD ignored = 0;
    const WORD depth = ::RtlCaptureStackBackTrace(0, capacity, stack, &ignored);
    // An empty entry is where the walk lost the stack (wine's, past its own start): the frames end
    // there.
    WORD count = 0;
    while (count < depth && stack[count] != nullptr) {
        ++count;
    }
    return count;
}

void StopProcess(int status) {
    // As immediate as the host's fault: no exit handler, no static destructor, no DLL detach.
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(status));
    std::_Exit(status);
}

}  // namespace platform

namespace {

// Without WC_ERR_INVALID_CHARS a lone surrogate becomes U+FFFD instead of failing the conversion.
std::string Utf8Of(const wchar_t* text) {
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return std::string();
    }
    std::string utf8(static_cast<size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
    utf8.pop_back();  // the terminator
    return utf8;
}

}  // namespace

// The narrow argv is in the ANSI code page, which loses what it has no character for (a Czech
// path under a Western European code page): the wide command line has every character.
std::vector<std::string> Utf8Arguments(int, char**) {
    std::vector<std::string> arguments;
    int count = 0;
    wchar_t** wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    for (int i = 0; wide != nullptr && i < count; ++i) {
        arguments.push_back(Utf8Of(wide[i]));
    }
    ::LocalFree(wide);
    return arguments;
}
