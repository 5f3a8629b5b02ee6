// GuiTestSupport.h: what tests of the gui backend share: finding the widget of an item,
// screenshots kept as PNG artifacts, and a fixture that runs steps from the loop's own timers
// while a modal window is open.
#pragma once

#include "LoopTestSupport.h"
#include "hostkit/DG.h"
#include "presentation/Backends.h"
#include "presentation/PngWriter.h"
#include "winsys/MainLoop.h"

#include <FL/Fl.H>
#include <FL/Fl_Window.H>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace guitest {

// The widget the backend made for `item`: it carries the item as its user data.
Fl_Widget* WidgetOf(Fl_Window& window, const DG::Item& item);

// The direct child whose label is `label`, or null.
Fl_Widget* ChildLabelled(Fl_Window& window, const std::string& label);

// True once the X server shows the window: before, there is nothing to read back.
bool IsOnScreen(Fl_Window& window);

// Draws the window, reads its pixels back and writes them as a PNG to `file`; the number
// of distinct colours, 0 when nothing could be read or written.
size_t Screenshot(Fl_Window& window, const std::filesystem::path& file);

// Each test with the gui backend on the loop, and steps run from the loop's own timers while a
// modal window is open.
class GuiTest : public looptest::LoopTest {
protected:
    void SetUp() override {
        LoopTest::SetUp();
        winsys::MainLoop::Instance().SetBackend(presentation::MakeGuiBackend());
        onMessage = [this](HWND target, UINT message, WPARAM id, LPARAM lParam) -> LRESULT {
            if (message != WM_TIMER) {
                return DefWindowProcW(target, message, id, lParam);
            }
            if (auto found = steps.find(id); found != steps.end()) {
                KillTimer(target, id);
                const std::function<void()> step = std::move(found->second);
                steps.erase(found);
                step();
            } else if (id == kRescueTimer) {
                // A failing step must not leave the test hanging in a modal loop.
                KillTimer(target, id);
                ADD_FAILURE() << "a modal window was still open: closed";
                if (winsys::ModalWindow* top = winsys::MainLoop::Instance().TopModal()) {
                    top->Close();
                }
            } else if (onTimer) {
                onTimer(id);
            }
            return 0;
        };
    }

    // Runs `step` once, `milliseconds` from now, on the main loop.
    void After(UINT milliseconds, std::function<void()> step) {
        if (!rescueArmed) {
            rescueArmed = SetTimer(window, kRescueTimer, 10000, nullptr) != 0;
        }
        const UINT_PTR id = nextStep++;
        steps[id] = std::move(step);
        ASSERT_NE(SetTimer(window, id, milliseconds, nullptr), 0u);
    }

    // Runs `step` once the top window is on screen (a loaded machine may map it late).
    void WhenViewable(std::function<void(Fl_Window&)> step) {
        After(100, [this, step] {
            Fl_Window* top = Fl::first_window();
            if (top != nullptr && IsOnScreen(*top)) {
                step(*top);
            } else {
                WhenViewable(step);
            }
        });
    }

    static constexpr UINT_PTR kRescueTimer = 999;
    std::map<UINT_PTR, std::function<void()>> steps;
    std::function<void(UINT_PTR)> onTimer;
    UINT_PTR nextStep = 100;
    bool rescueArmed = false;
};

}  // namespace guitest
