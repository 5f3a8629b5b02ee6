// MonitorUnitTest.cpp: what of the monitor no host can bring about from outside, against the
// recording host table: a failing list of lamps, and messages the hidden window does not handle.
#include "MonitorOnFakeHost.h"
#include "MonitorWindow.h"
#include "common/OVException.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

API_Guid GuidOf(uint8_t value) {
    API_Guid guid;
    std::memset(static_cast<void*>(&guid), value, sizeof(guid));
    return guid;
}

using MonitorUnit = MonitorOnFakeHost;

TEST_F(MonitorUnit, FailingLampListLeavesObjectsWindowsAndDoorsUnwritten) {
    fakehost::Host& host = fakehost::Current();
    host.elementLists[ElementType::Object] = {GuidOf(1)};
    host.elementLists[ElementType::Window] = {GuidOf(2)};
    host.elementLists[ElementType::Door] = {GuidOf(3)};
    host.elementListStatuses[ElementType::Lamp] = HostError::BadParameters;
    VersionCheckState state;
    state.state = StateUpToDate;
    EXPECT_EQ(MonitorInstance().SyncAllElements(5, &state), HostError::BadParameters);
    EXPECT_EQ(CallsOf("GetElementList"), 4);
    EXPECT_EQ(CallsOf("GetElement"), 0) << "no element is looked at";
}

TEST_F(MonitorUnit, ListsAreAskedForObjectsWindowsDoorsAndLampsInThatOrder) {
    MonitorInstance().SyncAllElements(5, nullptr);
    std::vector<long long> types;
    for (const fakehost::Call& call : fakehost::Current().calls) {
        if (call.entry == "GetElementList") {
            types.push_back(call.numbers[0]);
        }
    }
    EXPECT_EQ(types, (std::vector<long long>{6, 4, 5, 7}));
}

TEST_F(MonitorUnit, StopWithNoMonitorEverCreatedClosesNothingAndClearsTheToken) {
    // A class of the monitor's name that is not the monitor's: a teardown that ran without a
    // monitor would unregister it.
    WNDCLASSEXA windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = &DefWindowProcW;
    windowClass.lpszClassName = "ObjectsMonitor";
    ASSERT_NE(RegisterClassExA(&windowClass), 0);

    EXPECT_EQ(AddOnStop(), 0);

    EXPECT_EQ(HostToken, nullptr);
    EXPECT_TRUE(fakehost::Current().calls.empty());
    EXPECT_TRUE(UnregisterClassA("ObjectsMonitor", nullptr)) << "the class was left alone";
}

TEST_F(MonitorUnit, StopAfterTheMonitorWasCreatedTearsItsWindowDown) {
    MonitorInstance();
    const HWND window = monitor::hiddenWindow;
    ASSERT_NE(window, nullptr);

    EXPECT_EQ(AddOnStop(), 0);

    EXPECT_EQ(HostToken, nullptr);
    EXPECT_EQ(monitor::hiddenWindow, nullptr);
    EXPECT_FALSE(DestroyWindow(window)) << "already destroyed";
    EXPECT_FALSE(UnregisterClassA("ObjectsMonitor", nullptr)) << "already unregistered";
}

TEST_F(MonitorUnit, TimerMessageForAnotherWindowGoesToTheDefaultProcedure) {
    MonitorInstance();
    WNDCLASSEXA windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = &DefWindowProcW;
    windowClass.lpszClassName = "OtherWindow";
    RegisterClassExA(&windowClass);
    HWND other = CreateWindowExA(0, "OtherWindow", "OtherWindow", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                 nullptr, nullptr, nullptr);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(monitor::HandlerWindowProc(other, WM_TIMER, monitor::kTimerId, 0), 0);
    EXPECT_EQ(CallsOf("CallUndoable"), 0);
    // The default procedure is seen by what it answers for the other window: its name's length.
    EXPECT_EQ(monitor::HandlerWindowProc(other, WM_GETTEXTLENGTH, 0, 0), 11);
    DestroyWindow(other);
    UnregisterClassA("OtherWindow", nullptr);
}

TEST_F(MonitorUnit, AnotherMessageToTheHiddenWindowGoesToTheDefaultProcedure) {
    MonitorInstance();
    EXPECT_EQ(monitor::HandlerWindowProc(monitor::hiddenWindow, WM_TIMER + 1, 1, 0), 0);
    // The default procedure answers with the length of the name it keeps for the window:
    // "ObjectsMonitor" on Linux; on Windows that name in single bytes taken as UTF-16 (7), as the
    // window's class is ANSI and the wide default procedure stored the name at its creation.
    const LRESULT nameLength = DefWindowProcW(monitor::hiddenWindow, WM_GETTEXTLENGTH, 0, 0);
    EXPECT_GT(nameLength, 0);
    EXPECT_EQ(monitor::HandlerWindowProc(monitor::hiddenWindow, WM_GETTEXTLENGTH, 0, 0),
              nameLength);
    EXPECT_EQ(CallsOf("CallUndoable"), 0);
}

TEST_F(MonitorUnit, TimerOfTheHiddenWindowWritesAsOneCommandWhateverItsId) {
    MonitorInstance();
    EXPECT_EQ(monitor::HandlerWindowProc(monitor::hiddenWindow, WM_TIMER, 77, 0), 0);
    EXPECT_EQ(CallsOf("CallUndoable"), 1);
}

TEST_F(MonitorUnit, FailedCommandOfTheTimerThrowsWithTheHostsText) {
    MonitorInstance();
    fakehost::Current().statuses["CallUndoable"] = HostError::NeedsUndoScope;
    try {
        monitor::HandlerWindowProc(monitor::hiddenWindow, WM_TIMER, 1, 0);
        FAIL() << "no exception";
    } catch (const OVException& error) {
        EXPECT_EQ(error.GetCode(), HostError::NeedsUndoScope);
        EXPECT_STREQ(error.what(), "The called command should be encapsulated in a "
                                   "ACAPI_CallUndoableCommand scope.");
    }
}

TEST_F(MonitorUnit, DestroyClosesTheMonitorAndAnotherOneCanBeMade) {
    MonitorInstance();
    MonitorDestroy();
    EXPECT_EQ(monitor::hiddenWindow, nullptr);
    MonitorInstance();
    EXPECT_NE(monitor::hiddenWindow, nullptr);
}

}  // namespace
