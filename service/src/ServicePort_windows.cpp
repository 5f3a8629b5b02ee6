// ServicePort_windows.cpp: the listening socket kept to this service, the wide command line, and
// Ctrl+C and its kin taken by a console control handler.
#include "ServicePort.h"

// Without the older winsock.h, which windows.h would bring ahead of winsock2.h.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <condition_variable>
#include <mutex>
#include <shellapi.h>
#include <winsock2.h>

namespace serviceport {

namespace {

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

// A changed catalog file is taken by the service's own watch; there is no signal for it.
void CatchRequests() { SetConsoleCtrlHandler(OnConsoleControl, TRUE); }

Request WaitForRequest() {
    std::unique_lock<std::mutex> lock(stopMutex);
    stopChanged.wait(lock, [] { return stopRequested; });
    return Request::Stop;
}

}  // namespace serviceport
