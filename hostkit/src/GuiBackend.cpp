// GuiBackend.cpp: the backend with real windows: FLTK draws every modal window, and FLTK's event
// loop waits for input and for the next timer of the main loop.
#include "GuiWindows.h"

#include <FL/Fl.H>
#include <FL/x.H>
#include <chrono>
#include <exception>
#include <map>
#include <stdexcept>
#include <utility>

namespace hostkit {

namespace gui {

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

}  // namespace gui

namespace {

// With a window open and no timer armed, FLTK wakes up this often anyway; the loop then simply
// waits again.
constexpr double kIdleWaitSeconds = 60.0;

class GuiBackend final : public UiBackend {
public:
    std::string Name() const override { return "gui"; }

    uint64_t NowMilliseconds() override {
        // The steady clock, so that timers keep their intervals when the system time is set.
        return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                         std::chrono::steady_clock::now().time_since_epoch())
                                         .count());
    }

    bool Wait(std::optional<uint64_t> deadline) override {
        if (deadline) {
            const uint64_t now = NowMilliseconds();
            Fl::wait(*deadline > now ? static_cast<double>(*deadline - now) / 1000.0 : 0.0);
        } else if (Fl::first_window() != nullptr) {
            Fl::wait(kIdleWaitSeconds);
        } else {
            return false;  // no window, no timer: no input can come
        }
        gui::RethrowCallbackError();
        return true;
    }

    void ModalOpened(ModalWindow& window) override {
        if (auto* dialog = dynamic_cast<DialogModal*>(&window)) {
            shown[&window] = gui::ShowDialog(*dialog);
        } else if (auto* box = dynamic_cast<MessageBoxModal*>(&window)) {
            shown[&window] = gui::ShowMessageBox(*box);
        }
        // Let the window appear before the loop goes on with timers.
        Fl::flush();
    }

    void ModalClosing(ModalWindow& window) override {
        shown.erase(&window);
        Fl::flush();
    }

private:
    std::map<ModalWindow*, std::unique_ptr<gui::ShownWindow>> shown;
};

}  // namespace

std::unique_ptr<UiBackend> MakeGuiBackend() {
    if (fl_display == nullptr) {
        // FLTK ends the process when it cannot open the display: look first. The probe stays
        // connected until FLTK is: an X server resets when its last client leaves, and refuses
        // connections while it does.
        Display* probe = XOpenDisplay(nullptr);
        if (probe == nullptr) {
            throw std::runtime_error(
                "no display: the gui backend needs an X display (set DISPLAY or use --ui text)");
        }
        fl_open_display();
        XCloseDisplay(probe);
        Fl::scheme("gtk+");
    }
    return std::make_unique<GuiBackend>();
}

}  // namespace hostkit
