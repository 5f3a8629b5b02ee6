// TextBackendTest.cpp: the terminal backend driven through a pipe as its input, its output caught
// in a temporary file: how a dialog and a message box are drawn, how typed lines press buttons and
// answer boxes, what end of input does, and that timers fire while a window waits for a line.
#include "DgTestSupport.h"
#include "LoopTestSupport.h"

#include <cstdio>
#include <unistd.h>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace {

using dgtest::ClickObserver;
using dgtest::TestDialog;
using winsys::MainLoop;

GS::UniString Utf8(const char* text) { return GS::UniString(text, CC_UTF8); }

constexpr const char* kPrompt = "Choose a button number (0 closes): ";

// A pipe of the C runtime's descriptors, as the backend reads its input from one.
int MakePipe(int fds[2]) {
#ifdef _WIN32
    return _pipe(fds, 65536, _O_BINARY);
#else
    return pipe(fds);
#endif
}

size_t Count(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

// The shared sample dialog, with a label that has text to draw.
class SampleDialog : public dgtest::SampleDialog {
public:
    explicit SampleDialog(bool withCancel = true) : dgtest::SampleDialog(withCancel) {
        label.SetText(Utf8("Objekty"));
        label.SetFontSize(0);
    }
};

class TextBackend : public looptest::LoopTest {
protected:
    void SetUp() override {
        LoopTest::SetUp();
        ASSERT_EQ(MakePipe(fds), 0);
        output = std::tmpfile();
        ASSERT_NE(output, nullptr);
        MainLoop::Instance().SetBackend(presentation::MakeTextBackend(fds[0], output));
    }

    void TearDown() override {
        LoopTest::TearDown();  // drops the backend before its input and output go
        EndInput();
        close(fds[0]);
        std::fclose(output);
    }

    void Type(const std::string& text) {
        ASSERT_GE(fds[1], 0);
        ASSERT_EQ(write(fds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    void EndInput() {
        if (fds[1] >= 0) {
            close(fds[1]);
            fds[1] = -1;
        }
    }

    // Everything written so far; the backend goes on writing at the end.
    std::string Output() {
        std::string text;
        std::rewind(output);
        char chunk[4096];
        for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, output)) > 0;) {
            text.append(chunk, got);
        }
        std::fseek(output, 0, SEEK_END);
        return text;
    }

    int fds[2] = {-1, -1};
    FILE* output = nullptr;
};

TEST_F(TextBackend, ADialogIsDrawnWithItsTitleUnderlinedItsLinesAndNumberedButtons) {
    Type("0\n");
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());

    // Items keep their columns (7 pixels a column); the label and the first row's button overlap
    // vertically and share a line; the strip has no text and takes none.
    const std::string expected =
        "\nSeznam aktualizovatelných objektů\n" + std::string(33, '=') + "\n\n" + " *Objekty*" +
        std::string(48, ' ') + "[1] Aktualizovat\n" + std::string(58, ' ') + "[2] Aktualizovat\n" +
        std::string(30, ' ') + "[0] Zavřít\n" + kPrompt;
    EXPECT_EQ(Output(), expected);
}

TEST_F(TextBackend, AHiddenItemIsNotDrawnAndADisabledButtonShowsInRoundBrackets) {
    Type("1\n0\n");
    SampleDialog dialog;
    dialog.second.SetVisibility(false);
    dialog.first.Disable();
    EXPECT_TRUE(dialog.Invoke());

    const std::string out = Output();
    EXPECT_NE(out.find("(1) Aktualizovat"), std::string::npos) << out;
    EXPECT_EQ(out.find("[2]"), std::string::npos) << out;
    EXPECT_NE(out.find("Button 1 cannot be pressed now."), std::string::npos) << out;
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close}));
}

