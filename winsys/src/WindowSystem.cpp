// WindowSystem.cpp: window classes, message-only windows, timers and window messages. Everything
// runs on the one thread that drives the main loop, so the tables need no lock; procedures are
// called with no table entry held, as they may change the tables themselves.
#include "winsys/WindowSystem.h"

#include "Timers.h"
#include "winsys/MainLoop.h"

#include <algorithm>
#include <limits>
#include <map>
#include <string>

namespace {

// The range of Windows' atoms for registered names.
constexpr uint32_t FirstAtom = 0xC000;
constexpr uint32_t LastAtom = 0xFFFF;
// USER_TIMER_MINIMUM and USER_TIMER_MAXIMUM of Windows.
constexpr UINT TimerMinimum = 10;
constexpr UINT TimerMaximum = 0x7FFFFFFF;

thread_local DWORD lastError = 0;

// Class and message names compare as Windows compares them: ASCII letters without case.
std::string FoldName(const std::string& name) {
    std::string folded = name;
    for (char& c : folded) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return folded;
}

struct WindowClass {
    ATOM atom = 0;
    WNDPROC procedure = nullptr;
    int windows = 0;
};

struct Window {
    std::string classKey;
    WNDPROC procedure = nullptr;
    std::string name;
};

struct Timer {
    UINT interval = 0;
    TIMERPROC procedure = nullptr;
    uint64_t due = 0;
    uint64_t stamp = 0;
};

struct Tables {
    std::map<std::string, WindowClass> classes;  // by folded name
    std::map<HWND, Window> windows;
    std::map<std::pair<uintptr_t, UINT_PTR>, Timer> timers;  // by TimerKey
    std::map<std::u16string, UINT> messages;                 // by folded name
    uint32_t nextClassAtom = FirstAtom;
    uint32_t nextMessage = FirstAtom;
    uintptr_t nextWindow = 0;
    uint64_t nextStamp = 0;
};

// Timers ordered by window, then id; the window as a number so that the order is well defined.
std::pair<uintptr_t, UINT_PTR> TimerKey(HWND window, UINT_PTR id) {
    return {reinterpret_cast<uintptr_t>(window), id};
}

Tables& State() {
    // Never destroyed: a module unloaded at exit calls in after static objects are gone.
    static Tables* tables = new Tables;
    return *tables;
}

// Handles are made up, never dereferenced; they start far from null and from HWND_MESSAGE.
HWND NewWindowHandle(Tables& tables) {
    ++tables.nextWindow;
    return reinterpret_cast<HWND>(0x10000 + tables.nextWindow * 0x10);
}

// MAKEINTATOM puts an atom in the low word of a name pointer.
bool IsAtomName(const char* name) { return reinterpret_cast<uintptr_t>(name) <= 0xFFFF; }

// The class a name or an atom names, or the end of the table.
std::map<std::string, WindowClass>::iterator FindClass(Tables& tables, const char* name) {
    if (IsAtomName(name)) {
        const auto atom = static_cast<ATOM>(reinterpret_cast<uintptr_t>(name));
        return std::find_if(tables.classes.begin(), tables.classes.end(),
                            [atom](const auto& entry) { return entry.second.atom == atom; });
    }
    return tables.classes.find(FoldName(name));
}

void KillWindowTimers(Tables& tables, HWND window) {
    auto it = tables.timers.lower_bound(TimerKey(window, 0));
    while (it != tables.timers.end() && it->first.first == TimerKey(window, 0).first) {
        it = tables.timers.erase(it);
    }
}

}  // namespace

