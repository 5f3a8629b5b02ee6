// MonitoredPartsTest.cpp: which library parts the monitor looks after, which elements it writes,
// and what library, element and project events make it do, seen from outside the real module.
#include "MonitorFixture.h"

#include <algorithm>
#include <cctype>

namespace monitortest {
namespace {

using MonitoredParts = MonitorTest;

TEST_F(MonitoredParts, LibraryWithoutCheckUrlMakesNoRecordNoTimerNoDialog) {
    MakePart("Objects/Chair.xml", {GdlNumberParameter("uptodate", 0), GdlNumberParameter("A", 1)});
    MakePart("Doors/Plain.xml", {GdlTextParameter("title", "door")});
    MakeProject({{Guid(1), 6, "Objects/Chair.xml"}, {Guid(2), 5, "Doors/Plain.xml"}});

    const RunResult run = RunScript({"wait 5000"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Requests().empty());
    EXPECT_TRUE(Commands().empty()) << "no timer, so no undoable command";
    EXPECT_TRUE(DialogOpens().empty());
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
    EXPECT_TRUE(Lines("exception").empty());
}

TEST_F(MonitoredParts, PartWithCheckUrlButWithoutUptodateIsNotMonitored) {
    MakePart("Objects/NoState.xml", {GdlTextParameter("check_url", CheckUrl("D01", "1.0"))});
    // A monitored part beside it shows that the scan did run.
    MakeMonitoredPart("Objects/Watched.xml", CheckUrl("L01", "1.5"));
    MakeProject({{Guid(1), 6, "Objects/NoState.xml"}, {Guid(2), 6, "Objects/Watched.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(RequestTargets(),
              (std::vector<std::string>{"/check?id=L01&version=1.5&format=json"}));
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
}

TEST_F(MonitoredParts, PartWithUptodateButWithoutCheckUrlIsNotMonitored) {
    MakePart("Objects/NoUrl.xml", {GdlNumberParameter("uptodate", 0)});
    MakeMonitoredPart("Objects/Watched.xml", CheckUrl("L01", "1.5"));
    MakeProject({{Guid(1), 6, "Objects/NoUrl.xml"}, {Guid(2), 6, "Objects/Watched.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
}

TEST_F(MonitoredParts, PartWithEmptyCheckUrlIsNotMonitored) {
    MakePart("Objects/Empty.xml",
             {GdlTextParameter("check_url", ""), GdlNumberParameter("uptodate", 0)});
    MakeProject({{Guid(1), 6, "Objects/Empty.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Requests().empty());
    EXPECT_TRUE(Commands().empty());
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
}

TEST_F(MonitoredParts, ParameterNamesAreMatchedWithTheirCase) {
    MakePart("Objects/Upper.xml", {GdlTextParameter("Check_URL", CheckUrl("D01", "1.0")),
                                   GdlNumberParameter("UpToDate", 0)});
    MakeProject({{Guid(1), 6, "Objects/Upper.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Requests().empty());
    EXPECT_TRUE(Commands().empty());
}

TEST_F(MonitoredParts, CheckUrlDeclaredAsArrayIsSkipped) {
    MakePart("Objects/ArrayUrl.xml", {TextArrayParameter("check_url", CheckUrl("D01", "1.0")),
                                      GdlNumberParameter("uptodate", 0)});
    MakeMonitoredPart("Objects/Watched.xml", CheckUrl("L01", "1.5"));
    MakeProject(
        {{Guid(1), 6, "Objects/ArrayUrl.xml", std::nullopt}, {Guid(2), 6, "Objects/Watched.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(RequestTargets(),
              (std::vector<std::string>{"/check?id=L01&version=1.5&format=json"}));
    EXPECT_EQ(ChangesOf(Guid(1)), 0);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
}

TEST_F(MonitoredParts, UptodateDeclaredAsArrayIsSkipped) {
    MakePart("Objects/ArrayState.xml", {GdlTextParameter("check_url", CheckUrl("D01", "1.0")),
                                        NumberArrayParameter("uptodate", 0)});
    MakeMonitoredPart("Objects/Watched.xml", CheckUrl("L01", "1.5"));
    MakeProject({{Guid(1), 6, "Objects/ArrayState.xml", std::nullopt},
                 {Guid(2), 6, "Objects/Watched.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(RequestTargets(),
              (std::vector<std::string>{"/check?id=L01&version=1.5&format=json"}));
    EXPECT_EQ(ChangesOf(Guid(1)), 0);
}

TEST_F(MonitoredParts, ElementsOfType3And8RaiseNoQueryAndNoWrite) {
    SKIP_ON_THE_SYSTEM_CLOCK();
    MakeMonitoredPart("Objects/Lamp.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 3, ""}, {Guid(2), 8, ""}, {Guid(3), 6, "Objects/Lamp.xml"}});

    // Past four hours the record is stale, so any element event that checked would ask.
    const RunResult run = RunScript(
        {"wait 14401000", "place 3", "place 8", "modify " + Guid(1), "modify " + Guid(2)});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u) << "only the scan at opening";
    const auto placed = PlacedElements();
    ASSERT_EQ(placed.size(), 2u);
    for (const auto& [guid, type] : placed) {
        EXPECT_EQ(ChangesOf(guid), 0) << "type " << type;
        EXPECT_EQ(EffectiveUpToDate(guid), std::nullopt);
    }
    EXPECT_EQ(ChangesOf(Guid(1)), 0);
    EXPECT_EQ(ChangesOf(Guid(2)), 0);
    // Such an element has no part, so even a look at it would find nothing to ask or write: what
    // shows the events ignored is that the add-on never looks the element up.
    std::vector<std::string> ignored{Guid(1), Guid(2)};
    for (const auto& [guid, type] : placed) {
        ignored.push_back(guid);
    }
    for (const Json::Value& line : Lines("call")) {
        if (line["entry"].asString() == "GetElement") {
            std::string guid = line["args"]["guid"].asString();
            std::transform(guid.begin(), guid.end(), guid.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
            EXPECT_EQ(std::count(ignored.begin(), ignored.end(), guid), 0) << guid;
        }
    }
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
    EXPECT_EQ(SavedUpToDate(Guid(2)), kUntouched);
    EXPECT_EQ(SavedUpToDate(Guid(3)), 1);
}

TEST_F(MonitoredParts, PlacingAnElementOfEachTypeWritesOnlyTypes4To7) {
    MakeMonitoredPart("Doors/D.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("Objects/O.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("Windows/W.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("Lamps/L.xml", CheckUrl("D01", "2.0"));
    MakeProject({});

    // After the timer, so that only the element events can write.
    const RunResult run = RunScript({"wait 2000", "place 1", "place 2", "place 3",
                                     "place 4 Windows/W.xml", "place 5 Doors/D.xml",
                                     "place 6 Objects/O.xml", "place 7 Lamps/L.xml", "place 8"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 4u) << "the records are fresh: placing asks nothing";
    const auto placed = PlacedElements();
    ASSERT_EQ(placed.size(), 8u);
    for (const auto& [guid, type] : placed) {
        if (type >= 4 && type <= 7) {
            EXPECT_EQ(ChangesOf(guid), 1) << "type " << type;
            EXPECT_EQ(EffectiveUpToDate(guid), 1) << "type " << type;
        } else {
            EXPECT_EQ(ChangesOf(guid), 0) << "type " << type;
        }
    }
}

TEST_F(MonitoredParts, PlacingAnElementOfAPartThatAgreesWithItsRecordWritesNothing) {
    // The part's own value already says 1, which the fresh record says too.
    MakeMonitoredPart("Objects/O.xml", CheckUrl("D01", "2.0"), 1);
    MakeProject({});

    const RunResult run = RunScript({"wait 2000", "place 6 Objects/O.xml"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto placed = PlacedElements();
    ASSERT_EQ(placed.size(), 1u);
    EXPECT_EQ(ChangesOf(placed[0].first), 0);
}

TEST_F(MonitoredParts, PlacedElementOfAnUnknownPartAsksTheServiceAfterTheTableWasEmptied) {
    MakeMonitoredPart("Objects/O.xml", CheckUrl("D01", "2.0"));
    MakeProject({});

    // A closed project empties the table, so the element event makes the record anew.
    const RunResult run = RunScript({"wait 2000", "event project 32", "place 6 Objects/O.xml"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 2u);
    const auto placed = PlacedElements();
    ASSERT_EQ(placed.size(), 1u);
    EXPECT_EQ(ChangesOf(placed[0].first), 1);
    EXPECT_EQ(EffectiveUpToDate(placed[0].first), 1);
}

TEST_F(MonitoredParts, ResetMonitorLeavesTheArmedTimerWhichThenWritesNothingAndOpensNoDialog) {
    // An update with an address would open the dialog, had the table kept it.
    MakeMonitoredPart("Doors/D.xml", CheckUrl("D01", "1.0"));
    MakeProject({{Guid(1), 5, "Doors/D.xml"}});

    const RunResult run = RunScript({"event project 32"});

    ASSERT_EQ(run.status, 0) << run.output;
    ASSERT_EQ(Commands().size(), 1u) << "the timer still fires";
    EXPECT_TRUE(HappenedAt(Commands()[0], 1000));
    EXPECT_EQ(Commands()[0]["status"].asInt(), 0);
    EXPECT_TRUE(ChangedElements().empty());
    EXPECT_TRUE(DialogOpens().empty());
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
}

TEST_F(MonitoredParts, ResetMonitorClearsThePendingFullScan) {
    MakeMonitoredPart("Doors/D.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 5, "Doors/D.xml"}});

    // Without the pending scan, the library event 0 neither asks nor arms a timer.
    const RunResult run = RunScript({"wait 2000", "event project 32", "event library 0"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
    EXPECT_EQ(Commands().size(), 1u);
}

TEST_F(MonitoredParts, TimerWritesTheElementsOfTypes6Then4Then5Then7) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 7, "A/First.xml"},
                 {Guid(2), 5, "A/First.xml"},
                 {Guid(3), 4, "A/First.xml"},
                 {Guid(4), 6, "A/First.xml"},
                 {Guid(5), 8, ""}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    // The lists are gathered in this order, and a failed type 7 list would stop the writing;
    // what can be seen from outside is the order.
    std::vector<int> listTypes;
    for (const Json::Value& line : Lines("call")) {
        if (line["entry"].asString() == "GetElementList") {
            listTypes.push_back(line["args"]["type"].asInt());
        }
    }
    EXPECT_EQ(listTypes, (std::vector<int>{6, 4, 5, 7}));
    EXPECT_EQ(ChangedElements(), (std::vector<std::string>{Guid(4), Guid(3), Guid(2), Guid(1)}));
    EXPECT_EQ(SavedUpToDate(Guid(5)), kUntouched);
}

TEST_F(MonitoredParts, LibraryEventWithAnIndexWritesOnlyThatPartsElementsAtOnce) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("B/Second.xml", CheckUrl("L01", "1.5"));
    MakeProject(
        {{Guid(1), 6, "A/First.xml"}, {Guid(2), 7, "A/First.xml"}, {Guid(3), 6, "B/Second.xml"}});

    // The emptied table makes the library event ask anew; its command comes at once.
    const RunResult run = RunScript({"event project 32", "wait 300", "event library 1"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(RequestTargets(),
              (std::vector<std::string>{"/check?id=D01&version=2.0&format=json",
                                        "/check?id=L01&version=1.5&format=json",
                                        "/check?id=D01&version=2.0&format=json"}));
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_TRUE(HappenedAt(commands[0], 300)) << "the library event's own command";
    EXPECT_TRUE(HappenedAt(commands[1], 1000)) << "the timer armed at opening";
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(3)), kUntouched) << "another part's element";
    EXPECT_EQ(ChangesOf(Guid(3)), 0);
}

TEST_F(MonitoredParts, LibraryEventWithAnIndexOfAFreshAgreeingPartWritesNothing) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"), 1);
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 2000", "event library 1"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
    ASSERT_EQ(Commands().size(), 1u) << "only the timer's";
    EXPECT_TRUE(HappenedAt(Commands()[0], 1000));
}

TEST_F(MonitoredParts, LibraryEventWithAnIndexOfAFreshDisagreeingPartWritesItsElements) {
    // The part says 0 and the record 1: the part disagrees, so its elements are written.
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"), 0);
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 2000", "undo", "event library 1"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_TRUE(HappenedAt(commands[1], 2000));
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

// The library event's command returns the status of the last element listed. Both tests undo
// the timer's command first, so that the part's own value (0) disagrees with its record (1).
TEST_F(MonitoredParts, LibraryEventCommandStandsWhenTheLastListedElementIsThePartsOwn) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("B/Second.xml", CheckUrl("L01", "1.5"));
    MakeProject({{Guid(1), 6, "B/Second.xml"}, {Guid(2), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 2000", "undo", "event library 1"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_TRUE(HappenedAt(commands[1], 2000));
    EXPECT_EQ(commands[1]["status"].asInt(), 0);
    EXPECT_TRUE(Lines("exception").empty()) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched) << "another part's element";
}

TEST_F(MonitoredParts, LibraryEventCommandIsRolledBackAndThrowsWhenTheLastListedElementIsAnothers) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("B/Second.xml", CheckUrl("L01", "1.5"));
    MakeProject({{Guid(1), 6, "A/First.xml"}, {Guid(2), 6, "B/Second.xml"}});
    exceptionsExpected = true;

    const RunResult run = RunScript({"wait 2000", "undo", "event library 1"});

    // The other part's element answers 0xFFFFFFFF, which fails the command: the host rolls back
    // the write of the part's own element, and the failure leaves the project event handler.
    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_TRUE(HappenedAt(commands[1], 2000));
    EXPECT_EQ(static_cast<uint32_t>(commands[1]["status"].asInt()), 0xFFFFFFFFu);
    const auto exceptions = Lines("exception");
    ASSERT_EQ(exceptions.size(), 1u) << run.output;
    EXPECT_EQ(exceptions[0]["where"].asString(), "project event");
    EXPECT_EQ(ChangesOf(Guid(1)), 2) << "written by the timer, then by the rolled-back command";
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
    EXPECT_EQ(SavedUpToDate(Guid(2)), kUntouched);
}

TEST_F(MonitoredParts, LibraryEventWithAnIndexOfAnUnmonitoredPartDoesNothing) {
    MakePart("A/Plain.xml", {GdlNumberParameter("uptodate", 0)});
    MakeProject({{Guid(1), 6, "A/Plain.xml"}});

    const RunResult run = RunScript({"event library 1"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Requests().empty());
    EXPECT_TRUE(Commands().empty());
}

TEST_F(MonitoredParts, LibraryEventZeroScansOnceAfterOpeningAndThenNoMore) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // The first event 0 owes the scan of the opening: it rearms the timer to 1500. The second
    // owes nothing.
    const RunResult run =
        RunScript({"wait 500", "event library 0", "wait 2000", "event library 0"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u) << "the records are fresh";
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_TRUE(HappenedAt(commands[0], 1500));
}

TEST_F(MonitoredParts, ReloadOfTheLibraryScansWhenAScanIsOwed) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 700", "reload"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_TRUE(HappenedAt(commands[0], 1700));
}

TEST_F(MonitoredParts, NewProjectEventsScanLikeOpening) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // Events 1 and 2 rearm the timer as the opening did.
    const RunResult run = RunScript({"wait 400", "event project 1", "wait 400", "event project 2"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_TRUE(HappenedAt(commands[0], 1800));
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

}  // namespace
}  // namespace monitortest
