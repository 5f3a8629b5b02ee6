// MessageBoxTest.cpp: the message box on each backend, its trace line, and the nested loop it
// runs while timers keep firing.
#include "LoopTestSupport.h"

#include <stdexcept>

namespace {

using looptest::LoopTest;
using winsys::MainLoop;
using MessageBox = LoopTest;

TEST_F(MessageBox, TheNoneBackendAcknowledgesItAtOnce) {
    EXPECT_EQ(MainLoop::Instance().Backend().Name(), "none");
    EXPECT_EQ(MessageBoxW(nullptr, u"Done.", u"OrvUpdate", MB_OK | MB_ICONINFORMATION), IDOK);
    EXPECT_EQ(MessageBoxW(nullptr, u"Go on?", u"OrvUpdate", MB_OKCANCEL), IDOK);
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);
}

TEST_F(MessageBox, ShowingItWritesATraceLine) {
    MessageBoxW(nullptr, u"Some text", u"Some title", MB_OKCANCEL | MB_ICONWARNING);
    const auto traced = TraceOfKind("messagebox");
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0]["title"].asString(), "Some title");
    EXPECT_EQ(traced[0]["text"].asString(), "Some text");
    EXPECT_EQ(traced[0]["type"].asUInt(), MB_OKCANCEL | MB_ICONWARNING);
}

TEST_F(MessageBox, TheTraceCarriesTheTextAsUtf8WithLoneSurrogatesReplaced) {
    const char16_t text[] = {u'P', 0x0159, u'\u00ED', 0xD83D, 0xDE00, 0xD800, u'x', 0xDC00, 0};
    MessageBoxW(nullptr, text, u"Žluťoučký kůň", MB_OK);
    const auto traced = TraceOfKind("messagebox");
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0]["title"].asString(), "Žluťoučký kůň");
    EXPECT_EQ(traced[0]["text"].asString(), "Pří\U0001F600?x?");
    // The line itself holds UTF-8, not escapes, so that it reads as it shows.
    EXPECT_NE(traceLines.back().find("Žluťoučký"), std::string::npos);
}

TEST_F(MessageBox, ANullCaptionReadsError) {
    MessageBoxW(nullptr, nullptr, nullptr, MB_OK);
    const auto traced = TraceOfKind("messagebox");
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0]["title"].asString(), "Error");
    EXPECT_EQ(traced[0]["text"].asString(), "");
}

TEST_F(MessageBox, ScriptOkAnswersOk) {
    UseScript({"ok"});
    EXPECT_EQ(MessageBoxW(nullptr, u"t", u"c", MB_OKCANCEL), IDOK);
    EXPECT_EQ(presentation::ScriptErrorCount(), 0);
}

TEST_F(MessageBox, ScriptCloseAnswersCancelWhenTheBoxHasCancel) {
    UseScript({"close"});
    EXPECT_EQ(MessageBoxW(nullptr, u"t", u"c", MB_OKCANCEL | MB_ICONWARNING), IDCANCEL);
}

TEST_F(MessageBox, ScriptCloseAnswersOkWhenTheBoxHasOnlyOk) {
    UseScript({"close"});
    EXPECT_EQ(MessageBoxW(nullptr, u"t", u"c", MB_OK | MB_ICONERROR), IDOK);
}

TEST_F(MessageBox, ScriptClickIsRefusedAndCountedAsAnError) {
    UseScript({"click 1", "close"});
    testing::internal::CaptureStderr();
    EXPECT_EQ(MessageBoxW(nullptr, u"t", u"c", MB_OKCANCEL), IDCANCEL);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(presentation::ScriptErrorCount(), 1);
    EXPECT_NE(errors.find("script line 1"), std::string::npos) << errors;
    const auto traced = TraceOfKind("script");
    ASSERT_EQ(traced.size(), 3u);
    EXPECT_EQ(traced[0]["action"].asString(), "click 1");
    EXPECT_EQ(traced[1]["line"].asInt(), 1);
    EXPECT_TRUE(traced[1].isMember("error"));
    EXPECT_EQ(traced[2]["action"].asString(), "close");
}

TEST_F(MessageBox, TheScriptEndingWithTheBoxOpenClosesItAndSaysSo) {
    UseScript({"wait 100"});
    EXPECT_EQ(MessageBoxW(nullptr, u"t", u"c", MB_OKCANCEL), IDCANCEL);
    EXPECT_EQ(Now(), 100u);
    const auto traced = TraceOfKind("script");
    ASSERT_EQ(traced.size(), 2u);
    EXPECT_EQ(traced[1]["note"].asString(), "script ended with a window open: closed");
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);
}

