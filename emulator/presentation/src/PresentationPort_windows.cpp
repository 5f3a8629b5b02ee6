// PresentationPort_windows.cpp: the script's time is the system's and its dialogs are real
// windows, which it clicks as a user would; the terminal's input is waited for beside the
// thread's messages, through which the system delivers the add-on's timers.
#include "GuiWindows_windows.h"
#include "PresentationPort.h"
#include "winsys/MainLoop.h"

#include <windows.h>

#include <algorithm>
#include <io.h>
#include <map>

namespace presentation::port {

namespace {

// An anonymous pipe cannot be waited on: it is looked at this often while the thread's queue is
// waited on.
constexpr DWORD kPipeLookMilliseconds = 10;
constexpr DWORD kChunkBytes = 4096;

DWORD MillisecondsUntil(std::optional<uint64_t> deadline) {
    if (!deadline) {
        return INFINITE;
    }
    const uint64_t now = winsys::SteadyMilliseconds();
    return *deadline > now ? static_cast<DWORD>(std::min<uint64_t>(*deadline - now, INFINITE - 1))
                           : 0;
}

// Reads at most `most` bytes; false at the end of the input or when it cannot be read.
bool ReadAvailable(HANDLE handle, DWORD most, std::string& buffer) {
    char chunk[kChunkBytes];
    DWORD count = 0;
    if (!ReadFile(handle, chunk, std::min(most, kChunkBytes), &count, nullptr)) {
        return false;
    }
    buffer.append(chunk, count);
    return count > 0;
}

bool ReadPipe(HANDLE pipe, std::optional<uint64_t> deadline, std::string& buffer) {
    for (;;) {
        DWORD available = 0;
        if (!PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr)) {
            return false;  // the writer closed its end
        }
        if (available > 0) {
            return ReadAvailable(pipe, available, buffer);
        }
        const DWORD left = MillisecondsUntil(deadline);
        if (left == 0) {
            return true;
        }
        if (MsgWaitForMultipleObjectsEx(0, nullptr, std::min(left, kPipeLookMilliseconds),
                                        QS_ALLINPUT, MWMO_INPUTAVAILABLE) == WAIT_OBJECT_0) {
            return true;  // a message for the loop
        }
    }
}

// The console's handle is ready on any event (a key, the mouse, the focus): the other events are
// dropped, and once a key is pressed the line is read, which waits for its Enter.
bool ReadConsole(HANDLE console, std::optional<uint64_t> deadline, std::string& buffer) {
    if (MsgWaitForMultipleObjectsEx(1, &console, MillisecondsUntil(deadline), QS_ALLINPUT,
                                    MWMO_INPUTAVAILABLE) != WAIT_OBJECT_0) {
        return true;  // the deadline, or a message for the loop
    }
    INPUT_RECORD record{};
    DWORD count = 0;
    while (PeekConsoleInputW(console, &record, 1, &count) && count == 1) {
        if (record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown) {
            return ReadAvailable(console, kChunkBytes, buffer);
        }
        ReadConsoleInputW(console, &record, 1, &count);
    }
    return true;
}

}  // namespace

// The steady clock since the script began: the add-on's timers are the system's and run on it.
ScriptClock::ScriptClock() : reading(winsys::SteadyMilliseconds()) {}

uint64_t ScriptClock::Now() const { return winsys::SteadyMilliseconds() - reading; }

void ScriptClock::PassUntil(uint64_t target) { winsys::WaitWithoutInput(reading + target); }

struct ScriptDialogs::Shown {
    std::map<const winsys::ModalWindow*, std::unique_ptr<gui::ShownWindow>> windows;

    const gui::ShownWindow* Of(const winsys::ModalWindow& window) const {
        const auto found = windows.find(&window);
        return found != windows.end() ? found->second.get() : nullptr;
    }
};

ScriptDialogs::ScriptDialogs() : shown(std::make_unique<Shown>()) {}
ScriptDialogs::~ScriptDialogs() = default;

void ScriptDialogs::Opened(hostkit::DialogModal& window) {
    shown->windows[&window] = gui::ShowDialog(window);
}

void ScriptDialogs::Closing(winsys::ModalWindow& window) { shown->windows.erase(&window); }

bool ScriptDialogs::Click(hostkit::DialogModal& window, DG::ButtonItem& button) const {
    const gui::ShownWindow* shownWindow = shown->Of(window);
    HWND control = shownWindow != nullptr ? shownWindow->ControlOf(button) : nullptr;
    // What a user cannot click, a script cannot either.
    if (control == nullptr || !IsWindowVisible(control) || !IsWindowEnabled(control)) {
        return false;
    }
    // A button of a window that is not active may miss the click.
    SetActiveWindow(shownWindow->Window());
    SendMessageW(control, BM_CLICK, 0, 0);
    gui::RethrowCallbackError();
    return true;
}

bool ScriptDialogs::PressCloseBox(hostkit::DialogModal& window) const {
    const gui::ShownWindow* shownWindow = shown->Of(window);
    if (shownWindow == nullptr) {
        return false;
    }
    SendMessageW(shownWindow->Window(), WM_CLOSE, 0, 0);
    gui::RethrowCallbackError();
    return true;
}

bool ReadInput(int fd, std::optional<uint64_t> deadline, std::string& buffer) {
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(fd));
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    DWORD mode = 0;
    switch (GetFileType(handle)) {
    case FILE_TYPE_PIPE:
        return ReadPipe(handle, deadline, buffer);
    case FILE_TYPE_CHAR:
        if (GetConsoleMode(handle, &mode)) {
            return ReadConsole(handle, deadline, buffer);
        }
        [[fallthrough]];  // a device such as NUL answers at once
    default:
        return ReadAvailable(handle, kChunkBytes, buffer);  // a file is always ready
    }
}

}  // namespace presentation::port
