// GuiCallbacks.cpp: the first exception of a window's callback, kept for the backend's wait,
// and the environment's hooks of an unattended run.
#include "GuiCallbacks.h"

#include <cstdlib>
#include <exception>
#include <utility>

namespace presentation::gui {

namespace {

std::exception_ptr pendingError;

}  // namespace

void RunCallback(const std::function<void()>& work) {
    try {
        work();
    } catch (...) {
        if (!pendingError) {
            pendingError = std::current_exception();
        }
    }
}

void RethrowCallbackError() {
    if (pendingError) {
        std::exception_ptr error = std::exchange(pendingError, nullptr);
        std::rethrow_exception(error);
    }
}

std::optional<std::string> Environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<uint64_t> CloseAfterMilliseconds() {
    const auto text = Environment("ORV_GUI_CLOSE_AFTER_MS");
    if (!text) {
        return std::nullopt;
    }
    char* end = nullptr;
    const long milliseconds = std::strtol(text->c_str(), &end, 10);
    if (*end != '\0' || milliseconds < 0) {
        return std::nullopt;
    }
    return static_cast<uint64_t>(milliseconds);
}

}  // namespace presentation::gui
