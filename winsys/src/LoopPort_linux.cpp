// LoopPort_linux.cpp: the main loop on the timer table of our window system.
#include "LoopPort.h"
#include "Timers.h"
#include "winsys/MainLoop.h"
#include "winsys/WindowSystem.h"

#include <chrono>
#include <exception>
#include <thread>

namespace winsys::port {

bool DeliverDue(uint64_t now, const std::function<void(const std::string& what)>& onException) {
    bool delivered = false;
    // The turn looks once; what its handlers kill, re-arm or fire in a nested loop is left out.
    for (const detail::DueTimer& due : detail::CollectDueTimers(now)) {
        const auto delivery = detail::BeginFiring(due, now);
        if (!delivery) {
            continue;
        }
        delivered = true;
        try {
            if (delivery->timerProc != nullptr) {
                delivery->timerProc(delivery->window, WM_TIMER, delivery->id,
                                    static_cast<DWORD>(now));
            } else {
                delivery->windowProc(delivery->window, WM_TIMER, delivery->id, 0);
            }
        } catch (const std::exception& error) {
            onException(error.what());
        } catch (...) {
            onException("an exception of unknown type");
        }
    }
    return delivered;
}

void WatchSystemModals(MainLoop& /*loop*/) {}

// The timers are seen: a run ends when none is armed.
void NoteActivity(uint64_t /*now*/) {}

std::optional<uint64_t> NextDue(uint64_t /*now*/) { return detail::NextTimerDue(); }

bool WaitWithoutInput(std::optional<uint64_t> deadline) {
    if (!deadline) {
        return false;
    }
    const uint64_t now = SteadyMilliseconds();
    if (*deadline > now) {
        std::this_thread::sleep_for(std::chrono::milliseconds(*deadline - now));
    }
    return true;
}

}  // namespace winsys::port
