// MonitorTimerTest_windows.cpp: the hidden window's timer as the system fires it, through the
// thread's message queue (on Linux the emulator's virtual clock fires it in the end-to-end tests).
#include "MonitorOnFakeHost.h"
#include "MonitorWindow.h"

#include <functional>
#include <gtest/gtest.h>

namespace {

// Dispatches the thread's messages until `done` holds or `milliseconds` have passed; whether it
// holds.
bool PumpUntil(const std::function<bool()>& done, DWORD milliseconds) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (;;) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
        }
        const ULONGLONG now = GetTickCount64();
        if (done() || now >= end) {
            return done();
        }
        MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(end - now), QS_ALLINPUT,
                                    MWMO_INPUTAVAILABLE);
    }
}

long CommandsWritten() { return CallsOf("CallUndoable"); }

using MonitorTimer = MonitorOnFakeHost;

TEST_F(MonitorTimer, SystemFiresTheHiddenWindowsTimerOnceAndTheStatesAreWrittenAsOneCommand) {
    MonitorInstance();
    // The monitor's own timer, armed short so that the test does not wait the second.
    ASSERT_NE(SetTimer(monitor::hiddenWindow, monitor::kTimerId, 10, nullptr), 0u);

    EXPECT_TRUE(PumpUntil([] { return CommandsWritten() > 0; }, 2000));
    // Left armed, a 10-millisecond timer would have fired again in this time.
    PumpUntil([] { return false; }, 100);
    EXPECT_EQ(CommandsWritten(), 1);
}

TEST_F(MonitorTimer, DestroyKillsAnArmedTimer) {
    MonitorInstance();
    ASSERT_NE(SetTimer(monitor::hiddenWindow, monitor::kTimerId, 10, nullptr), 0u);
    MonitorDestroy();

    PumpUntil([] { return false; }, 100);
    EXPECT_EQ(CommandsWritten(), 0);
}

}  // namespace
