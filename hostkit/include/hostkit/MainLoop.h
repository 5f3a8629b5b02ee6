// MainLoop.h: the host's main loop, as the emulator drives it.
//
// One loop per process runs the timers of WindowSystem.h and every modal window (message boxes
// and dialogs) on the thread that calls it. A modal window runs a nested loop inside the
// call that opened it; timers keep firing there.
//
// A backend decides how time passes and where input comes from:
//   script - no window; a virtual clock that only moves when the script waits or when nothing
//            else is left but an armed timer; the actions of the script drive the loop;
//   none   - the system clock; every modal window closes at once (a message box is
//            acknowledged, a dialog closed);
//   text   - the system clock; windows drawn on the terminal, buttons chosen by typing numbers;
//   gui    - the system clock; FLTK windows, their widgets at the items' exact rectangles.
//
// Every modal window shown, every script action and every exception that leaves a window
// procedure is written to the trace sink as one JSON line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace hostkit {

// One line of a script: the verb and its words, with its line number for messages.
struct ScriptAction {
    int line = 0;
    std::string verb;
    std::vector<std::string> words;
};

// A window that holds the loop until it is closed: a message box or a dialog.
class ModalWindow {
public:
    virtual ~ModalWindow() = default;
    virtual bool IsOpen() const = 0;
    // "click ROW", "close" or "ok" from a script; false when the action does not apply here.
    virtual bool Act(const ScriptAction& action) = 0;
    // Closes the window the way its close box would (a message box: Cancel where it has a Cancel
    // button, else OK).
    virtual void Close() = 0;
};

// A message box as a backend sees it (through dynamic_cast), to draw it and to answer it.
class MessageBoxModal : public ModalWindow {
public:
    // UTF-8.
    virtual std::string Title() const = 0;
    virtual std::string Text() const = 0;
    // MB_OK or MB_OKCANCEL, with an icon flag.
    virtual uint32_t Type() const = 0;
    // IDOK or IDCANCEL; closes the box.
    virtual void Answer(int32_t answer) = 0;
};

class UiBackend {
public:
    virtual ~UiBackend() = default;
    virtual std::string Name() const = 0;
    // Milliseconds on the loop's clock.
    virtual uint64_t NowMilliseconds() = 0;
    // The same moment as microseconds since 1 January 1601 UTC; by default the system clock.
    virtual uint64_t NowMicroseconds1601();
    // Waits for input or until `deadline` on the loop's clock, and handles what came. False when
    // no input can come any more and there is no deadline: the loop then ends its current level.
    virtual bool Wait(std::optional<uint64_t> deadline) = 0;
    // A modal window has opened (it is on top) or is about to close.
    virtual void ModalOpened(ModalWindow& window) = 0;
    virtual void ModalClosing(ModalWindow& window) = 0;
};

// The script backend. `emulatorVerb` runs the verbs the loop does not know itself (every verb
// but wait, click, close and ok). A UI verb with no modal window open, or one the window refuses,
// is an error: it is traced, reported on standard error, and counted.
std::unique_ptr<UiBackend> MakeScriptBackend(std::vector<ScriptAction> actions,
                                             std::function<void(const ScriptAction&)> emulatorVerb);
std::unique_ptr<UiBackend> MakeNoneBackend();
// FLTK windows on the X display: each dialog item becomes a widget at its rectangle (carrying the
// item as its user data), FLTK's loop waits for input and for the next timer. Throws
// std::runtime_error when no X display can be reached.
std::unique_ptr<UiBackend> MakeGuiBackend();
// The terminal backend: the system's steady clock; a modal window drawn as text on `output`,
// answered by lines read from `inputFd` (left open: the caller owns it). End of input closes
// every window as its close box would.
std::unique_ptr<UiBackend> MakeTextBackend(int inputFd = 0, FILE* output = stdout);

class MainLoop {
public:
    static MainLoop& Instance();

    // Before anything is armed or shown (null: the none backend); the count of script errors
    // starts again at 0. Tests also use it to start each test afresh.
    void SetBackend(std::unique_ptr<UiBackend> backend);
    UiBackend& Backend();
    void SetTraceSink(std::function<void(const std::string& jsonLine)> sink);
    void Trace(const std::string& jsonLine);

    uint64_t NowMilliseconds();
    // The loop's time as the add-on reckons it: microseconds since 1 January 1601 UTC.
    uint64_t NowMicroseconds1601();

    // Runs until no timer is armed and the backend has no more input.
    void Run();
    // Runs a nested loop until `window` is closed. When the backend has no more input while the
    // window is open (a script ended), the window is closed as its close box would.
    void RunModal(ModalWindow& window);
    // The modal window on top, or null.
    ModalWindow* TopModal();

    int ScriptErrorCount() const { return scriptErrors; }
    void CountScriptError() { ++scriptErrors; }

private:
    MainLoop();
    void FireDueTimers();

    std::unique_ptr<UiBackend> backend;
    std::function<void(const std::string&)> traceSink;
    std::vector<ModalWindow*> modals;
    int scriptErrors = 0;
};

}  // namespace hostkit
