// EventRoutingTest.cpp: project and element events reach the monitor by the routing tables.
#include "ShellFixture.h"

#include <cstring>

namespace {

using EventRoutingTest = ShellTest;
using Calls = std::vector<std::string>;

const API_Guid kElement = [] {
    API_Guid guid;
    std::memset(static_cast<void*>(&guid), 0x42, sizeof(guid));
    return guid;
}();
const std::string kElementText = GS::Guid(kElement).ToString();

ElementEventRecord EventRecord(int32_t number, int32_t type) {
    ElementEventRecord event;
    ZeroRecord(event);
    SetField(event, ElementEventField::Event, number);
    SetField(event, ElementEventField::Type, type);
    SetField(event, ElementEventField::Guid, kElement);
    return event;
}

TEST_F(EventRoutingTest, ProjectEvents1And2And4OpenTheProjectOnTheMonitor) {
    StartWithFakeHost();
    for (int32_t event : {1, 2, 4}) {
        MonitorDestroy();
        monitor_record::Calls().clear();
        EXPECT_EQ(ProjectEventHandler(event, 0), 0);
        EXPECT_EQ(monitor_record::Calls(), (Calls{"construct", "OnProjectOpened"}))
            << "event " << event;
    }
}

TEST_F(EventRoutingTest, ProjectEvent32ResetsTheMonitor) {
    StartWithFakeHost();
    EXPECT_EQ(ProjectEventHandler(32, 0), 0);
    EXPECT_EQ(monitor_record::Calls(), (Calls{"construct", "ResetMonitor"}));
}

TEST_F(EventRoutingTest, LibraryEventPassesItsIndexOrZero) {
    StartWithFakeHost();
    EXPECT_EQ(ProjectEventHandler(0x200000, 17), 0);
    EXPECT_EQ(ProjectEventHandler(0x200000, 0), 0);
    EXPECT_EQ(monitor_record::Calls(),
              (Calls{"construct", "OnLibPartChanged 17", "OnLibPartChanged 0"}));
}

TEST_F(EventRoutingTest, ProjectEvent3BetweenTwoRoutedNumbersIsIgnored) {
    StartWithFakeHost();
    EXPECT_EQ(ProjectEventHandler(3, 0), 0);
    EXPECT_TRUE(monitor_record::Calls().empty());
    EXPECT_FALSE(monitor_record::MonitorExists());
}

TEST_F(EventRoutingTest, EveryOtherProjectEventIsIgnored) {
    StartWithFakeHost();
    for (int32_t event : {0, -1, -2, 5, 8, 16, 33, 64, 0x100000, 0x200001, 0x7FFFFFFF}) {
        EXPECT_EQ(ProjectEventHandler(event, 5), 0) << event;
    }
    EXPECT_TRUE(monitor_record::Calls().empty());
}

TEST_F(EventRoutingTest, ElementEvent1AttachesAnObserverToTheHeaderThenNotifies) {
    StartWithFakeHost();
    const ElementEventRecord event = EventRecord(1, 6);
    EXPECT_EQ(ElementEventHandler(&event), 0);
    const fakehost::Host& host = fakehost::Current();
    ASSERT_EQ(host.Entries(), (Calls{"AttachObserver"}));
    EXPECT_EQ(host.calls[0].numbers, (std::vector<long long>{0}));
    EXPECT_EQ(std::memcmp(host.lastHeader.bytes, event.bytes + 8, ElementHeader::kSize), 0);
    EXPECT_EQ(monitor_record::Calls(), (Calls{"construct", "OnElementEvent 6 " + kElementText}));
}

TEST_F(EventRoutingTest, ElementEvent2BehavesExactlyAsEvent1) {
    StartWithFakeHost();
    const ElementEventRecord first = EventRecord(1, 5);
    ElementEventHandler(&first);
    const auto callsOfEvent1 = fakehost::Current().Entries();
    const auto monitorOfEvent1 = monitor_record::Calls();
    fakehost::Current().calls.clear();
    monitor_record::Calls().clear();

    const ElementEventRecord second = EventRecord(2, 5);
    EXPECT_EQ(ElementEventHandler(&second), 0);
    EXPECT_EQ(fakehost::Current().Entries(), callsOfEvent1);
    EXPECT_EQ(monitor_record::Calls(), (Calls{"OnElementEvent 5 " + kElementText}));
    EXPECT_EQ(monitorOfEvent1.back(), monitor_record::Calls().back());
}

TEST_F(EventRoutingTest, ElementEvent5AttachesNothingAndCallsNothing) {
    StartWithFakeHost();
    const ElementEventRecord event = EventRecord(5, 6);
    EXPECT_EQ(ElementEventHandler(&event), 0);
    EXPECT_TRUE(fakehost::Current().calls.empty());
    EXPECT_TRUE(monitor_record::Calls().empty());
}

TEST_F(EventRoutingTest, ChangeEventsNotifyWithoutAttaching) {
    StartWithFakeHost();
    for (int32_t number : {3, 4, 12, 13, 14}) {
        monitor_record::Calls().clear();
        const ElementEventRecord event = EventRecord(number, 7);
        EXPECT_EQ(ElementEventHandler(&event), 0);
        EXPECT_EQ(monitor_record::Calls().back(), "OnElementEvent 7 " + kElementText)
            << "event " << number;
    }
    EXPECT_TRUE(fakehost::Current().calls.empty());
}

TEST_F(EventRoutingTest, UndoRedoBurstMarksAndNumbersAbove14DoNothing) {
    StartWithFakeHost();
    for (int32_t number : {-1, -2, 0, 5, 6, 7, 8, 9, 10, 11, 15, 16, 100, 0x7FFFFFFF}) {
        const ElementEventRecord event = EventRecord(number, 6);
        EXPECT_EQ(ElementEventHandler(&event), 0) << number;
    }
    EXPECT_TRUE(fakehost::Current().calls.empty());
    EXPECT_TRUE(monitor_record::Calls().empty());
}

TEST_F(EventRoutingTest, AlreadyObservedCountsAsSuccessAndStillNotifies) {
    StartWithFakeHost();
    fakehost::Current().statuses["AttachObserver"] = static_cast<int32_t>(0x810600DEu);
    const ElementEventRecord event = EventRecord(1, 4);
    EXPECT_EQ(ElementEventHandler(&event), 0);
    EXPECT_EQ(monitor_record::Calls().back(), "OnElementEvent 4 " + kElementText);
}

TEST_F(EventRoutingTest, AnotherAttachErrorIsReturnedAfterNotifying) {
    StartWithFakeHost();
    fakehost::Current().statuses["AttachObserver"] = HostError::BadId;
    const ElementEventRecord event = EventRecord(2, 4);
    EXPECT_EQ(ElementEventHandler(&event), HostError::BadId);
    EXPECT_EQ(monitor_record::Calls().back(), "OnElementEvent 4 " + kElementText);
}

TEST_F(EventRoutingTest, ElementTypesAreNotFilteredByTheRouting) {
    StartWithFakeHost();
    const ElementEventRecord wall = EventRecord(1, ElementType::Wall);
    EXPECT_EQ(ElementEventHandler(&wall), 0);
    EXPECT_EQ(fakehost::Current().Entries(), (Calls{"AttachObserver"}));
    EXPECT_EQ(monitor_record::Calls().back(), "OnElementEvent 1 " + kElementText);
}

}  // namespace
