// ModalDialogTest.cpp: a modal dialog on the main loop: driven by a script (clicks, close), by the
// none backend, with timers firing in its nested loop, and the trace lines it writes.
#include "DgTestSupport.h"
#include "LoopTestSupport.h"
#include "hostkit/DGModal.h"

namespace {

using dgtest::SampleDialog;

using dgtest::ClickObserver;
using dgtest::PanelRecorder;
using dgtest::TestDialog;
using looptest::LoopTest;
using winsys::MainLoop;
using ModalDialog = LoopTest;

Json::Value Corners(int left, int top, int right, int bottom) {
    Json::Value corners(Json::arrayValue);
    for (int value : {left, top, right, bottom}) {
        corners.append(value);
    }
    return corners;
}

TEST_F(ModalDialog, AScriptClicksARowThenClosesItAndTheTraceShowsEveryStep) {
    UseScript({"click 2", "close"});
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_FALSE(dialog.IsOpen());
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.second, &dialog.close}));
    EXPECT_EQ(presentation::ScriptErrorCount(), 0);
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);

    const auto traced = TraceOfKind("dialog");
    ASSERT_EQ(traced.size(), 3u);
    const Json::Value& open = traced[0];
    EXPECT_EQ(open["event"].asString(), "open");
    EXPECT_EQ(open["title"].asString(), "Seznam aktualizovatelných objektů");
    EXPECT_EQ(open["width"].asInt(), 500);
    EXPECT_EQ(open["height"].asInt(), 250);
    EXPECT_FALSE(open["icon"].asBool());
    const Json::Value& items = open["items"];
    ASSERT_EQ(items.size(), 5u);
    EXPECT_EQ(items[0]["kind"].asString(), "Button");
    EXPECT_EQ(items[0]["text"].asString(), "Zavřít");
    EXPECT_EQ(items[0]["rect"], Corners(210, 215, 290, 245));
    EXPECT_TRUE(items[0]["cancel"].asBool());
    EXPECT_TRUE(items[0]["visible"].asBool());
    EXPECT_TRUE(items[0]["enabled"].asBool());
    EXPECT_EQ(items[1]["kind"].asString(), "LeftText");
    EXPECT_EQ(items[1]["text"].asString(), "");
    EXPECT_EQ(items[1]["rect"], Corners(10, 10, 400, 30));
    EXPECT_EQ(items[1]["fontSize"].asInt(), -1);
    EXPECT_EQ(items[1]["fontStyle"].asInt(), 16);
    EXPECT_FALSE(items[1].isMember("cancel"));
    EXPECT_EQ(items[2]["kind"].asString(), "Button");
    EXPECT_EQ(items[2]["text"].asString(), "Aktualizovat");
    EXPECT_FALSE(items[2]["cancel"].asBool());
    EXPECT_EQ(items[3]["rect"], Corners(410, 60, 490, 90));
    EXPECT_EQ(items[4]["kind"].asString(), "UserItem");
    EXPECT_EQ(items[4]["background"].asString(), "#F7F7F7");
    EXPECT_FALSE(items[4].isMember("text"));
    EXPECT_FALSE(items[4].isMember("fontSize"));

    const Json::Value& update = traced[1];
    EXPECT_EQ(update["event"].asString(), "update");
    EXPECT_EQ(update["items"][1]["text"].asString(), "Probíhá stahování");
    EXPECT_TRUE(update["items"][2]["enabled"].asBool());
    EXPECT_FALSE(update["items"][3]["enabled"].asBool());

    EXPECT_EQ(traced[2]["event"].asString(), "close");
    EXPECT_EQ(traced[2]["title"].asString(), "Seznam aktualizovatelných objektů");
    EXPECT_TRUE(traced[2]["aborted"].asBool());
    // The text stands in the line as UTF-8, not as escapes.
    bool found = false;
    for (const std::string& line : traceLines) {
        found = found || line.find("Probíhá stahování") != std::string::npos;
    }
    EXPECT_TRUE(found);
}

TEST_F(ModalDialog, TheCancelButtonIsTheButtonSetAsCancel) {
    SampleDialog dialog;
    EXPECT_EQ(dialog.CancelButton(), &dialog.close);
    SampleDialog plain(false);
    EXPECT_EQ(plain.CancelButton(), nullptr);
}

TEST_F(ModalDialog, AClickThatDoesNotApplyIsAScriptErrorAndChangesNothing) {
    // Row 3 does not exist, row 1 is disabled after its first click, "click x" is no row.
    UseScript({"click 3", "click 1", "click 1", "click x", "ok 1", "close"});
    SampleDialog dialog;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(dialog.Invoke());
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(presentation::ScriptErrorCount(), 4) << errors;
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.first, &dialog.close}));
    const auto traced = TraceOfKind("dialog");
    ASSERT_EQ(traced.size(), 3u);  // open, the one click that applied, close
    EXPECT_EQ(traced[1]["event"].asString(), "update");
}

