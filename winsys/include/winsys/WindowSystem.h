// WindowSystem.h: the window-system calls an add-on makes, under their Windows names. On Windows
// they are the system's own, and this header stands for <windows.h>.
//
// There are message-only windows (parent HWND_MESSAGE) with a window procedure, timers per window
// and id, and the message box. Timers fire on the main loop of MainLoop.h, also while a modal
// dialog or message box runs its nested loop; a timer repeats every interval until killed, and
// fires once per loop turn however late it is.
#pragma once

#ifdef _WIN32
#include <windows.h>

namespace winsys {
// The add-on's UTF-16 text as the system's wide text: the same units under another type.
inline const wchar_t* SystemText(const char16_t* text) {
    return reinterpret_cast<const wchar_t*>(text);
}
}  // namespace winsys
#else

#include <cstdint>

struct HWND__;
using HWND = HWND__*;
using HINSTANCE = void*;
using HMENU = void*;
using UINT = uint32_t;
using DWORD = uint32_t;
using BOOL = int32_t;
using ATOM = uint16_t;
using UINT_PTR = uintptr_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;
using LRESULT = intptr_t;
using WNDPROC = LRESULT (*)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
using TIMERPROC = void (*)(HWND window, UINT message, UINT_PTR id, DWORD time);

inline HWND const HWND_MESSAGE = reinterpret_cast<HWND>(static_cast<intptr_t>(-3));
constexpr UINT WM_GETTEXTLENGTH = 0x000E;  // answered by the default procedure
constexpr UINT WM_TIMER = 0x0113;          // 275; wParam is the timer id

struct WNDCLASSEXA {
    UINT cbSize;
    UINT style;
    WNDPROC lpfnWndProc;
    int32_t cbClsExtra;
    int32_t cbWndExtra;
    HINSTANCE hInstance;
    void* hIcon;
    void* hCursor;
    void* hbrBackground;
    const char* lpszMenuName;
    const char* lpszClassName;
    void* hIconSm;
};

// Errors of GetLastError.
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_INVALID_WINDOW_HANDLE = 1400;
constexpr DWORD ERROR_CANNOT_FIND_WND_CLASS = 1407;
constexpr DWORD ERROR_CLASS_ALREADY_EXISTS = 1410;
constexpr DWORD ERROR_CLASS_DOES_NOT_EXIST = 1411;
constexpr DWORD ERROR_CLASS_HAS_WINDOWS = 1412;

// Message box types and answers.
constexpr UINT MB_OK = 0x00;
constexpr UINT MB_OKCANCEL = 0x01;
constexpr UINT MB_ICONERROR = 0x10;
constexpr UINT MB_ICONWARNING = 0x30;
constexpr UINT MB_ICONINFORMATION = 0x40;
constexpr int32_t IDOK = 1;
constexpr int32_t IDCANCEL = 2;

// 0 when the name is taken (ERROR_CLASS_ALREADY_EXISTS), or when the procedure or the name is null
// or cbSize is not sizeof(WNDCLASSEXA) (ERROR_INVALID_PARAMETER). Class names and message names
// compare without regard to ASCII case, as on Windows.
ATOM RegisterClassExA(const WNDCLASSEXA* windowClass);
// Fails with ERROR_CLASS_DOES_NOT_EXIST, or ERROR_CLASS_HAS_WINDOWS while windows of it exist.
BOOL UnregisterClassA(const char* className, HINSTANCE instance);
// Only message-only windows exist: any other parent fails with ERROR_INVALID_PARAMETER; an unknown
// class (a name, or an atom as MAKEINTATOM gives) with ERROR_CANNOT_FIND_WND_CLASS. No creation or
// destruction messages are sent. Handles are never reused within a process.
HWND CreateWindowExA(DWORD exStyle, const char* className, const char* windowName, DWORD style,
                     int32_t x, int32_t y, int32_t width, int32_t height, HWND parent, HMENU menu,
                     HINSTANCE instance, void* parameter);
BOOL DestroyWindow(HWND window);
// Arms (or re-arms) timer `id` of `window`; returns `id`, or 0 for an unknown window
// (ERROR_INVALID_WINDOW_HANDLE). As on Windows, an interval below 10 ms counts as 10 ms.
UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure);
BOOL KillTimer(HWND window, UINT_PTR id);
// Calls the window's procedure at once; 0 for an unknown window. An exception from the procedure
// reaches the caller (the main loop catches those of the messages it delivers itself).
LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// What Windows does by default for a message-only window: WM_GETTEXTLENGTH gives the length of
// the window's name (single-byte text, so its bytes are its characters); anything else gives 0.
LRESULT DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// A modal alert on the current backend; returns IDOK or IDCANCEL. A null caption reads "Error".
int32_t MessageBoxW(HWND owner, const char16_t* text, const char16_t* caption, UINT type);
UINT RegisterWindowMessageW(const char16_t* name);
DWORD GetLastError();
void SetLastError(DWORD error);

namespace winsys {
inline const char16_t* SystemText(const char16_t* text) { return text; }
}  // namespace winsys

#endif  // _WIN32
