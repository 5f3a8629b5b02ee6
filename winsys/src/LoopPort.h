// LoopPort.h: what the main loop asks of the platform's window system. On Linux that is the
// timer table of WindowSystem.cpp; on Windows the thread's message queue, whose timers and
// window messages the system delivers itself.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace winsys {
class MainLoop;
}

namespace winsys::port {

// Makes the system's own modal windows shown on this thread modal windows of `loop` (on Windows
// the message boxes of user32; on Linux our MessageBoxW runs on the loop itself).
void WatchSystemModals(MainLoop& loop);

// Delivers what is due at `now` on the loop's clock: the due timers, or on Windows every queued
// message; whether anything was. An exception that leaves a handler is handed to `onException`
// with its text, and the delivery goes on.
bool DeliverDue(uint64_t now, const std::function<void(const std::string& what)>& onException);

// The loop did something that ended at `now`: a run began, a message was delivered, a script
// acted. On Windows the quiet spell that ends a loop with nobody there counts from the last of
// these, so that a handler or an action that took long (a check waits on the network) still has
// its timer delivered.
void NoteActivity(uint64_t now);

// When the loop must look again although no input came: the next timer's due time on Linux. On
// Windows, where armed timers cannot be seen, a while after the last activity, so that a loop
// with nobody there ends only once the add-on has gone quiet. Nothing: only input can bring more.
std::optional<uint64_t> NextDue(uint64_t now);

// Waits, with nobody there to give input, until `deadline` of SteadyMilliseconds: false at once
// without a deadline, else true once it has passed (on Windows also as soon as a message comes).
bool WaitWithoutInput(std::optional<uint64_t> deadline);

}  // namespace winsys::port
