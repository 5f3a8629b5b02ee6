// ServicePort_windows.cpp: the process's handles from the system's handle table, an idle
// connection ended by closing its socket, and Ctrl+C and its kin taken by a console control
// handler.
#include "ServicePort.h"

// Without the older winsock.h, which windows.h would bring ahead of winsock2.h.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <condition_variable>
#include <mutex>
#include <shellapi.h>
#include <winsock2.h>

// ntdll's own entry, with the information class as the plain number that it is: winternl.h's
// enumeration stops short of the class used here.
extern "C" LONG NTAPI NtQuerySystemInformation(ULONG informationClass, PVOID information,
                                               ULONG length, PULONG returnedLength);

namespace serviceport {

namespace {

// The system's table of every process's handles (NtQuerySystemInformation's class 64), the one
// list of a process's own handles that both Windows and wine give.
constexpr ULONG kExtendedHandleInformation = 64;
constexpr LONG kLengthMismatch = static_cast<LONG>(0xC0000004);

struct HandleEntry {
    PVOID object;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG grantedAccess;
    USHORT creatorBackTraceIndex;
    USHORT objectTypeIndex;
    ULONG attributes;
    ULONG reserved;
};

// The table's head; its entries follow it.
struct HandleTableHead {
    ULONG_PTR count;
    ULONG_PTR reserved;
};

std::string Utf8(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return "";
    }
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
    utf8.pop_back();  // the terminator
    return utf8;
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

std::vector<Socket> OwnHandles() {
    std::vector<Socket> handles;
    std::vector<unsigned char> buffer(1 << 20);
    LONG status = 0;
    while ((status = NtQuerySystemInformation(kExtendedHandleInformation, buffer.data(),
                                              static_cast<ULONG>(buffer.size()), nullptr)) ==
           kLengthMismatch) {
        buffer.resize(buffer.size() * 2);
    }
    if (status < 0) {  // a failure status
        return handles;
    }
    const auto* head = reinterpret_cast<const HandleTableHead*>(buffer.data());
    const auto* entries =
        reinterpret_cast<const HandleEntry*>(buffer.data() + sizeof(HandleTableHead));
    const ULONG_PTR self = GetCurrentProcessId();
    for (ULONG_PTR i = 0; i < head->count; ++i) {
        if (entries[i].processId == self) {
            handles.push_back(entries[i].handle);
        }
    }
    return handles;
}

// Winsock's select() does not see a shut reading side, but it ends at once when the socket is
// closed. httplib's worker then closes the same value again, which is harmless unless a new socket
// took that value in between: only a Stop calls this, and a stopping service opens none.
void EndIdleConnection(Socket socket) { closesocket(socket); }

void CloseSocket(Socket socket) { closesocket(socket); }

// Windows' SO_REUSEADDR would let a second service take the port from the first.
void KeepAddressToOneService(Socket socket) {
    const BOOL on = TRUE;
    setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on),
               sizeof on);
}

// A write to a closed connection fails with an error; there is no signal to ignore.
void SurviveHungUpPeers() {}

// The narrow arguments are in the ANSI code page, which cannot name every file.
std::vector<std::string> Utf8Arguments(int, char**) {
    std::vector<std::string> arguments;
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 0; wide != nullptr && i < count; ++i) {
        arguments.push_back(Utf8(wide[i]));
    }
    LocalFree(wide);
    return arguments;
}

void CatchStopRequests() { SetConsoleCtrlHandler(OnConsoleControl, TRUE); }

void WaitForStopRequest() {
    std::unique_lock<std::mutex> lock(stopMutex);
    stopChanged.wait(lock, [] { return stopRequested; });
}

}  // namespace serviceport
