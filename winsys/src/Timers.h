// Timers.h: the timer table of the window system, as the main loop walks it. WindowSystem.cpp
// owns the table; MainLoop.cpp fires what is due.
#pragma once

#include "winsys/WindowSystem.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace winsys::detail {

// A timer found due at the start of a loop turn. `stamp` changes whenever the timer is armed,
// re-armed or fired, so that a turn never delivers a timer that changed since it looked.
struct DueTimer {
    HWND window = nullptr;
    UINT_PTR id = 0;
    uint64_t due = 0;
    uint64_t stamp = 0;
};

// What a firing calls: the TIMERPROC when one was given, else the window procedure.
struct TimerDelivery {
    HWND window = nullptr;
    UINT_PTR id = 0;
    TIMERPROC timerProc = nullptr;
    WNDPROC windowProc = nullptr;
};

// Timers with due <= now, in due-time order, ties in arming order.
std::vector<DueTimer> CollectDueTimers(uint64_t now);
// Null when the timer was killed, re-armed or fired since it was collected; else schedules its
// next firing one interval after `now` and says whom to call.
std::optional<TimerDelivery> BeginFiring(const DueTimer& timer, uint64_t now);
// The earliest due time of an armed timer.
std::optional<uint64_t> NextTimerDue();

}  // namespace winsys::detail
