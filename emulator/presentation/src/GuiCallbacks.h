// GuiCallbacks.h: the work of a window's callback, run so that an exception never unwinds
// through the toolkit's or the system's event dispatch.
#pragma once

#include <functional>

namespace presentation::gui {

// Runs `work`. An exception is kept, and RethrowCallbackError throws it once the dispatch has
// returned.
void RunCallback(const std::function<void()>& work);
void RethrowCallbackError();

}  // namespace presentation::gui
