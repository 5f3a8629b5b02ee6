// PresentationPort.h: what the backends ask of the platform: the script's clock and the dialogs
// it acts on, and the wait for a line on the terminal.
//
// On Linux the loop's timers are the window system's own, so a script's time can be virtual: it
// moves only when the script waits. On Windows the system delivers the add-on's timers on its own
// clock, so a script's time is the system's and a wait lets real time pass while the loop pumps
// the thread's messages.
#pragma once

#include "Presentation.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace presentation::port {

class ScriptClock {
public:
    ScriptClock();
    // Milliseconds since the script began.
    uint64_t Now() const;
    // Lets time pass until `target`. The virtual clock stands there at once; the system's
    // returns then, or sooner when a message comes for the loop to deliver.
    void PassUntil(uint64_t target);

private:
    // The virtual time on Linux; on Windows the steady clock's reading when the script began.
    uint64_t reading;
};

// The dialogs a script acts on. On Linux none is shown, and a press reaches the dialog's items.
// On Windows each is shown as the gui backend's window of real controls, and a press is one that
// the system delivers, as a user's click: BM_CLICK on the row's button, WM_CLOSE on the window.
class ScriptDialogs final : public DialogPresses {
public:
    ScriptDialogs();
    ~ScriptDialogs() override;
    ScriptDialogs(const ScriptDialogs&) = delete;
    ScriptDialogs& operator=(const ScriptDialogs&) = delete;

    void Opened(hostkit::DialogModal& window);
    void Closing(winsys::ModalWindow& window);
    bool Click(hostkit::DialogModal& window, DG::ButtonItem& button) const override;
    bool PressCloseBox(hostkit::DialogModal& window) const override;

private:
    struct Shown;  // the windows on screen; nothing on Linux
    std::unique_ptr<Shown> shown;
};

// Waits until input can be read from `fd` or until `deadline` of winsys::SteadyMilliseconds
// (none: no limit), and appends what came to `buffer`. On Windows a message for the loop ends
// the wait too, so that the system's timers fire while a window waits for a line. False once the
// input has ended or cannot be read.
bool ReadInput(int fd, std::optional<uint64_t> deadline, std::string& buffer);

}  // namespace presentation::port
