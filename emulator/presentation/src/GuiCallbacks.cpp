// GuiCallbacks.cpp: the first exception of a window's callback, kept for the backend's wait.
#include "GuiCallbacks.h"

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

}  // namespace presentation::gui
