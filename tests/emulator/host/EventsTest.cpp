// EventsTest.cpp: subscriptions, the events the user's actions fire at the add-on's handlers,
// and what the add-on may do while it handles them.
#include "HostTestSupport.h"
#include "emulator/Trace.h"

#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>

namespace orvhost::test {
namespace {

class Events : public HostTest {
protected:
    int32_t CatchProjectEvents(int32_t mask, ProjectEventHandlerFn handler) {
        return Entry<HostEntry::CatchProjectEventFn>(HostEntry::CatchProjectEvent)(token, mask,
                                                                                   handler);
    }
    int32_t CatchNewElements(const int32_t* filter, ElementEventHandlerFn handler) {
        return Entry<HostEntry::CatchNewElementFn>(HostEntry::CatchNewElement)(token, filter,
                                                                               handler);
    }
    int32_t InstallObserver(ElementEventHandlerFn handler) {
        return Entry<HostEntry::InstallElementObserverFn>(HostEntry::InstallElementObserver)(
            token, handler);
    }
    // The element events received, as "handler:number".
    static std::vector<std::string> Numbers() {
        std::vector<std::string> numbers;
        for (const Received& event : HandlerLog::events) {
            numbers.push_back(event.handler + ":" + std::to_string(event.number));
        }
        return numbers;
    }
};

TEST_F(Events, ProjectEventReachesTheHandlerWhenItsBitIsInTheMask) {
    ASSERT_EQ(CatchProjectEvents(ProjectEvent::OpenProject | ProjectEvent::LibraryChanged,
                                 RecordingProjectHandler),
              0);
    session->FireProjectEvent(ProjectEvent::OpenProject, 0);
    session->FireProjectEvent(ProjectEvent::CloseProject, 0);
    session->FireProjectEvent(ProjectEvent::LibraryChanged, 2);
    ASSERT_EQ(HandlerLog::events.size(), 2u);
    EXPECT_EQ(HandlerLog::events[0].number, ProjectEvent::OpenProject);
    EXPECT_EQ(HandlerLog::events[1].number, ProjectEvent::LibraryChanged);
    EXPECT_EQ(HandlerLog::events[1].type, 2);
}

TEST_F(Events, NullProjectHandlerUnsubscribes) {
    ASSERT_EQ(CatchProjectEvents(ProjectEvent::OpenProject, RecordingProjectHandler), 0);
    ASSERT_EQ(CatchProjectEvents(ProjectEvent::OpenProject, nullptr), 0);
    session->FireProjectEvent(ProjectEvent::OpenProject, 0);
    EXPECT_TRUE(HandlerLog::events.empty());
}

TEST_F(Events, ExceptionLeavingTheProjectHandlerIsCaught) {
    ASSERT_EQ(CatchProjectEvents(ProjectEvent::OpenProject, RecordingProjectHandler), 0);
    HandlerLog::onProjectEvent = [](int32_t, uint32_t) { throw std::runtime_error("boom"); };
    EXPECT_NO_THROW(session->FireProjectEvent(ProjectEvent::OpenProject, 0));
    EXPECT_EQ(HandlerLog::events.size(), 1u);
}

TEST_F(Events, ChangeInAProjectEventNeedsACommand) {
    ASSERT_EQ(CatchProjectEvents(ProjectEvent::OpenProject, RecordingProjectHandler), 0);
    int32_t status = 0;
    HandlerLog::onProjectEvent = [&](int32_t, uint32_t) {
        status = WriteNumber(kChairGuid, "uptodate", 1);
    };
    session->FireProjectEvent(ProjectEvent::OpenProject, 0);
    EXPECT_EQ(status, HostError::NeedsUndoScope);
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 0.0);
}

TEST_F(Events, ReloadingTheLibraryFiresTheLibraryEventWithIndexZero) {
    ASSERT_EQ(CatchProjectEvents(ProjectEvent::LibraryChanged, RecordingProjectHandler), 0);
    session->ReloadLibrary();
    ASSERT_EQ(HandlerLog::events.size(), 1u);
    EXPECT_EQ(HandlerLog::events[0].number, ProjectEvent::LibraryChanged);
    EXPECT_EQ(HandlerLog::events[0].type, 0);
}

TEST_F(Events, PlacementSendsABurstToTheNewElementHandler) {
    ASSERT_EQ(CatchNewElements(nullptr, RecordingNewElementHandler), 0);
    const API_Guid placed = session->PlaceElement(ElementType::Object, "Objects/Chair.xml").guid;
    EXPECT_EQ(Numbers(), (std::vector<std::string>{"new:-1", "new:1", "new:-2"}));
    ASSERT_EQ(HandlerLog::events.size(), 3u);
    EXPECT_EQ(HandlerLog::events[1].type, ElementType::Object);
    EXPECT_EQ(HandlerLog::events[1].guid, placed);
    EXPECT_EQ(project->FindElement(placed)->libIndex, kChairPart);
}

TEST_F(Events, NewElementFilterLetsOnlyItsTypeThrough) {
    const int32_t filter = ElementType::Door;
    ASSERT_EQ(CatchNewElements(&filter, RecordingNewElementHandler), 0);
    session->PlaceElement(ElementType::Object, "Objects/Chair.xml");
    EXPECT_TRUE(HandlerLog::events.empty());
    session->PlaceElement(ElementType::Door, "Doors/D01.xml");
    EXPECT_EQ(Numbers(), (std::vector<std::string>{"new:-1", "new:1", "new:-2"}));
    EXPECT_EQ(HandlerLog::events[1].type, ElementType::Door);
}

TEST_F(Events, ChangeDuringThePlacementEventBelongsToThePlacementCommand) {
    ASSERT_EQ(CatchNewElements(nullptr, RecordingNewElementHandler), 0);
    int32_t status = -1;
    HandlerLog::onElementEvent = [&](const ElementEventRecord& event) {
        if (GetField<int32_t>(event, ElementEventField::Event) == ElementEvent::Placed) {
            status = WriteNumber(TextOf(GetField<API_Guid>(event, ElementEventField::Guid)),
                                 "uptodate", 2);
            EXPECT_EQ(AttachObserver(TextOf(GetField<API_Guid>(event, ElementEventField::Guid))),
                      0);
        }
    };
    const std::string placed =
        TextOf(session->PlaceElement(ElementType::Lamp, "Objects/Lamp.xml").guid);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(NumberOf(placed, "uptodate"), 2.0);
    EXPECT_EQ(session->UndoTitles(), std::vector<std::string>{"Place element"});
    ASSERT_TRUE(session->Undo());
    EXPECT_EQ(project->FindElement(GuidOf(placed)), nullptr);
}

TEST_F(Events, ModifyingAnObservedElementSendsChangedToTheObserver) {
    ASSERT_EQ(InstallObserver(RecordingObserverHandler), 0);
    ASSERT_EQ(AttachObserver(kChairGuid), 0);
    session->ModifyElement(GuidOf(kChairGuid));
    EXPECT_EQ(Numbers(), (std::vector<std::string>{"observer:-1", "observer:3", "observer:-2"}));
    EXPECT_EQ(HandlerLog::events[1].guid, GuidOf(kChairGuid));
    EXPECT_EQ(HandlerLog::events[1].type, ElementType::Object);
    EXPECT_EQ(session->UndoTitles(), std::vector<std::string>{"Modify element"});
}

TEST_F(Events, ModifyingAnElementNotObservedSendsNothing) {
    ASSERT_EQ(InstallObserver(RecordingObserverHandler), 0);
    ASSERT_EQ(AttachObserver(kChairGuid), 0);
    session->ModifyElement(GuidOf(kChair2Guid));
    EXPECT_TRUE(HandlerLog::events.empty());
}

TEST_F(Events, ModifyingAnUnknownElementThrows) {
    EXPECT_THROW(session->ModifyElement(GuidOf("22222222-0000-4000-8000-000000000000")),
                 std::runtime_error);
}

TEST_F(Events, ChangeDuringTheModifyEventIsAllowedAndUndoneWithIt) {
    ASSERT_EQ(InstallObserver(RecordingObserverHandler), 0);
    ASSERT_EQ(AttachObserver(kChairGuid), 0);
    HandlerLog::onElementEvent = [&](const ElementEventRecord& event) {
        if (GetField<int32_t>(event, ElementEventField::Event) == ElementEvent::Changed) {
            EXPECT_EQ(WriteNumber(kChairGuid, "uptodate", 1), 0);
        }
    };
    session->ModifyElement(GuidOf(kChairGuid));
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 1.0);
    HandlerLog::onElementEvent = nullptr;
    ASSERT_TRUE(session->Undo());
    EXPECT_EQ(NumberOf(kChairGuid, "uptodate"), 0.0);
}

