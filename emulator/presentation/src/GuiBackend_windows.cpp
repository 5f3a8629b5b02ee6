// GuiBackend_windows.cpp: the backend with real windows on Windows: every dialog a Win32 window
// of real controls, every message box the system's own; the main loop pumps their messages and
// this waits for the next one or the next deadline.
//
// Two hooks from the environment let a gui run go unattended (the whole road under Xvfb):
//   ORV_GUI_SCREENSHOT=FILE     the first dialog of the process, once on screen, as a PNG
//   ORV_GUI_CLOSE_AFTER_MS=N    every dialog and message box closed, as by its close box, N ms
//                               after it is shown
#include "GuiWindows_windows.h"
#include "Presentation.h"
#include "presentation/Backends.h"
#include "presentation/PngWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace presentation {

namespace {

// With a window open and nothing due, the wait ends this often anyway; the loop then simply
// waits again.
constexpr uint64_t kIdleWaitMilliseconds = 60000;
// How long a shown dialog is given to be drawn before its picture is taken.
constexpr uint64_t kOnScreenMilliseconds = 100;

// The screenshot is of the process's first dialog: it is claimed once.
bool screenshotClaimed = false;

// The client area of `window` as it stands on screen, controls included.
void WriteScreenshot(HWND window, const std::string& file) {
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    RECT client{};
    GetClientRect(window, &client);
    const int width = client.right;
    const int height = client.bottom;
    HDC source = GetDC(window);
    HDC memory = CreateCompatibleDC(source);
    HBITMAP bitmap = CreateCompatibleBitmap(source, width, height);
    HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, source, 0, 0, SRCCOPY);
    SelectObject(memory, old);
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // top-down
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    std::vector<uint8_t> bgrx(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    const int rows =
        GetDIBits(memory, bitmap, 0, static_cast<UINT>(height), bgrx.data(), &info, DIB_RGB_COLORS);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(window, source);
    std::vector<uint8_t> rgb(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
    for (size_t pixel = 0; pixel < rgb.size() / 3; ++pixel) {
        rgb[pixel * 3] = bgrx[pixel * 4 + 2];
        rgb[pixel * 3 + 1] = bgrx[pixel * 4 + 1];
        rgb[pixel * 3 + 2] = bgrx[pixel * 4];
    }
    if (rows != height || !WritePng(file, rgb.data(), width, height, 3)) {
        std::fprintf(stderr, "orvhost: cannot write the screenshot %s\n", file.c_str());
    }
}

class GuiBackend final : public PresentationBackend {
public:
    std::string Name() const override { return "gui"; }

    uint64_t NowMilliseconds() override { return winsys::SteadyMilliseconds(); }

    bool Wait(std::optional<uint64_t> deadline) override {
        if (const std::optional<uint64_t> hook = NextHookDue()) {
            deadline = deadline ? std::min(*deadline, *hook) : *hook;
        }
        if (!deadline) {
            if (open.empty()) {
                return false;  // no window, nothing due: no input can come
            }
            deadline = NowMilliseconds() + kIdleWaitMilliseconds;
        }
        // Ends early at the first message: the loop dispatches it.
        winsys::WaitWithoutInput(deadline);
        RunDueHooks();
        gui::RethrowCallbackError();
        return true;
    }

    void ModalOpened(winsys::ModalWindow& window) override {
        open.push_back(&window);
        if (auto* dialog = dynamic_cast<hostkit::DialogModal*>(&window)) {
            gui::ShownWindow& shownWindow = *(shown[&window] = gui::ShowDialog(*dialog));
            if (!screenshotClaimed && gui::Environment("ORV_GUI_SCREENSHOT")) {
                screenshotClaimed = true;
                screenshotTarget = shownWindow.Window();
                screenshotDue = NowMilliseconds() + kOnScreenMilliseconds;
            }
        }
        // A message box is the system's own and already on screen.
        if (closeAfter) {
            closeDue[&window] = NowMilliseconds() + *closeAfter;
        }
    }

    void ModalClosing(winsys::ModalWindow& window) override {
        std::erase(open, &window);
        closeDue.erase(&window);
        if (const auto found = shown.find(&window); found != shown.end()) {
            if (screenshotTarget == found->second->Window()) {
                screenshotTarget = nullptr;
            }
            shown.erase(found);
        }
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
            HWND target = std::exchange(screenshotTarget, nullptr);
            WriteScreenshot(target, gui::Environment("ORV_GUI_SCREENSHOT").value_or(""));
        }
        // One at a time: a close changes the map.
        for (bool closed = true; closed;) {
            closed = false;
            for (const auto& [window, at] : closeDue) {
                if (at > now) {
                    continue;
                }
                winsys::ModalWindow* const target = window;
                closeDue.erase(target);
                if (const auto found = shown.find(target); found != shown.end()) {
                    if (found->second->Window() == screenshotTarget) {
                        closeDue[target] = now + kOnScreenMilliseconds;  // not before its picture
                        break;
                    }
                    // As a click on the close box.
                    PostMessageW(found->second->Window(), WM_CLOSE, 0, 0);
                } else {
                    target->PressCloseBox();
                }
                closed = true;
                break;
            }
        }
    }

    std::vector<winsys::ModalWindow*> open;
    std::map<winsys::ModalWindow*, std::unique_ptr<gui::ShownWindow>> shown;
    const std::optional<uint64_t> closeAfter = gui::CloseAfterMilliseconds();
    std::map<winsys::ModalWindow*, uint64_t> closeDue;
    HWND screenshotTarget = nullptr;
    uint64_t screenshotDue = 0;
};

}  // namespace

std::unique_ptr<winsys::UiBackend> MakeGuiBackend() { return std::make_unique<GuiBackend>(); }

}  // namespace presentation