ATOM RegisterClassExA(const WNDCLASSEXA* windowClass) {
    if (windowClass == nullptr || windowClass->cbSize != sizeof(WNDCLASSEXA) ||
        windowClass->lpfnWndProc == nullptr || windowClass->lpszClassName == nullptr ||
        IsAtomName(windowClass->lpszClassName) || windowClass->lpszClassName[0] == '\0') {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    Tables& tables = State();
    const std::string key = FoldName(windowClass->lpszClassName);
    if (tables.classes.count(key) != 0) {
        SetLastError(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    if (tables.nextClassAtom > LastAtom) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    // Atoms are not reused, so a stale atom never names a newer class.
    const auto atom = static_cast<ATOM>(tables.nextClassAtom++);
    tables.classes[key] = WindowClass{atom, windowClass->lpfnWndProc, 0};
    return atom;
}

BOOL UnregisterClassA(const char* className, HINSTANCE /*instance*/) {
    Tables& tables = State();
    const auto it = FindClass(tables, className);
    if (it == tables.classes.end()) {
        SetLastError(ERROR_CLASS_DOES_NOT_EXIST);
        return 0;
    }
    if (it->second.windows > 0) {
        SetLastError(ERROR_CLASS_HAS_WINDOWS);
        return 0;
    }
    tables.classes.erase(it);
    return 1;
}

HWND CreateWindowExA(DWORD /*exStyle*/, const char* className, const char* windowName,
                     DWORD /*style*/, int32_t /*x*/, int32_t /*y*/, int32_t /*width*/,
                     int32_t /*height*/, HWND parent, HMENU /*menu*/, HINSTANCE /*instance*/,
                     void* /*parameter*/) {
    Tables& tables = State();
    const auto classIt = FindClass(tables, className);
    if (classIt == tables.classes.end()) {
        SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    if (parent != HWND_MESSAGE) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const HWND window = NewWindowHandle(tables);
    tables.windows[window] =
        Window{classIt->first, classIt->second.procedure, windowName == nullptr ? "" : windowName};
    ++classIt->second.windows;
    return window;
}

BOOL DestroyWindow(HWND window) {
    Tables& tables = State();
    const auto it = tables.windows.find(window);
    if (it == tables.windows.end()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    KillWindowTimers(tables, window);
    const auto classIt = tables.classes.find(it->second.classKey);
    if (classIt != tables.classes.end()) {
        --classIt->second.windows;
    }
    tables.windows.erase(it);
    return 1;
}

UINT_PTR SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC procedure) {
    Tables& tables = State();
    if (tables.windows.count(window) == 0) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    const UINT interval = std::clamp(milliseconds, TimerMinimum, TimerMaximum);
    const uint64_t now = winsys::MainLoop::Instance().NowMilliseconds();
    tables.timers[TimerKey(window, id)] =
        Timer{interval, procedure, now + interval, ++tables.nextStamp};
    return id;
}

BOOL KillTimer(HWND window, UINT_PTR id) {
    Tables& tables = State();
    if (tables.timers.erase(TimerKey(window, id)) == 0) {
        SetLastError(tables.windows.count(window) == 0 ? ERROR_INVALID_WINDOW_HANDLE
                                                       : ERROR_INVALID_PARAMETER);
        return 0;
    }
    return 1;
}

LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Tables& tables = State();
    const auto it = tables.windows.find(window);
    if (it == tables.windows.end()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    // The procedure may destroy the window: call a copy.
    const WNDPROC procedure = it->second.procedure;
    return procedure(window, message, wParam, lParam);
}

LRESULT DefWindowProcW(HWND window, UINT message, WPARAM /*wParam*/, LPARAM /*lParam*/) {
    if (message == WM_GETTEXTLENGTH) {
        const Tables& tables = State();
        const auto it = tables.windows.find(window);
        return it == tables.windows.end() ? 0 : static_cast<LRESULT>(it->second.name.size());
    }
    // A message-only window has nothing to paint, size or activate: every other default is 0.
    return 0;
}

UINT RegisterWindowMessageW(const char16_t* name) {
    if (name == nullptr || name[0] == u'\0') {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::u16string key(name);
    for (char16_t& c : key) {
        if (c >= u'A' && c <= u'Z') {
            c = static_cast<char16_t>(c - u'A' + u'a');
        }
    }
    Tables& tables = State();
    const auto it = tables.messages.find(key);
    if (it != tables.messages.end()) {
        return it->second;
    }
    if (tables.nextMessage > LastAtom) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const UINT message = tables.nextMessage++;
    tables.messages.emplace(std::move(key), message);
    return message;
}

DWORD GetLastError() { return lastError; }

void SetLastError(DWORD error) { lastError = error; }

namespace winsys::detail {

std::vector<DueTimer> CollectDueTimers(uint64_t now) {
    std::vector<DueTimer> due;
    for (const auto& [key, timer] : State().timers) {
        if (timer.due <= now) {
            due.push_back(
                DueTimer{reinterpret_cast<HWND>(key.first), key.second, timer.due, timer.stamp});
        }
    }
    std::sort(due.begin(), due.end(), [](const DueTimer& a, const DueTimer& b) {
        return a.due != b.due ? a.due < b.due : a.stamp < b.stamp;
    });
    return due;
}

std::optional<TimerDelivery> BeginFiring(const DueTimer& dueTimer, uint64_t now) {
    Tables& tables = State();
    const auto it = tables.timers.find(TimerKey(dueTimer.window, dueTimer.id));
    if (it == tables.timers.end() || it->second.stamp != dueTimer.stamp) {
        return std::nullopt;
    }
    const auto windowIt = tables.windows.find(dueTimer.window);
    if (windowIt == tables.windows.end()) {
        return std::nullopt;
    }
    // Once per turn however late: the next firing counts from now, not from the missed due time.
    // A fresh stamp keeps the firing order of timers that fall due together again.
    Timer& timer = it->second;
    timer.due = now + timer.interval;
    timer.stamp = ++tables.nextStamp;
    return TimerDelivery{dueTimer.window, dueTimer.id, timer.procedure, windowIt->second.procedure};
}

std::optional<uint64_t> NextTimerDue() {
    std::optional<uint64_t> next;
    for (const auto& entry : State().timers) {
        if (!next || entry.second.due < *next) {
            next = entry.second.due;
        }
    }
    return next;
}

}  // namespace winsys::detail