TEST_F(ModalDialog, CloseWithoutACancelButtonEndsTheLoopAsCancelled) {
    UseScript({"close"});
    SampleDialog dialog(false);
    EXPECT_FALSE(dialog.Invoke());
    EXPECT_TRUE(dialog.clicked.empty());
    const auto traced = TraceOfKind("dialog");
    ASSERT_EQ(traced.size(), 2u);
    EXPECT_EQ(traced[1]["event"].asString(), "close");
    EXPECT_FALSE(traced[1]["aborted"].asBool());
}

TEST_F(ModalDialog, OkClosesItAsCloseDoes) {
    UseScript({"ok"});
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close}));
}

TEST_F(ModalDialog, ACancelHandlerThatDoesNotAbortCannotHoldTheLoopForEver) {
    UseScript({"close"});
    SampleDialog dialog(true, false);
    EXPECT_FALSE(dialog.Invoke());
    // Pressed by the script, then once more as the script ended with the dialog open.
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close, &dialog.close}));
    const auto traced = TraceOfKind("dialog");
    ASSERT_EQ(traced.size(), 3u);
    EXPECT_EQ(traced[1]["event"].asString(), "update");
    EXPECT_FALSE(traced[2]["aborted"].asBool());
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);
}

TEST_F(ModalDialog, TheNoneBackendClosesItAtOnce) {
    EXPECT_EQ(MainLoop::Instance().Backend().Name(), "none");
    SampleDialog dialog;
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(dialog.clicked, (std::vector<DG::ButtonItem*>{&dialog.close}));
    SampleDialog plain(false);
    EXPECT_FALSE(plain.Invoke());
    const auto traced = TraceOfKind("dialog");
    ASSERT_EQ(traced.size(), 4u);
    EXPECT_EQ(traced[0]["event"].asString(), "open");
    EXPECT_EQ(traced[1]["event"].asString(), "close");
}

TEST_F(ModalDialog, ObserversHearItOpenAndCloseAndAnOpenedHandlerMayAbort) {
    SampleDialog dialog;
    struct Aborter : PanelRecorder {
        void PanelOpened(const DG::PanelOpenEvent& event) override {
            PanelRecorder::PanelOpened(event);
            static_cast<DG::ModalDialog*>(event.GetSource())->Abort();
        }
    } observer;
    dialog.Attach(observer);
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(observer.heard, (std::vector<std::string>{"opened", "closed"}));
    EXPECT_EQ(observer.sources, (std::vector<DG::Panel*>{&dialog, &dialog}));
    EXPECT_TRUE(dialog.clicked.empty());  // the loop never ran
}

#ifndef _WIN32  // the script's virtual clock: on Windows the timers are the system's
TEST_F(ModalDialog, TimersFireInsideItsNestedLoopAndTheBackendSeesTheDialog) {
    SampleDialog dialog;
    std::vector<std::pair<uint64_t, DG::ModalDialog*>> fired;  // time, dialog on top
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            auto* top = dynamic_cast<hostkit::DialogModal*>(MainLoop::Instance().TopModal());
            fired.emplace_back(Now(), top != nullptr ? &top->Dialog() : nullptr);
            if (fired.size() == 3) {
                KillTimer(target, id);
            }
        }
        return 0;
    };
    UseScript({"wait 250", "close"});
    SetTimer(window, 1, 100, nullptr);
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(Now(), 250u);
    MainLoop::Instance().Run();
    EXPECT_EQ(fired, (std::vector<std::pair<uint64_t, DG::ModalDialog*>>{
                         {100, &dialog}, {200, &dialog}, {300, nullptr}}));
}
#else
TEST_F(ModalDialog, TheSystemsTimersFireInsideItsNestedLoopWhileTheScriptWaits) {
    SampleDialog dialog;
    std::vector<DG::ModalDialog*> fired;  // the dialog on top at each tick
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            auto* top = dynamic_cast<hostkit::DialogModal*>(MainLoop::Instance().TopModal());
            fired.push_back(top != nullptr ? &top->Dialog() : nullptr);
            if (fired.size() == 3) {
                KillTimer(target, id);
            }
        }
        return 0;
    };
    // Three ticks of 20 ms fit well inside the wait, which lasts its time on the system's clock.
    UseScript({"wait 300", "close"});
    SetTimer(window, 1, 20, nullptr);
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_GE(Now(), 300u);
    EXPECT_EQ(fired, (std::vector<DG::ModalDialog*>{&dialog, &dialog, &dialog}));
}
#endif

TEST_F(ModalDialog, AClickHandlerMayOpenAMessageBoxInsideIt) {
    UseScript({"click 1", "ok", "close"});
    SampleDialog dialog;
    int answer = 0;
    ClickObserver boxOpener([&](DG::ButtonItem*) {
        answer = looptest::ShowMessageBox(u"Hotovo", u"OrvUpdate", MB_OKCANCEL);
    });
    dialog.first.Attach(boxOpener);
    EXPECT_TRUE(dialog.Invoke());
    EXPECT_EQ(answer, IDOK);
    EXPECT_EQ(presentation::ScriptErrorCount(), 0);
}

}  // namespace
