// TimerTest.cpp: timers on the main loop: order, repetition, re-arming, killing, lateness, and
// exceptions that leave a handler.
#include "LoopTestSupport.h"

#include <stdexcept>

namespace {

using looptest::LoopTest;
using Timers = LoopTest;
using winsys::MainLoop;

struct Firing {
    uint64_t at;
    UINT_PTR id;
    bool operator==(const Firing&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Firing& firing) {
    return out << "{id " << firing.id << " at " << firing.at << "}";
}

// Records WM_TIMER with the loop's time; each timer stops after `firings` deliveries.
class TimerLog {
public:
    explicit TimerLog(int firings = 1) : firings(firings) {}

    looptest::MessageHandler Handler() {
        return [this](HWND window, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
            if (message != WM_TIMER) {
                return DefWindowProcW(window, message, wParam, lParam);
            }
            log.push_back(Firing{MainLoop::Instance().NowMilliseconds(), wParam});
            if (CountOf(wParam) >= firings) {
                KillTimer(window, wParam);
            }
            return 0;
        };
    }

    int CountOf(UINT_PTR id) const {
        int count = 0;
        for (const Firing& firing : log) {
            count += firing.id == id ? 1 : 0;
        }
        return count;
    }

    std::vector<Firing> log;

private:
    int firings;
};

TEST_F(Timers, DueTimersFireInDueTimeOrderAndTiesInArmingOrder) {
    UseScript({});
    TimerLog timers;
    onMessage = timers.Handler();
    SetTimer(window, 1, 300, nullptr);
    SetTimer(window, 2, 100, nullptr);
    SetTimer(window, 3, 300, nullptr);
    SetTimer(window, 4, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{100, 2}, {100, 4}, {300, 1}, {300, 3}}));
}

TEST_F(Timers, ATimerRepeatsEveryIntervalUntilKilled) {
    UseScript({});
    TimerLog timers(4);
    onMessage = timers.Handler();
    ASSERT_EQ(SetTimer(window, 9, 250, nullptr), 9u);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{250, 9}, {500, 9}, {750, 9}, {1000, 9}}));
    EXPECT_EQ(Now(), 1000u);
}

TEST_F(Timers, TimersOfTwoWindowsKeepTheirOrderWhenTheyFallDueTogetherAgain) {
    UseScript({});
    TimerLog timers(3);
    onMessage = timers.Handler();
    HWND second = NewWindow();
    SetTimer(second, 1, 100, nullptr);
    SetTimer(window, 2, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log,
              (std::vector<Firing>{{100, 1}, {100, 2}, {200, 1}, {200, 2}, {300, 1}, {300, 2}}));
}

TEST_F(Timers, ReArmingRestartsTheDelay) {
    UseScript({"wait 400", "rearm"}, [&](const presentation::ScriptAction& action) {
        ASSERT_EQ(action.verb, "rearm");
        SetTimer(window, 1, 1000, nullptr);
    });
    TimerLog timers;
    onMessage = timers.Handler();
    SetTimer(window, 1, 1000, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{1400, 1}}));
}

TEST_F(Timers, ThreeReArmsWithin900MsGiveOneFiring1000MsAfterTheLast) {
    UseScript({"wait 300", "rearm", "wait 300", "rearm", "wait 300", "rearm"},
              [&](const presentation::ScriptAction&) { SetTimer(window, 5, 1000, nullptr); });
    TimerLog timers;
    onMessage = timers.Handler();
    SetTimer(window, 5, 1000, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{1900, 5}}));
}

TEST_F(Timers, KillTimerInsideTheHandlerMakesItFireOnce) {
    UseScript({"wait 5000"});
    TimerLog timers(1);
    onMessage = timers.Handler();
    SetTimer(window, 3, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{100, 3}}));
    EXPECT_EQ(Now(), 5000u);
}

TEST_F(Timers, ATimerKilledByAnEarlierHandlerOfTheSameTurnIsNotDelivered) {
    UseScript({});
    std::vector<Firing> log;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            log.push_back(Firing{Now(), id});
            KillTimer(target, id);
            if (id == 1) {
                EXPECT_TRUE(KillTimer(target, 2));
            }
        }
        return 0;
    };
    SetTimer(window, 1, 100, nullptr);
    SetTimer(window, 2, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(log, (std::vector<Firing>{{100, 1}}));
}

TEST_F(Timers, ATimerReArmedByAnEarlierHandlerOfTheSameTurnWaitsForItsNewDueTime) {
    UseScript({});
    std::vector<Firing> log;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            log.push_back(Firing{Now(), id});
            KillTimer(target, id);
            if (id == 1) {
                SetTimer(target, 2, 50, nullptr);
            }
        }
        return 0;
    };
    SetTimer(window, 1, 100, nullptr);
    SetTimer(window, 2, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(log, (std::vector<Firing>{{100, 1}, {150, 2}}));
}

TEST_F(Timers, DestroyWindowKillsItsTimers) {
    UseScript({});
    TimerLog timers;
    onMessage = timers.Handler();
    HWND doomed = NewWindow();
    SetTimer(doomed, 1, 100, nullptr);
    SetTimer(window, 2, 200, nullptr);
    ASSERT_TRUE(DestroyWindow(doomed));
    EXPECT_FALSE(KillTimer(doomed, 1));
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{200, 2}}));
}

TEST_F(Timers, ADestroyedWindowsTimerDueInTheSameTurnIsNotDelivered) {
    UseScript({});
    HWND doomed = NewWindow();
    std::vector<Firing> log;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            log.push_back(Firing{Now(), id});
            KillTimer(target, id);
            DestroyWindow(doomed);
        }
        return 0;
    };
    SetTimer(window, 1, 100, nullptr);
    SetTimer(doomed, 2, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(log, (std::vector<Firing>{{100, 1}}));
}

