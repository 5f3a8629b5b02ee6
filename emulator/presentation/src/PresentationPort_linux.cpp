// PresentationPort_linux.cpp: the script's virtual clock, and the terminal's input through
// poll(2).
#include "PresentationPort.h"
#include "winsys/MainLoop.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace presentation::port {

namespace {

// Starts at 0 and moves only when asked: the window system's timers run on the same clock.
class VirtualClock final : public ScriptClock {
public:
    uint64_t Now() override { return clock; }
    void PassUntil(uint64_t target) override { clock = std::max(clock, target); }

private:
    uint64_t clock = 0;
};

}  // namespace

std::unique_ptr<ScriptClock> MakeScriptClock() { return std::make_unique<VirtualClock>(); }

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
