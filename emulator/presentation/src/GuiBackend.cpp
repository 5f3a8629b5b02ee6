// GuiBackend.cpp: the backend with real windows: FLTK draws every modal window, and FLTK's event
// loop waits for input and for the next timer of the main loop.
//
// Two hooks from the environment let a gui run go unattended (the demo under Xvfb):
//   ORV_GUI_SCREENSHOT=FILE     the first dialog of the process, once on screen, as a PNG
//   ORV_GUI_CLOSE_AFTER_MS=N    every dialog and message box closed, as by its close box, N ms
//                               after it is shown
#include "GuiWindows.h"
#include "Presentation.h"
#include "presentation/Backends.h"
#include "presentation/PngWriter.h"

#include <FL/Fl.H>
#include <FL/Fl_Window.H>
#include <FL/fl_draw.H>
#include <FL/x.H>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace presentation {

namespace {

// With a window open and no timer armed, FLTK wakes up this often anyway; the loop then simply
// waits again.
constexpr double kIdleWaitSeconds = 60.0;
// How often a shown window is looked at until the X server shows it.
constexpr uint64_t kOnScreenPollMilliseconds = 50;

// The screenshot is of the process's first dialog: it is claimed once, whatever backend
// shows it.
bool screenshotClaimed = false;

bool IsOnScreen(Fl_Window& window) {
    XWindowAttributes attributes{};
    return window.shown() && XGetWindowAttributes(fl_display, fl_xid(&window), &attributes) != 0 &&
           attributes.map_state == IsViewable;
}

void WriteScreenshot(Fl_Window& window, const std::string& file) {
    window.redraw();
    Fl::flush();
    window.make_current();
    uchar* pixels = fl_read_image(nullptr, 0, 0, window.w(), window.h());
    const bool written = pixels != nullptr && WritePng(file, pixels, window.w(), window.h(), 3);
    delete[] pixels;
    if (!written) {
        std::fprintf(stderr, "orvhost: cannot write the screenshot %s\n", file.c_str());
    }
}

class GuiBackend final : public PresentationBackend {
public:
    std::string Name() const override { return "gui"; }

    uint64_t NowMilliseconds() override { return winsys::SteadyMilliseconds(); }

    bool Wait(std::optional<uint64_t> deadline) override {
        // The hooks' moments are deadlines of their own: FLTK's timeouts would run late, at the
        // start of the wait after.
        if (const std::optional<uint64_t> hook = NextHookDue()) {
            deadline = deadline ? std::min(*deadline, *hook) : *hook;
        }
        if (deadline) {
            const uint64_t now = NowMilliseconds();
            Fl::wait(*deadline > now ? static_cast<double>(*deadline - now) / 1000.0 : 0.0);
        } else if (Fl::first_window() != nullptr) {
            Fl::wait(kIdleWaitSeconds);
        } else {
            return false;  // no window, no timer: no input can come
        }
        RunDueHooks();
        gui::RethrowCallbackError();
        return true;
    }

    void ModalOpened(winsys::ModalWindow& window) override {
        gui::ShownWindow* shownWindow = nullptr;
        if (auto* dialog = dynamic_cast<hostkit::DialogModal*>(&window)) {
            shownWindow = (shown[&window] = gui::ShowDialog(*dialog)).get();
            if (!screenshotClaimed && gui::Environment("ORV_GUI_SCREENSHOT")) {
                screenshotClaimed = true;
                screenshotTarget = shownWindow;
                screenshotDue = NowMilliseconds() + kOnScreenPollMilliseconds;
            }
        } else if (auto* box = dynamic_cast<winsys::MessageBoxModal*>(&window)) {
            shownWindow = (shown[&window] = gui::ShowMessageBox(*box)).get();
        }
        if (shownWindow != nullptr && closeAfter) {
            closeDue[shownWindow] = NowMilliseconds() + *closeAfter;
        }
        // Let the window appear before the loop goes on with timers.
        Fl::flush();
    }

    void ModalClosing(winsys::ModalWindow& window) override {
        if (const auto found = shown.find(&window); found != shown.end()) {
            // No hook may reach a window that is gone.
            closeDue.erase(found->second.get());
            if (screenshotTarget == found->second.get()) {
                screenshotTarget = nullptr;
            }
            shown.erase(found);
        }
        Fl::flush();
    }

private:
    std::optional<uint64_t> NextHookDue() const {
        std::optional<uint64_t> due;
        if (screenshotTarget != nullptr) {
            due = screenshotDue;
        }
        for (const auto& [window, at] : closeDue) {
            due = due ? std::min(*due, at) : at;
        }
        return due;
    }

    void RunDueHooks() {
        const uint64_t now = NowMilliseconds();
        if (screenshotTarget != nullptr && screenshotDue <= now) {
            Fl_Window& window = screenshotTarget->Window();
            if (IsOnScreen(window)) {
                screenshotTarget = nullptr;
                WriteScreenshot(window, gui::Environment("ORV_GUI_SCREENSHOT").value_or(""));
            } else {
                screenshotDue = now + kOnScreenPollMilliseconds;
            }
        }
        // One at a time: a close changes the map.
        for (bool closed = true; closed;) {
            closed = false;
            for (auto& [window, at] : closeDue) {
                if (at > now) {
                    continue;
                }
                if (window == screenshotTarget) {
                    at = now + kOnScreenPollMilliseconds;  // not before its picture is taken
                    continue;
                }
                gui::ShownWindow* const target = window;
                closeDue.erase(target);
                // The window's callback is its close box.
                target->Window().do_callback();
                closed = true;
                break;
            }
        }
    }

    std::map<winsys::ModalWindow*, std::unique_ptr<gui::ShownWindow>> shown;
    const std::optional<uint64_t> closeAfter = gui::CloseAfterMilliseconds();
    std::map<gui::ShownWindow*, uint64_t> closeDue;
    gui::ShownWindow* screenshotTarget = nullptr;
    uint64_t screenshotDue = 0;
};

}  // namespace

std::unique_ptr<winsys::UiBackend> MakeGuiBackend() {
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

}  // namespace presentation
