// ScriptBackendTest.cpp: the script backend: its clock (virtual on Linux, the system's on
// Windows), its verbs, the verbs it passes to the emulator, its errors and its trace lines.
#include "LoopTestSupport.h"

namespace {

using looptest::LoopTest;
using presentation::ScriptAction;
using winsys::MainLoop;
using ScriptBackend = LoopTest;

#ifndef _WIN32  // the virtual clock: on Windows the timers are the system's, and so is the time
TEST_F(ScriptBackend, WaitMovesTheVirtualClock) {
    std::vector<uint64_t> marks;
    UseScript({"mark", "wait 300", "mark", "wait 0", "mark", "wait 1200", "mark"},
              [&](const ScriptAction&) { marks.push_back(Now()); });
    EXPECT_EQ(MainLoop::Instance().Backend().Name(), "script");
    EXPECT_EQ(Now(), 0u);
    MainLoop::Instance().Run();
    EXPECT_EQ(marks, (std::vector<uint64_t>{0, 300, 300, 1500}));
}

TEST_F(ScriptBackend, TimersFireDuringAWaitAtTheirOwnTimes) {
    std::vector<uint64_t> fired;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            fired.push_back(Now());
            if (fired.size() == 3) {
                KillTimer(target, id);
            }
        }
        return 0;
    };
    std::vector<uint64_t> marks;
    UseScript({"wait 250", "mark"}, [&](const ScriptAction&) { marks.push_back(Now()); });
    SetTimer(window, 1, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(fired, (std::vector<uint64_t>{100, 200, 300}));
    EXPECT_EQ(marks, (std::vector<uint64_t>{250}));
}

TEST_F(ScriptBackend, WithNoActionLeftTheClockJumpsToTheNextTimer) {
    std::vector<uint64_t> fired;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            fired.push_back(Now());
            KillTimer(target, id);
        }
        return 0;
    };
    UseScript({});
    SetTimer(window, 1, 3600000, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(fired, (std::vector<uint64_t>{3600000}));
}
#else
TEST_F(ScriptBackend, TheClockStartsWithTheScriptAndAWaitLastsItsTime) {
    std::vector<uint64_t> marks;
    UseScript({"mark", "wait 200", "mark", "wait 0", "mark"},
              [&](const ScriptAction&) { marks.push_back(Now()); });
    EXPECT_EQ(MainLoop::Instance().Backend().Name(), "script");
    EXPECT_LT(Now(), 1000u);
    MainLoop::Instance().Run();
    ASSERT_EQ(marks.size(), 3u);
    EXPECT_GE(marks[1], marks[0] + 200);
    EXPECT_GE(marks[2], marks[1]);
}

TEST_F(ScriptBackend, TheSystemsTimersFireDuringAWait) {
    int fired = 0;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER && ++fired == 3) {
            KillTimer(target, id);
        }
        return 0;
    };
    std::vector<int> firedAtMark;
    // Three ticks of 20 ms fit well inside the wait.
    UseScript({"wait 300", "mark"}, [&](const ScriptAction&) { firedAtMark.push_back(fired); });
    SetTimer(window, 1, 20, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(firedAtMark, std::vector<int>{3});
}
#endif

TEST_F(ScriptBackend, EmulatorVerbsArePassedThroughWithTheirWordsAndLines) {
    std::vector<ScriptAction> passed;
    UseScript({"event project 4", "", "place 6 Doors/D01.xml", "undo"},
              [&](const ScriptAction& action) { passed.push_back(action); });
    MainLoop::Instance().Run();
    ASSERT_EQ(passed.size(), 3u);
    EXPECT_EQ(passed[0].line, 1);
    EXPECT_EQ(passed[0].verb, "event");
    EXPECT_EQ(passed[0].words, (std::vector<std::string>{"project", "4"}));
    EXPECT_EQ(passed[1].line, 3);
    EXPECT_EQ(passed[1].verb, "place");
    EXPECT_EQ(passed[1].words, (std::vector<std::string>{"6", "Doors/D01.xml"}));
    EXPECT_EQ(passed[2].verb, "undo");
    EXPECT_TRUE(passed[2].words.empty());
    EXPECT_EQ(presentation::ScriptErrorCount(), 0);
}

TEST_F(ScriptBackend, AnEmulatorVerbMayArmATimerThatThenRuns) {
    int fired = 0;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            ++fired;
            KillTimer(target, id);
        }
        return 0;
    };
    UseScript({"arm"}, [&](const ScriptAction&) { SetTimer(window, 1, 500, nullptr); });
    MainLoop::Instance().Run();
    EXPECT_EQ(fired, 1);
