// ScriptWindowsTest_windows.cpp: on Windows a script's dialog is a real window, and the script's
// presses are clicks that the system delivers to its controls, as a user's would be.
#include "DgTestSupport.h"
#include "LoopTestSupport.h"

#include <map>
#include <string>
#include <vector>

namespace {

using presentation::ScriptAction;
using ScriptWindows = looptest::LoopTest;

const wchar_t kTitle[] = L"Seznam aktualizovatelných objektů";

// The top of each button whose procedure saw a click end (WM_LBUTTONUP), in the dialog's client
// coordinates, in order.
std::vector<LONG> clickedTops;
std::map<HWND, WNDPROC> buttonProcedures;

LRESULT CALLBACK RecordingButton(HWND button, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_LBUTTONUP) {
        RECT rect{};
        GetWindowRect(button, &rect);
        MapWindowPoints(nullptr, GetParent(button), reinterpret_cast<POINT*>(&rect), 2);
        clickedTops.push_back(rect.top);
    }
    return CallWindowProcW(buttonProcedures.at(button), button, message, wParam, lParam);
}

BOOL CALLBACK RecordButton(HWND child, LPARAM /*unused*/) {
    wchar_t className[16] = {};
    GetClassNameW(child, className, 16);
    if (std::wstring(className) == L"Button") {
        buttonProcedures[child] = reinterpret_cast<WNDPROC>(
            SetWindowLongPtrW(child, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&RecordingButton)));
    }
    return TRUE;
}

// This process's top-level window titled `title`, or null. The tests run side by side under one
// window system, where another test's dialog bears the same title.
HWND OurWindowTitled(const wchar_t* title) {
    struct Search {
        const wchar_t* title;
        HWND found;
    } search{title, nullptr};
    EnumWindows(
        [](HWND window, LPARAM lParam) -> BOOL {
            auto& search = *reinterpret_cast<Search*>(lParam);
            DWORD process = 0;
            GetWindowThreadProcessId(window, &process);
            wchar_t text[64] = {};
            GetWindowTextW(window, text, 64);
            if (process == GetCurrentProcessId() && std::wstring(text) == search.title) {
                search.found = window;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

TEST_F(ScriptWindows, TheDialogIsShownAndTheRowsButtonReceivesTheClick) {
    clickedTops.clear();
    buttonProcedures.clear();
    dgtest::SampleDialog dialog;
    HWND shown = nullptr;
    UseScript({"look", "click 1", "close"}, [&](const ScriptAction&) {
        shown = OurWindowTitled(kTitle);
        if (shown != nullptr) {
            EnumChildWindows(shown, &RecordButton, 0);
        }
    });

    EXPECT_TRUE(dialog.Invoke());

    ASSERT_NE(shown, nullptr) << "no window titled as the dialog while the script ran";
    EXPECT_EQ(buttonProcedures.size(), 3u) << "the two row buttons and the close button";
    EXPECT_EQ(clickedTops, std::vector<LONG>{10}) << "the first row's button, at its place";
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.first, &dialog.close}));
    EXPECT_EQ(OurWindowTitled(kTitle), nullptr) << "the window goes with the dialog";
    EXPECT_EQ(presentation::ScriptErrorCount(), 0);
}

TEST_F(ScriptWindows, AButtonDisabledOnScreenCannotBeClicked) {
    dgtest::SampleDialog dialog;
    // The first press disables the button, as the add-on's row button does during its download.
    UseScript({"click 1", "click 1", "close"});

    EXPECT_TRUE(dialog.Invoke());

    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.first, &dialog.close}));
    EXPECT_EQ(presentation::ScriptErrorCount(), 1);
}

}  // namespace
