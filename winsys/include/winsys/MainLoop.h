// MainLoop.h: the main loop of the window system, as the emulator drives it.
//
// One loop per process runs the timers of WindowSystem.h and every modal window (message boxes
// and dialogs) on the thread that calls it. A modal window runs a nested loop inside the
// call that opened it; timers keep firing there.
//
// The loop's backend decides how time passes, where input comes from and how modal windows are
// shown; the emulator sets one before it loads an add-on. Without one, nobody is there: the
// system's steady clock, a message box acknowledged with OK and any other window closed by its
// close box as soon as it opens.
//
// Every message box shown and every exception that leaves a window procedure is written to the
// trace sink as one JSON line.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace winsys {

// A window that holds the loop until it is closed: a message box or a dialog.
class ModalWindow {
public:
    virtual ~ModalWindow() = default;
    virtual bool IsOpen() const = 0;
    // The user presses its close box: a message box answers Cancel where it has a Cancel button,
    // else OK. False when the close box does nothing now; the window may stay open even when it
    // did something.
    virtual bool PressCloseBox() = 0;
    // Takes the window down as its close box would, and for good: for a loop that can wait for
    // no more input.
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

// How modal windows are shown and how the loop waits.
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

// The system clock as microseconds since 1 January 1601 UTC.
uint64_t SystemMicroseconds1601();
// The steady clock in milliseconds: a backend's clock for its timers, which keep their intervals
// when the system time is set.
uint64_t SteadyMilliseconds();
// Waits, with nobody there to give input, until `deadline` of SteadyMilliseconds: false at once
// without a deadline (no input ever comes), else true once it has passed. On Windows a message
// of the thread's queue ends the wait early.
bool WaitWithoutInput(std::optional<uint64_t> deadline);

class MainLoop {
public:
    static MainLoop& Instance();

    // Before anything is armed or shown (null: nobody there). Tests also use it to start each
    // test afresh.
    void SetBackend(std::unique_ptr<UiBackend> backend);
    UiBackend& Backend();
    void SetTraceSink(std::function<void(const std::string& jsonLine)> sink);
    void Trace(const std::string& jsonLine);

    uint64_t NowMilliseconds();
    // The loop's time as the add-on reckons it: microseconds since 1 January 1601 UTC.
    uint64_t NowMicroseconds1601();
    // Says that the backend acted for somebody (a script's action): on Windows, where armed
    // timers cannot be seen, a loop with nobody there ends only a quiet while after the last act.
    void NoteActivity();

    // Runs until no timer is armed and the backend has no more input.
    void Run();
    // Runs a nested loop until `window` is closed. When the backend has no more input while the
    // window is open (a script ended), the window is closed as its close box would.
    void RunModal(ModalWindow& window);
    // The modal window on top, or null.
    ModalWindow* TopModal();

    // A modal window whose nested loop is the system's own (on Windows the message box the add-on
    // shows through user32): on the stack and shown through the backend from Begin to End. In
    // between, the system's loop calls Turn, which hands the backend its input as RunModal does,
    // and closes the window when no more input can come.
    void BeginSystemModal(ModalWindow& window);
    void SystemModalTurn(ModalWindow& window);
    void EndSystemModal(ModalWindow& window);

private:
    MainLoop();
    void FireDueTimers();
    // Hands the backend one wait; false when the window had to be closed for want of input.
    bool WaitInModal(ModalWindow& window);

    std::unique_ptr<UiBackend> backend;
    std::function<void(const std::string&)> traceSink;
    std::vector<ModalWindow*> modals;
};

}  // namespace winsys