TEST_F(MessageBox, TimersFireInsideItsNestedLoop) {
    std::vector<std::pair<uint64_t, bool>> fired;  // time, inside the box
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            fired.emplace_back(Now(), MainLoop::Instance().TopModal() != nullptr);
            if (fired.size() == 3) {
                KillTimer(target, id);
            }
        }
        return 0;
    };
    UseScript({"wait 250", "ok"});
    SetTimer(window, 1, 100, nullptr);
    EXPECT_EQ(MessageBoxW(nullptr, u"t", u"c", MB_OK), IDOK);
    EXPECT_EQ(Now(), 250u);
    MainLoop::Instance().Run();
    EXPECT_EQ(fired,
              (std::vector<std::pair<uint64_t, bool>>{{100, true}, {200, true}, {300, false}}));
}

TEST_F(MessageBox, ATimerHandlerMayOpenOneWhileAnotherTimerFiresInsideIt) {
    std::vector<std::string> events;
    int answer = 0;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message != WM_TIMER) {
            return 0;
        }
        const bool inside = MainLoop::Instance().TopModal() != nullptr;
        events.push_back(std::to_string(id) + "@" + std::to_string(Now()) +
                         (inside ? " inside" : ""));
        if (id == 1) {
            KillTimer(target, 1);
            answer = MessageBoxW(nullptr, u"Update?", u"OrvUpdate", MB_OKCANCEL);
            events.push_back("answered " + std::to_string(answer));
        } else if (Now() >= 300) {
            KillTimer(target, 2);
        }
        return 0;
    };
    UseScript({"wait 250", "close"});
    SetTimer(window, 1, 100, nullptr);
    // Armed after timer 1 with the same due time: it fires once, inside the box, not again after.
    SetTimer(window, 2, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(answer, IDCANCEL);
    EXPECT_EQ(events, (std::vector<std::string>{"1@100", "2@100 inside", "2@200 inside",
                                                "answered 2", "2@300"}));
}

TEST_F(MessageBox, NestedBoxesAnswerTheTopOneFirst) {
    std::vector<int> answers;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            KillTimer(target, id);
            answers.push_back(MessageBoxW(nullptr, u"inner", u"c", MB_OKCANCEL));
        }
        return 0;
    };
    UseScript({"wait 200", "close", "ok"});
    SetTimer(window, 1, 100, nullptr);
    answers.push_back(MessageBoxW(nullptr, u"outer", u"c", MB_OKCANCEL));
    EXPECT_EQ(answers, (std::vector<int>{IDCANCEL, IDOK}));
}

TEST_F(MessageBox, AnExceptionLeavingItsNestedLoopStillTakesItOffTheStack) {
    UseScript({"explode"},
              [](const presentation::ScriptAction&) { throw std::runtime_error("boom"); });
    EXPECT_THROW(MessageBoxW(nullptr, u"t", u"c", MB_OK), std::runtime_error);
    EXPECT_EQ(MainLoop::Instance().TopModal(), nullptr);
}

// A backend that answers every message box with Cancel, as a user in front of a screen might.
class CancellingBackend final : public winsys::UiBackend {
public:
    std::string Name() const override { return "cancelling"; }
    uint64_t NowMilliseconds() override { return 0; }
    bool Wait(std::optional<uint64_t>) override { return false; }
    void ModalOpened(winsys::ModalWindow& window) override {
        auto* box = dynamic_cast<winsys::MessageBoxModal*>(&window);
        ASSERT_NE(box, nullptr);
        seen = box->Title() + "|" + box->Text() + "|" + std::to_string(box->Type());
        box->Answer(IDCANCEL);
    }
    void ModalClosing(winsys::ModalWindow&) override { closed = true; }

    std::string seen;
    bool closed = false;
};

TEST_F(MessageBox, ABackendSeesWhatToShowAndAnswersIt) {
    auto backend = std::make_unique<CancellingBackend>();
    CancellingBackend* raw = backend.get();
    MainLoop::Instance().SetBackend(std::move(backend));
    EXPECT_EQ(MessageBoxW(nullptr, u"Go on?", u"Čeština", MB_OKCANCEL), IDCANCEL);
    EXPECT_EQ(raw->seen, "Čeština|Go on?|1");
    EXPECT_TRUE(raw->closed);
}

}  // namespace
