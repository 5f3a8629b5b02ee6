// SystemMessageBox_windows.cpp: the system's message boxes as modal windows of the main loop.
//
// The add-on shows its message boxes through user32 itself, and user32 runs their nested loop. A
// hook on the loop's thread sees each box come up: it traces the box as our own MessageBoxW does
// on Linux, puts it on the loop's modal stack for the backend to show and answer, and while the
// box is up a thread timer hands the backend its turns from inside user32's loop.
#include "LoopPort.h"
#include "LoopSupport.h"
#include "charcode/CharCode.h"
#include "winsys/MainLoop.h"

#include <windows.h>

#include <map>
#include <memory>
#include <string>

namespace winsys {

namespace {

// The controls of a message box: its text, and its icon (20 on Windows, 1088 under wine).
constexpr int TextControl = 0xFFFF;
constexpr int IconControls[] = {20, 1088};
// How often the backend gets a turn while a box is up: the system's shortest timer.
constexpr UINT TurnMilliseconds = USER_TIMER_MINIMUM;

std::string WindowText(HWND window) {
    const int length = GetWindowTextLengthW(window);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(window, text.data(), length + 1)));
    return charcode::Utf16ToUtf8(std::u16string(text.begin(), text.end()));
}

// MB_OK or MB_OKCANCEL by the buttons, with the icon flag of the icon the box shows.
uint32_t TypeOf(HWND box) {
    uint32_t type = GetDlgItem(box, IDCANCEL) != nullptr ? MB_OKCANCEL : MB_OK;
    for (int control : IconControls) {
        const auto icon =
            reinterpret_cast<HICON>(SendDlgItemMessageW(box, control, STM_GETICON, 0, 0));
        if (icon == nullptr) {
            continue;
        }
        if (icon == LoadIconA(nullptr, IDI_ERROR)) {
            type |= MB_ICONERROR;
        } else if (icon == LoadIconA(nullptr, IDI_WARNING)) {
            type |= MB_ICONWARNING;
        } else if (icon == LoadIconA(nullptr, IDI_INFORMATION)) {
            type |= MB_ICONINFORMATION;
        }
    }
    return type;
}

class SystemMessageBox final : public MessageBoxModal {
public:
    explicit SystemMessageBox(HWND box)
        : box(box), title(WindowText(box)), text(WindowText(GetDlgItem(box, TextControl))),
          type(TypeOf(box)) {}

    bool IsOpen() const override { return open && IsWindow(box); }

    // The close box answers Cancel where there is a Cancel button, else OK.
    bool PressCloseBox() override {
        if (!IsOpen()) {
            return false;
        }
        Answer(HasCancel() ? IDCANCEL : IDOK);
        return true;
    }

    void Close() override { PressCloseBox(); }

    std::string Title() const override { return title; }
    std::string Text() const override { return text; }
    uint32_t Type() const override { return type; }

    // As a click on the button: the box ends its loop with that answer at its next message.
    void Answer(int32_t value) override {
        const int button = value == IDCANCEL && HasCancel() ? IDCANCEL : IDOK;
        PostMessageW(box, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                     reinterpret_cast<LPARAM>(GetDlgItem(box, button)));
        open = false;
    }

private:
    bool HasCancel() const { return (type & 0x0F) == MB_OKCANCEL; }

    HWND box;
    std::string title;
    std::string text;
    uint32_t type;
    bool open = true;
};

struct Watch {
    MainLoop* loop = nullptr;
    HHOOK hook = nullptr;
    std::map<HWND, std::unique_ptr<SystemMessageBox>> boxes;
    std::map<UINT_PTR, HWND> turnTimers;
};

Watch& TheWatch() {
    // Never destroyed, like the loop it serves.
    static Watch* watch = new Watch;
    return *watch;
}

bool IsMessageBox(HWND window) {
    wchar_t className[16] = {};
    GetClassNameW(window, className, 16);
    return std::wstring(className) == L"#32770" && GetDlgItem(window, TextControl) != nullptr;
}

void CALLBACK GiveTurn(HWND /*window*/, UINT /*message*/, UINT_PTR timer, DWORD /*time*/) {
    Watch& watch = TheWatch();
    const auto box = watch.turnTimers.find(timer);
    if (box == watch.turnTimers.end()) {
        return;
    }
    const auto found = watch.boxes.find(box->second);
    if (found != watch.boxes.end()) {
        watch.loop->SystemModalTurn(*found->second);
    }
}

void Opened(Watch& watch, HWND window) {
    auto box = std::make_unique<SystemMessageBox>(window);
    Json::Value trace(Json::objectValue);
    trace["kind"] = "messagebox";
    trace["title"] = box->Title();
    trace["text"] = box->Text();
    trace["type"] = box->Type();
    watch.loop->Trace(detail::JsonLine(trace));
    SystemMessageBox& opened = *box;
    watch.boxes[window] = std::move(box);
    watch.turnTimers[SetTimer(nullptr, 0, TurnMilliseconds, GiveTurn)] = window;
    watch.loop->BeginSystemModal(opened);
}

void Closing(Watch& watch, HWND window) {
    const auto box = watch.boxes.find(window);
    if (box == watch.boxes.end()) {
        return;
    }
    for (auto timer = watch.turnTimers.begin(); timer != watch.turnTimers.end();) {
        if (timer->second == window) {
            KillTimer(nullptr, timer->first);
            timer = watch.turnTimers.erase(timer);
        } else {
            ++timer;
        }
    }
    watch.loop->EndSystemModal(*box->second);
    watch.boxes.erase(box);
}

LRESULT CALLBACK SeeWindow(int code, WPARAM wParam, LPARAM lParam) {
    Watch& watch = TheWatch();
    const auto window = reinterpret_cast<HWND>(wParam);
    if (code == HCBT_ACTIVATE && window != nullptr && !watch.boxes.contains(window) &&
        IsMessageBox(window)) {
        Opened(watch, window);
    } else if (code == HCBT_DESTROYWND) {
        Closing(watch, window);
    }
    return CallNextHookEx(watch.hook, code, wParam, lParam);
}

}  // namespace

namespace port {

void WatchSystemModals(MainLoop& loop) {
    Watch& watch = TheWatch();
    watch.loop = &loop;
    watch.hook = SetWindowsHookExW(WH_CBT, SeeWindow, nullptr, GetCurrentThreadId());
}

}  // namespace port

}  // namespace winsys
