// Backends.h: the emulator's presentation: the backends of the main loop that show dialogs and
// message boxes, and decide how time passes and where input comes from.
//
//   script - no window; a virtual clock that only moves when the script waits or when nothing
//            else is left but an armed timer (on Windows, whose timers are the system's, the
//            steady clock since the script began, and a wait lasts that long); the actions of
//            the script drive the loop;
//   none   - the system clock; every modal window closes at once (a message box is
//            acknowledged, a dialog closed);
//   text   - the system clock; windows drawn on the terminal, buttons chosen by typing numbers;
//   gui    - the system clock; FLTK windows, their widgets at the items' exact rectangles.
//
// Each writes to the loop's trace sink, as one JSON line, every dialog it shows (when it opens,
// after each script action on it, when it closes, and each resize) and every script action.
#pragma once

#include "presentation/ScriptAction.h"
#include "winsys/MainLoop.h"

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace presentation {

// The script backend. `emulatorVerb` runs the verbs the loop does not know itself (every verb
// but wait, click, close and ok). A UI verb with no modal window open, or one the window refuses,
// is an error: it is traced, reported on standard error, and counted.
std::unique_ptr<winsys::UiBackend>
MakeScriptBackend(std::vector<ScriptAction> actions,
                  std::function<void(const ScriptAction&)> emulatorVerb);
std::unique_ptr<winsys::UiBackend> MakeNoneBackend();
// FLTK windows on the X display: each dialog item becomes a widget at its rectangle (carrying the
// item as its user data), FLTK's loop waits for input and for the next timer. Throws
// std::runtime_error when no X display can be reached.
//
// Two variables of the environment let a gui run go unattended (the demo under Xvfb):
//   ORV_GUI_SCREENSHOT=FILE     the first dialog of the process, once on screen, as a PNG
//   ORV_GUI_CLOSE_AFTER_MS=N    every dialog and message box closed, as by its close box, N ms
//                               after it is shown
// Not built for Windows yet: there it throws std::runtime_error saying so.
std::unique_ptr<winsys::UiBackend> MakeGuiBackend();
// The terminal backend: the system's steady clock; a modal window drawn as text on `output`,
// answered by lines read from `inputFd` (left open: the caller owns it). End of input closes
// every window as its close box would.
std::unique_ptr<winsys::UiBackend> MakeTextBackend(int inputFd = 0, FILE* output = stdout);

// The script errors of the loop's current backend: each backend counts from 0, and a backend
// that is none of these has none.
int ScriptErrorCount();
// Counts one more, for an error of a verb the emulator ran.
void CountScriptError();

}  // namespace presentation