TEST_F(Events, UndoSendsTheUndoEventForTheObservedElementsItTouched) {
    ASSERT_EQ(InstallObserver(RecordingObserverHandler), 0);
    ASSERT_EQ(AttachObserver(kChairGuid), 0);
    ASSERT_EQ(CallUndoable("Sync",
                           [&] {
                               WriteNumber(kChairGuid, "uptodate", 1);
                               return WriteNumber(kDoorGuid, "uptodate", 1);
                           }),
              0);
    HandlerLog::events.clear();
    ASSERT_TRUE(session->Undo());
    EXPECT_EQ(Numbers(), (std::vector<std::string>{"observer:-1", "observer:6", "observer:-2"}));
    EXPECT_EQ(HandlerLog::events[1].guid, GuidOf(kChairGuid));
}

TEST_F(Events, ChangesByTheAddOnAreNotNotifiedToIt) {
    ASSERT_EQ(InstallObserver(RecordingObserverHandler), 0);
    ASSERT_EQ(CatchNewElements(nullptr, RecordingNewElementHandler), 0);
    ASSERT_EQ(CatchProjectEvents(-1, RecordingProjectHandler), 0);
    ASSERT_EQ(AttachObserver(kChairGuid), 0);
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kChairGuid, "uptodate", 1); }), 0);
    EXPECT_TRUE(HandlerLog::events.empty());
}

