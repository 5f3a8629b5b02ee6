// GuiCallbacks.h: what both gui backends share: the work of a window's callback, run so that an
// exception never unwinds through the toolkit's or the system's event dispatch, and the
// environment's hooks of an unattended run.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace presentation::gui {

// Runs `work`. An exception is kept, and RethrowCallbackError throws it once the dispatch has
// returned.
void RunCallback(const std::function<void()>& work);
void RethrowCallbackError();

// The value of an environment variable; nothing when unset or empty.
std::optional<std::string> Environment(const char* name);
// ORV_GUI_CLOSE_AFTER_MS; nothing when unset or not a number.
std::optional<uint64_t> CloseAfterMilliseconds();

}  // namespace presentation::gui