TEST_F(Timers, SetTimerOnAnUnknownWindowReturnsZero) {
    SetLastError(0);
    EXPECT_EQ(SetTimer(nullptr, 1, 100, nullptr), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
    HWND gone = NewWindow();
    ASSERT_TRUE(DestroyWindow(gone));
    EXPECT_EQ(SetTimer(gone, 1, 100, nullptr), 0u);
}

TEST_F(Timers, KillTimerFailsWhenTheTimerIsNotArmed) {
    EXPECT_FALSE(KillTimer(window, 77));
    ASSERT_EQ(SetTimer(window, 77, 100, nullptr), 77u);
    EXPECT_TRUE(KillTimer(window, 77));
    EXPECT_FALSE(KillTimer(window, 77));
}

TEST_F(Timers, AnIntervalBelowTenMillisecondsCountsAsTen) {
    UseScript({});
    TimerLog timers(2);
    onMessage = timers.Handler();
    SetTimer(window, 1, 0, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{10, 1}, {20, 1}}));
}

std::vector<Firing> timerProcLog;

void RecordingTimerProc(HWND window, UINT message, UINT_PTR id, DWORD time) {
    EXPECT_EQ(message, WM_TIMER);
    timerProcLog.push_back(Firing{time, id});
    KillTimer(window, id);
}

TEST_F(Timers, ATimerProcReceivesTheFiringInsteadOfTheWindowProcedure) {
    UseScript({});
    timerProcLog.clear();
    TimerLog windowProcedure;
    onMessage = windowProcedure.Handler();
    SetTimer(window, 6, 700, RecordingTimerProc);
    MainLoop::Instance().Run();
    EXPECT_EQ(timerProcLog, (std::vector<Firing>{{700, 6}}));
    EXPECT_TRUE(windowProcedure.log.empty());
}

// A backend whose every wait oversleeps: the clock jumps a whole second at a time.
class OversleepingBackend final : public winsys::UiBackend {
public:
    std::string Name() const override { return "oversleeping"; }
    uint64_t NowMilliseconds() override { return clock; }
    bool Wait(std::optional<uint64_t> deadline) override {
        if (!deadline) {
            return false;
        }
        clock += 1000;
        return true;
    }
    void ModalOpened(winsys::ModalWindow& window) override { window.Close(); }
    void ModalClosing(winsys::ModalWindow&) override {}

private:
    uint64_t clock = 0;
};

TEST_F(Timers, ALateTimerFiresOncePerTurnAndCountsItsNextIntervalFromThen) {
    MainLoop::Instance().SetBackend(std::make_unique<OversleepingBackend>());
    TimerLog timers(3);
    onMessage = timers.Handler();
    SetTimer(window, 1, 100, nullptr);
    MainLoop::Instance().Run();
    EXPECT_EQ(timers.log, (std::vector<Firing>{{1000, 1}, {2000, 1}, {3000, 1}}));
}

TEST_F(Timers, AnExceptionFromTheWindowProcedureIsTracedAndTheLoopGoesOn) {
    UseScript({});
    int firings = 0;
    onMessage = [&](HWND target, UINT message, WPARAM id, LPARAM) -> LRESULT {
        if (message == WM_TIMER) {
            ++firings;
            if (firings == 1) {
                throw std::runtime_error("handler broke");
            }
            KillTimer(target, id);
        }
        return 0;
    };
    SetTimer(window, 1, 100, nullptr);
    testing::internal::CaptureStderr();
    MainLoop::Instance().Run();
    const std::string errors = testing::internal::GetCapturedStderr();
    // The timer stayed armed as the handler left it, so it fired a second time.
    EXPECT_EQ(firings, 2);
    const auto traced = TraceOfKind("exception");
    ASSERT_EQ(traced.size(), 1u);
    EXPECT_EQ(traced[0]["where"].asString(), "timer");
    EXPECT_EQ(traced[0]["what"].asString(), "handler broke");
    EXPECT_NE(errors.find("handler broke"), std::string::npos);
}

void ThrowingTimerProc(HWND window, UINT, UINT_PTR id, DWORD) {
    KillTimer(window, id);
    throw 17;
}

TEST_F(Timers, AnExceptionOfAnyTypeFromATimerProcIsTraced) {
    UseScript({});
    TimerLog later;
    onMessage = later.Handler();
    SetTimer(window, 1, 100, ThrowingTimerProc);
    SetTimer(window, 2, 300, nullptr);
    testing::internal::CaptureStderr();
    MainLoop::Instance().Run();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(TraceOfKind("exception").size(), 1u);
    EXPECT_EQ(later.log, (std::vector<Firing>{{300, 2}}));
}

TEST_F(Timers, RunReturnsAtOnceWithNoTimerAndNoScript) {
    UseScript({});
    MainLoop::Instance().Run();
    EXPECT_EQ(Now(), 0u);
}

TEST_F(Timers, TheNoneBackendFiresOnTheSystemClock) {
    TimerLog timers(2);
    onMessage = timers.Handler();
    const uint64_t start = Now();
    SetTimer(window, 1, 20, nullptr);
    MainLoop::Instance().Run();
    ASSERT_EQ(timers.log.size(), 2u);
    EXPECT_GE(timers.log[0].at, start + 20);
    // The next firing is due an interval after the turn that fired the first; the handler's own
    // reading of the clock may come a little after that turn.
    EXPECT_GE(timers.log[1].at, start + 40);
}

}  // namespace