#ifndef _WIN32  // the virtual clock stands at the timer's time
    EXPECT_EQ(Now(), 500u);
#endif
}

TEST_F(ScriptBackend, EveryActionIsTracedBeforeItRuns) {
    size_t tracedBeforeVerb = 0;
    UseScript({"wait 300", "event library 0"},
              [&](const ScriptAction&) { tracedBeforeVerb = traceLines.size(); });
    MainLoop::Instance().Run();
    const auto traced = TraceOfKind("script");
    ASSERT_EQ(traced.size(), 2u);
    EXPECT_EQ(traced[0]["line"].asInt(), 1);
    EXPECT_EQ(traced[0]["action"].asString(), "wait 300");
    EXPECT_EQ(traced[1]["line"].asInt(), 2);
    EXPECT_EQ(traced[1]["action"].asString(), "event library 0");
    EXPECT_EQ(tracedBeforeVerb, 2u);
}

TEST_F(ScriptBackend, OkWithNoWindowOpenIsATracedAndCountedError) {
    UseScript({"wait 10", "ok"});
    testing::internal::CaptureStderr();
    MainLoop::Instance().Run();
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(presentation::ScriptErrorCount(), 1);
    EXPECT_NE(errors.find("orvhost: script line 2: "), std::string::npos) << errors;
    const auto traced = TraceOfKind("script");
    ASSERT_EQ(traced.size(), 3u);
    EXPECT_EQ(traced[1]["action"].asString(), "ok");
    EXPECT_EQ(traced[2]["line"].asInt(), 2);
    EXPECT_FALSE(traced[2]["error"].asString().empty());
}

TEST_F(ScriptBackend, ClickAndCloseWithNoWindowOpenAreErrors) {
    UseScript({"click 1", "close"});
    testing::internal::CaptureStderr();
    MainLoop::Instance().Run();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(presentation::ScriptErrorCount(), 2);
}

TEST_F(ScriptBackend, AWaitWithoutANumberIsAnError) {
    UseScript({"wait", "wait soon", "wait 10ms"});
    testing::internal::CaptureStderr();
    MainLoop::Instance().Run();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(presentation::ScriptErrorCount(), 3);
#ifndef _WIN32  // the virtual clock stood still
    EXPECT_EQ(Now(), 0u);
#endif
}

TEST_F(ScriptBackend, AnUnknownVerbWithoutAnEmulatorIsAnError) {
    UseScript({"dance"});
    testing::internal::CaptureStderr();
    MainLoop::Instance().Run();
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(presentation::ScriptErrorCount(), 1);
    EXPECT_NE(errors.find("dance"), std::string::npos);
}

TEST_F(ScriptBackend, SettingABackendStartsTheErrorCountAgain) {
    UseScript({"ok"});
    testing::internal::CaptureStderr();
    MainLoop::Instance().Run();
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(presentation::ScriptErrorCount(), 1);
    UseScript({});
    EXPECT_EQ(presentation::ScriptErrorCount(), 0);
}

TEST_F(ScriptBackend, MicrosecondsSince1601FollowTheScriptsClock) {
    std::vector<uint64_t> marks;
    UseScript({"mark", "wait 300", "mark"}, [&](const ScriptAction&) {
        marks.push_back(MainLoop::Instance().NowMicroseconds1601());
    });
    MainLoop::Instance().Run();
    ASSERT_EQ(marks.size(), 2u);
#ifndef _WIN32  // the virtual clock moved by the wait alone
    EXPECT_EQ(marks[1] - marks[0], 300000u);
#else
    EXPECT_GE(marks[1] - marks[0], 300000u);
#endif
    // 2020-01-01 as microseconds since 1601: the start is the system time, not 0.
    EXPECT_GT(marks[0], 13222310400000000u);
}

TEST_F(ScriptBackend, TheNoneBackendReadsTheSystemClockIn1601Microseconds) {
    // The system clock in microseconds since 1601, read on either side of the reading.
    const auto systemClock = [] {
        return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                         std::chrono::system_clock::now().time_since_epoch())
                                         .count()) +
               11644473600000000u;
    };
    const uint64_t before = systemClock();
    const uint64_t now = MainLoop::Instance().NowMicroseconds1601();
    const uint64_t after = systemClock();
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

TEST_F(ScriptBackend, WithoutATraceSinkLinesAreDropped) {
    MainLoop::Instance().SetTraceSink(nullptr);
    UseScript({"wait 5"});
    MainLoop::Instance().Run();
    EXPECT_TRUE(traceLines.empty());
}

}  // namespace