TEST_F(Events, ExceptionLeavingAnElementHandlerIsCaughtAndTheBurstEnds) {
    ASSERT_EQ(CatchNewElements(nullptr, RecordingNewElementHandler), 0);
    HandlerLog::onElementEvent = [](const ElementEventRecord& event) {
        if (GetField<int32_t>(event, ElementEventField::Event) == ElementEvent::Placed) {
            throw std::runtime_error("boom");
        }
    };
    EXPECT_NO_THROW(session->PlaceElement(ElementType::Object, "Objects/Chair.xml"));
    EXPECT_EQ(Numbers(), (std::vector<std::string>{"new:-1", "new:1", "new:-2"}));
}

TEST_F(Events, EveryCallEventAndCommandIsTraced) {
    const std::filesystem::path file = folder.Path() / "trace.jsonl";
    Trace::Instance().Open(file.string());
    ASSERT_EQ(CatchProjectEvents(ProjectEvent::OpenProject, RecordingProjectHandler), 0);
    session->FireProjectEvent(ProjectEvent::OpenProject, 0);
    int32_t count = 0;
    Entry<HostEntry::GetLibPartCountFn>(HostEntry::GetLibPartCount)(token, &count);
    ASSERT_EQ(CallUndoable("Sync", [&] { return WriteNumber(kChairGuid, "uptodate", 1); }), 0);
    // Later tests of this process write to a file that is gone; nothing reads it.
    std::ifstream in(file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    const auto has = [&](const std::vector<std::string>& parts) {
        for (const std::string& line : lines) {
            bool all = true;
            for (const std::string& part : parts) {
                all = all && line.find(part) != std::string::npos;
            }
            if (all) {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(has({"\"kind\":\"call\"", "\"entry\":\"CatchProjectEvent\"", "\"status\":0"}));
    EXPECT_TRUE(has({"\"kind\":\"event\"", "\"what\":\"project\"", "\"number\":4"}));
    EXPECT_TRUE(has({"\"entry\":\"GetLibPartCount\""}));
    EXPECT_TRUE(has({"\"entry\":\"CallUtility\"", "\"code\":\"OPAR\""}));
    EXPECT_TRUE(has({"\"entry\":\"ChangeElement\"", "\"status\":0"}));
    EXPECT_TRUE(has({"\"kind\":\"command\"", "\"title\":\"Sync\"", "\"status\":0"}));
}

}  // namespace
}  // namespace orvhost::test
