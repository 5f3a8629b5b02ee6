// EmulatorPort_windows.cpp: modules through LoadLibraryW, the project's files through the wide
// file calls, so that a Czech path reaches the system as it is.
#include "EmulatorPort.h"
#include "PathText.h"
#include "charcode/CharCode.h"
#include "emulator/Project.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <io.h>
#include <stdexcept>

namespace orvhost::port {

namespace {

// The system's text for an error code, without its line end, with `subject` (UTF-8) for the
// "%1" that some texts hold ("%1 is not a valid Win32 application.").
std::string SystemText(DWORD code, const std::string& subject) {
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    wchar_t* buffer = nullptr;
    const DWORD length =
        FormatMessageW(kFlags, nullptr, code, 0, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    std::string text;
    if (length > 0 && buffer != nullptr) {
        text = charcode::Utf16ToUtf8(
            std::u16string_view(reinterpret_cast<const char16_t*>(buffer), length));
    }
    if (buffer != nullptr) {
        LocalFree(buffer);
    }
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.pop_back();
    }
    for (size_t at = text.find("%1"); at != std::string::npos; at = text.find("%1", at)) {
        text.replace(at, 2, subject);
        at += subject.size();
    }
    return text.empty() ? "error " + std::to_string(code) : text;
}

// Closes the handle once, however the save ends.
class FileHandle {
public:
    explicit FileHandle(HANDLE handle) : handle(handle) {}
    ~FileHandle() { Close(); }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    HANDLE Get() const { return handle; }
    bool IsValid() const { return handle != INVALID_HANDLE_VALUE; }
    bool Close() {
        const HANDLE closing = handle;
        handle = INVALID_HANDLE_VALUE;
        return closing == INVALID_HANDLE_VALUE || CloseHandle(closing) != 0;
    }

private:
    HANDLE handle;
};

// A file beside `target` that no other file has, made empty and open for writing, its name in
// `name`: the name's suffix changes until the system makes the file anew. INVALID_HANDLE_VALUE,
// with the system's last error, when none can be made.
HANDLE CreateTemporaryBeside(const std::filesystem::path& target, std::filesystem::path& name) {
    static unsigned counter = 0;
    const unsigned seed = GetCurrentProcessId() * 2654435761u ^ GetTickCount();
    for (int attempt = 0; attempt < 1000; ++attempt) {
        wchar_t suffix[16];
        std::swprintf(suffix, 16, L".%08x", seed + ++counter);
        name = target;
        name += suffix;
        const HANDLE made = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        if (made != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS) {
            return made;
        }
    }
    return INVALID_HANDLE_VALUE;
}

}  // namespace

void* LoadModule(const std::string& path, std::string& error) {
    // The loader reads only backslashes as separators.
    const std::filesystem::path file = PathOfUtf8(path).make_preferred();
    HMODULE module = LoadLibraryW(file.c_str());
    if (module == nullptr) {
        const DWORD code = GetLastError();
        error = SystemText(code, Utf8Of(file.filename()));
    }
    return reinterpret_cast<void*>(module);
}

void* FindExport(void* module, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void UnloadModule(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

std::string ReadWholeFile(const std::filesystem::path& file) {
    const auto unreadable = [&file](DWORD error) {
        return ProjectError(Utf8Of(file) +
                            ": cannot be read: " + SystemText(error, Utf8Of(file.filename())));
    };
    FileHandle handle(CreateFileW(file.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle.IsValid()) {
        throw unreadable(GetLastError());
    }
    std::string content;
    char buffer[65536];
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(handle.Get(), buffer, sizeof buffer, &got, nullptr)) {
            throw unreadable(GetLastError());
        }
        if (got == 0) {
            break;
        }
        content.append(buffer, got);
    }
    return content;
}

void ReplaceFileAtomically(const std::filesystem::path& target, const std::string& content) {
    const auto failure = [&](const std::string& what, DWORD error) {
        return ProjectError("cannot save " + Utf8Of(target) + ": " + what + ": " +
                            SystemText(error, Utf8Of(target.filename())));
    };
    std::filesystem::path temporary;
    FileHandle file(CreateTemporaryBeside(target, temporary));
    if (!file.IsValid()) {
        const DWORD error = GetLastError();
        throw failure("cannot create a temporary file in " + Utf8Of(target.parent_path()), error);
    }
    // The step's words around the temporary file's name, put together once the system's error
    // is taken.
    const auto fail = [&](const char* step, const char* after = "") {
        const DWORD error = GetLastError();
        file.Close();
        DeleteFileW(temporary.c_str());
        return failure(step + Utf8Of(temporary) + after, error);
    };

    size_t written = 0;
    while (written < content.size()) {
        const DWORD chunk = static_cast<DWORD>(std::min<size_t>(content.size() - written, 1 << 20));
        DWORD put = 0;
        if (!WriteFile(file.Get(), content.data() + written, chunk, &put, nullptr)) {
            throw fail("cannot write ");
        }
        written += put;
    }
    if (!FlushFileBuffers(file.Get())) {
        throw fail("cannot flush ");
    }
    if (!file.Close()) {
        throw fail("cannot close ");
    }
    if (!MoveFileExW(temporary.c_str(), target.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        throw fail("cannot rename ", " over it");
    }
}

std::filesystem::path ProgramFolder() {
    wchar_t path[32768] = {};
    const DWORD length = GetModuleFileNameW(nullptr, path, 32768);
    return length == 0 || length >= 32768 ? std::filesystem::path()
                                          : std::filesystem::path(path).parent_path();
}

std::filesystem::path MakeTemporaryFolder(const std::string& prefix) {
    wchar_t base[MAX_PATH + 1] = {};
    if (GetTempPathW(MAX_PATH + 1, base) == 0) {
        throw std::runtime_error("cannot find the temporary folder");
    }
    // A name no folder has: CreateDirectoryW refuses one that exists.
    for (unsigned attempt = 0; attempt < 100; ++attempt) {
        const std::filesystem::path folder =
            std::filesystem::path(base) /
            PathOfUtf8(prefix + std::to_string(GetCurrentProcessId()) + "-" +
                       std::to_string(GetTickCount64() + attempt));
        if (CreateDirectoryW(folder.c_str(), nullptr)) {
            return folder;
        }
    }
    throw std::runtime_error("cannot make a working folder in the temporary folder");
}

bool ReadInputByte(char& byte) { return _read(0, &byte, 1) == 1; }

bool InputIsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

const char* const kAddOnFileName = "OrvUpdate.apx";

}  // namespace orvhost::port
