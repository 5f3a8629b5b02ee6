// LoopPort_windows.cpp: the main loop on the thread's message queue. The system delivers the
// timers and the windows' messages through DispatchMessageW; the loop only pumps.
#include "LoopPort.h"
#include "winsys/MainLoop.h"

#include <windows.h>

#include <exception>

namespace winsys::port {

namespace {

// How long the queue must stay empty before a loop with nobody there ends: longer than the
// add-on's one-second timer, with room for a slow machine.
constexpr uint64_t QuietMilliseconds = 3000;

// The end of the loop's last activity, on the loop's clock; nothing before the first.
std::optional<uint64_t> lastActivity;

}  // namespace

bool DeliverDue(uint64_t now, const std::function<void(const std::string& what)>& onException) {
    if (!lastActivity) {
        lastActivity = now;
    }
    bool delivered = false;
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        delivered = true;
        try {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        } catch (const std::exception& error) {
            onException(error.what());
        } catch (...) {
            onException("an exception of unknown type");
        }
    }
    return delivered;
}

void NoteActivity(uint64_t now) { lastActivity = now; }

std::optional<uint64_t> NextDue(uint64_t now) {
    const uint64_t quietEnd = lastActivity.value_or(now) + QuietMilliseconds;
    if (now >= quietEnd) {
        return std::nullopt;
    }
    return quietEnd;
}

bool WaitWithoutInput(std::optional<uint64_t> deadline) {
    if (!deadline) {
        return false;
    }
    const uint64_t now = SteadyMilliseconds();
    if (*deadline > now) {
        MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(*deadline - now), QS_ALLINPUT,
                                    MWMO_INPUTAVAILABLE);
    }
    return true;
}

}  // namespace winsys::port