TEST_F(TextBackend, ARowNumberPressesThatRowsUpdateButton) {
    Type("2\n0\n");
    SampleDialog dialog;
    ClickObserver observer;
    dialog.second.Attach(observer);
    EXPECT_TRUE(dialog.Invoke());

    EXPECT_EQ(observer.sources, (std::vector<DG::ButtonItem*>{&dialog.second}));
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.second, &dialog.close}));
    EXPECT_FALSE(dialog.second.IsEnabled());
}

TEST_F(TextBackend, ZeroPressesTheCancelButtonWhoseHandlerAborts) {
    Type("0\n");
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close}));
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);
}

TEST_F(TextBackend, ZeroClosesADialogWithoutACancelButtonAsCancelled) {
    Type("0\n");
    SampleDialog dialog(false);
    EXPECT_FALSE(dialog.Invoke());
    EXPECT_TRUE(dialog.clicked.empty());
}

TEST_F(TextBackend, JunkInputPrintsAHintAndAsksAgain) {
    Type("abc\n\n9\n-1\n 0 \n");
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());

    const std::string out = Output();
    EXPECT_EQ(Count(out, "Type the number of a button, 0 to close."), 3u) << out;
    EXPECT_EQ(Count(out, "There is no button 9."), 1u) << out;
    EXPECT_EQ(Count(out, kPrompt), 5u) << out;
    // Asking again does not draw the dialog again: nothing changed.
    EXPECT_EQ(Count(out, "Seznam"), 1u) << out;
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close}));
}

TEST_F(TextBackend, APartialLineWaitsForItsEndAndALastLineWithoutEndStillCounts) {
    Type("2\n");
    Type("0");
    EndInput();
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.second, &dialog.close}));
}

TEST_F(TextBackend, EndOfInputClosesTheDialogAsItsCloseBox) {
    EndInput();
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close}));
}

TEST_F(TextBackend, EndOfInputEndsADialogWithoutACancelButtonAsCancelled) {
    EndInput();
    SampleDialog dialog(false);
    EXPECT_FALSE(dialog.Invoke());
}

TEST_F(TextBackend, TheDialogIsDrawnAgainOnceAfterAClickHandlerChangedIt) {
    Type("1\n0\n");
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());

    // The handler disabled the button and set the label: two changes, one drawing.
    const std::string out = Output();
    EXPECT_EQ(Count(out, "*Probíhá stahování*"), 1u) << out;
    EXPECT_EQ(Count(out, "(1) Aktualizovat"), 1u) << out;
    EXPECT_EQ(Count(out, "Seznam aktualizovatelných objektů\n"), 2u) << out;
    EXPECT_EQ(Count(out, kPrompt), 2u) << out;
}

TEST_F(TextBackend, APressThatChangesNothingAsksAgainWithoutDrawing) {
    Type("1\n0\n");
    SampleDialog dialog;
    dialog.onRowClick = [] {};
    EXPECT_TRUE(dialog.Invoke());

    const std::string out = Output();
    EXPECT_EQ(Count(out, "Seznam"), 1u) << out;
    EXPECT_EQ(Count(out, kPrompt), 2u) << out;
}

TEST_F(TextBackend, ATimerFiresWhileTheDialogWaitsForInput) {
    int ticks = 0;
    onMessage = [&](HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
        if (message != WM_TIMER) {
            return DefWindowProcW(hwnd, message, wParam, lParam);
        }
        // The user answers only after the third tick: the wait for input let the ticks through.
        if (++ticks == 3) {
            KillTimer(hwnd, 1);
            Type("0\n");
        }
        return 0;
    };
    // Three ticks are due 20, 40 and 60 ms at the earliest after the arming.
    const uint64_t start = Now();
    SetTimer(window, 1, 20, nullptr);
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(ticks, 3);
    EXPECT_GE(Now() - start, 60u);
}

