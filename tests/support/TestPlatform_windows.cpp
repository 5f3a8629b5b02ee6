// TestPlatform_windows.cpp: the helpers of TestFiles.h that the platform decides, for the test
// programs that run under wine: no shell of the Linux tools, and a free port through Winsock.
#include "TestFiles.h"

#include <cstdio>
#include <stdexcept>
#include <string>
#include <winsock2.h>  // before any <windows.h>, as Winsock wants

namespace testfiles {

int RunCommand(const std::string& command, std::string* output) {
    const std::string refusal = "no shell of the Linux tools in a Windows program: " + command;
    std::fprintf(stderr, "%s\n", refusal.c_str());
    if (output != nullptr) {
        *output = refusal;
    }
    return -1;
}

int UnusedPort() {
    WSADATA data{};
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        throw std::runtime_error("no Winsock for a free port");
    }
    const SOCKET fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    int size = sizeof address;
    const bool found = fd != INVALID_SOCKET &&
                       bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    if (fd != INVALID_SOCKET) {
        closesocket(fd);
    }
    WSACleanup();
    if (!found) {
        throw std::runtime_error("no free port on 127.0.0.1");
    }
    return ntohs(address.sin_port);
}

bool RunningUnderWine() {
    // wine's ntdll exports its version; Windows' does not.
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

namespace {

HHOOK alertHook = nullptr;

std::string Utf8Text(HWND window) {
    wchar_t text[4096] = {};
    GetWindowTextW(window, text, 4096);
    char utf8[4 * 4096] = {};
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, sizeof utf8, nullptr, nullptr);
    return utf8;
}

LRESULT CALLBACK AnswerAlert(int code, WPARAM wParam, LPARAM lParam) {
    const auto box = reinterpret_cast<HWND>(wParam);
    HWND text = box != nullptr ? GetDlgItem(box, 0xFFFF) : nullptr;
    if (code == HCBT_ACTIVATE && text != nullptr) {
        std::fprintf(stderr, "%s: %s\n", Utf8Text(box).c_str(), Utf8Text(text).c_str());
        std::fflush(stderr);
        PostMessageW(box, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
    }
    return CallNextHookEx(alertHook, code, wParam, lParam);
}

}  // namespace

void AnswerSystemAlerts() {
    if (alertHook == nullptr) {
        alertHook = SetWindowsHookExW(WH_CBT, AnswerAlert, nullptr, GetCurrentThreadId());
    }
}

}  // namespace testfiles
