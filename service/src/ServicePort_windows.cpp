// ServicePort_windows.cpp: the listening socket kept to this service, Ctrl+C and its kin taken by
// a console control handler, and durable writes through FlushFileBuffers and MoveFileExW.
#include "ServicePort.h"

// Without the older winsock.h, which windows.h would bring ahead of winsock2.h.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <winsock2.h>

namespace serviceport {

namespace {

std::string SystemReason() {
    return std::system_category().message(static_cast<int>(GetLastError()));
}

std::mutex stopMutex;
std::condition_variable stopChanged;
bool stopRequested = false;

BOOL WINAPI OnConsoleControl(DWORD event) {
    {
        const std::lock_guard<std::mutex> lock(stopMutex);
        stopRequested = true;
    }
    stopChanged.notify_all();
    // The system ends the process once the handler of a closing console returns; waiting here
    // lets the main thread stop the service first, and the return from main ends the process.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(INFINITE);
    }
    return TRUE;
}

}  // namespace

// Windows' SO_REUSEADDR would let a second service take the port from the first.
void KeepAddressToOneService(Socket socket) {
    const BOOL on = TRUE;
    setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on),
               sizeof on);
}

// Sockets are handles, inheritable unless said otherwise.
void KeepFromChildren(Socket socket) {
    SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
}

// A write to a closed connection fails with an error; there is no signal to ignore.
void SurviveHungUpPeers() {}

// A changed catalog file is taken by the service's own watch; there is no signal for it.
void CatchRequests() { SetConsoleCtrlHandler(OnConsoleControl, TRUE); }

Request WaitForRequest() {
    std::unique_lock<std::mutex> lock(stopMutex);
    stopChanged.wait(lock, [] { return stopRequested; });
    return Request::Stop;
}

bool WriteNewFile(const std::filesystem::path& path, const std::string& bytes,
                  std::string& reason) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        reason = SystemReason();
        return false;
    }
    std::size_t written = 0;
    bool ok = true;
    while (ok && written < bytes.size()) {
        const DWORD chunk =
            static_cast<DWORD>(std::min<std::size_t>(bytes.size() - written, 1u << 30));
        DWORD count = 0;
        ok = WriteFile(file, bytes.data() + written, chunk, &count, nullptr) != 0 && count > 0;
        written += count;
    }
    // NTFS journals the folder's entry itself; the file's data needs the flush.
    ok = ok && FlushFileBuffers(file) != 0;
    if (!ok) {
        reason = SystemReason();
    }
    CloseHandle(file);
    if (!ok) {
        DeleteFileW(path.c_str());
    }
    return ok;
}

bool MakeNewFolder(const std::filesystem::path& path, std::string& reason) {
    // NTFS journals the folder's entry itself.
    if (CreateDirectoryW(path.c_str(), nullptr) == 0) {
        reason = SystemReason();
        return false;
    }
    return true;
}

bool RenameOver(const std::filesystem::path& from, const std::filesystem::path& to,
                std::string& reason) {
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) ==
        0) {
        reason = SystemReason();
        return false;
    }
    return true;
}

}  // namespace serviceport