TEST_F(TextBackend, AChangeMadeByATimerIsDrawn) {
    SampleDialog dialog;
    onMessage = [&](HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
        if (message != WM_TIMER) {
            return DefWindowProcW(hwnd, message, wParam, lParam);
        }
        KillTimer(hwnd, 1);
        dialog.label.SetText(Utf8("Hotovo"));
        Type("0\n");
        return 0;
    };
    SetTimer(window, 1, 10, nullptr);
    EXPECT_TRUE(dialog.Invoke());
    const std::string out = Output();
    EXPECT_EQ(Count(out, "*Hotovo*"), 1u) << out;
}

TEST_F(TextBackend, AMessageBoxIsDrawnAndEnterAnswersOk) {
    Type("\n");
    EXPECT_EQ(looptest::ShowMessageBox(u"Soubor je poškozený.", u"Chyba", MB_OK | MB_ICONERROR),
              IDOK);
    EXPECT_EQ(Output(), "\n== Chyba ==\nSoubor je poškozený.\n[Enter] OK\nPress Enter: ");
}

TEST_F(TextBackend, OneAlsoAnswersOk) {
    Type("1\n");
    EXPECT_EQ(looptest::ShowMessageBox(u"Text", u"Title", MB_OKCANCEL), IDOK);
}

TEST_F(TextBackend, TwoAnswersCancelWhereThereIsACancel) {
    Type("2\n");
    EXPECT_EQ(looptest::ShowMessageBox(u"Text", u"Title", MB_OKCANCEL), IDCANCEL);
    EXPECT_NE(Output().find("[1] OK  [2] Cancel\n"), std::string::npos) << Output();
}

TEST_F(TextBackend, TwoIsJunkWhereThereIsNoCancel) {
    Type("2\nx\n\n");
    EXPECT_EQ(looptest::ShowMessageBox(u"Text", u"Title", MB_OK), IDOK);
    const std::string out = Output();
    EXPECT_EQ(Count(out, "Press Enter for OK."), 2u) << out;
    EXPECT_EQ(Count(out, "Press Enter: "), 3u) << out;
}

TEST_F(TextBackend, EndOfInputAnswersAMessageBoxAsItsCloseBox) {
    EndInput();
    EXPECT_EQ(looptest::ShowMessageBox(u"Text", u"Title", MB_OKCANCEL), IDCANCEL);
    EXPECT_EQ(looptest::ShowMessageBox(u"Text", u"Title", MB_OK), IDOK);
}

TEST_F(TextBackend, AMessageBoxOpenedByAClickIsAnsweredThenTheDialogIsDrawnAgain) {
    Type("1\n2\n0\n");
    SampleDialog dialog;
    int32_t answer = 0;
    dialog.onRowClick = [&answer] {
        answer = looptest::ShowMessageBox(u"Aktualizovat?", u"Dotaz", MB_OKCANCEL);
    };
    EXPECT_TRUE(dialog.Invoke());

    EXPECT_EQ(answer, IDCANCEL);
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.first, &dialog.close}));
    const std::string out = Output();
    const size_t box = out.find("== Dotaz ==");
    ASSERT_NE(box, std::string::npos) << out;
    EXPECT_NE(out.find("Seznam aktualizovatelných objektů\n", box), std::string::npos) << out;
}

TEST_F(TextBackend, InputIsLeftUnreadWhileNoWindowIsOpen) {
    Type("0\n");
    int ticks = 0;
    onMessage = [&](HWND hwnd, UINT message, WPARAM, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            ++ticks;
            KillTimer(hwnd, 1);
        }
        return 0;
    };
    SetTimer(window, 1, 10, nullptr);
    MainLoop::Instance().Run();  // the timer fires; with nothing armed and no window, Run ends
    EXPECT_EQ(ticks, 1);
    EXPECT_EQ(Output(), "");

    // The line typed before is still there for the dialog.
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close}));
}

TEST_F(TextBackend, TheBackendIsNamedText) {
    EXPECT_EQ(MainLoop::Instance().Backend().Name(), "text");
}

}  // namespace
