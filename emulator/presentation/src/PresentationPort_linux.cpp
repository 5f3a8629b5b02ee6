// PresentationPort_linux.cpp: the script's virtual clock and its dialogs without windows, and
// the terminal's input through poll(2).
#include "PresentationPort.h"
#include "winsys/MainLoop.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace presentation::port {

// The virtual clock starts at 0 and moves only when asked: the window system's timers run on it.
ScriptClock::ScriptClock() : reading(0) {}

uint64_t ScriptClock::Now() const { return reading; }

void ScriptClock::PassUntil(uint64_t target) { reading = std::max(reading, target); }

// No window is shown: the presses are the items' own.
struct ScriptDialogs::Shown {};

ScriptDialogs::ScriptDialogs() = default;
ScriptDialogs::~ScriptDialogs() = default;

void ScriptDialogs::Opened(hostkit::DialogModal& /*window*/) {}

void ScriptDialogs::Closing(winsys::ModalWindow& /*window*/) {}

bool ScriptDialogs::Click(hostkit::DialogModal& window, DG::ButtonItem& button) const {
    return DialogPresses::Click(window, button);
}

bool ScriptDialogs::PressCloseBox(hostkit::DialogModal& window) const {
    return DialogPresses::PressCloseBox(window);
}

bool ReadInput(int fd, std::optional<uint64_t> deadline, std::string& buffer) {
    int timeout = -1;
    if (deadline) {
        const uint64_t now = winsys::SteadyMilliseconds();
        const uint64_t left = *deadline > now ? *deadline - now : 0;
        timeout = static_cast<int>(std::min<uint64_t>(left, INT_MAX));
    }
    pollfd input{fd, POLLIN, 0};
    const int ready = poll(&input, 1, timeout);
    if (ready < 0) {
        return errno == EINTR;  // an input that cannot be polled gives no more lines
    }
    if (ready == 0) {
        return true;
    }
    char chunk[4096];
    const ssize_t count = read(fd, chunk, sizeof(chunk));
    if (count > 0) {
        buffer.append(chunk, static_cast<size_t>(count));
        return true;
    }
    return count < 0 && (errno == EINTR || errno == EAGAIN);
}

}  // namespace presentation::port
