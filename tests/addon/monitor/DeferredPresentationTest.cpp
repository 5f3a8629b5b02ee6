// DeferredPresentationTest.cpp: the one-second timer after a scan, the undoable command that
// writes the states, the summary dialog and the saved project, seen from outside the real
// module on orvhost's script clock.
#include "MonitorFixture.h"

#include <algorithm>

namespace monitortest {
namespace {

using DeferredPresentation = MonitorTest;

int Count(const std::vector<std::string>& texts, const std::string& text) {
    return static_cast<int>(std::count(texts.begin(), texts.end(), text));
}

TEST_F(DeferredPresentation, ThreeScansIn900MsLeadToOneCommandAndOneDialogASecondAfterTheLast) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // The opening at 0, then 450 and 900.
    const RunResult run = RunScript({"wait 450", "event project 4", "wait 450", "event project 4"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_TRUE(HappenedAt(commands[0], 1900));
    const auto opens = DialogOpens();
    ASSERT_EQ(opens.size(), 1u);
    EXPECT_TRUE(HappenedAt(opens[0], 1900));
    EXPECT_EQ(SavedUpToDate(Guid(1)), 2);
}

TEST_F(DeferredPresentation, NothingIsWrittenBeforeTheTimerFires) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 999"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_TRUE(HappenedAt(commands[0], 1000));
    // Every write comes after the command's begin: none while the events ran.
    for (const Json::Value& line : Lines("call")) {
        if (line["entry"].asString() == "ChangeElement") {
            EXPECT_TRUE(HappenedAt(line, 1000));
        }
    }
}

TEST_F(DeferredPresentation, UpToDatePartWithoutAddressIsWrittenAndOpensNoDialog) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}, {Guid(2), 5, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    ASSERT_EQ(Commands().size(), 1u);
    EXPECT_EQ(Commands()[0]["status"].asInt(), 0);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(DeferredPresentation, OnlyFailedRecordsAreWrittenAsZeroAndOpenNoDialog) {
    MakeMonitoredPart("A/Down.xml", "http://127.0.0.1:" + std::to_string(UnusedPort()) +
                                        "/check?id=D01&version=1.0");
    MakeMonitoredPart("B/Broken.xml", CheckUrl("id=D01&version=1.0&fault_status=500"));
    MakeProject({{Guid(1), 6, "A/Down.xml"}, {Guid(2), 7, "B/Broken.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 0);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(DeferredPresentation, ProjectClosedWhileTheTimerIsArmedRunsAnEmptyCommandAndNoDialog) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 500", "event project 32"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_TRUE(HappenedAt(commands[0], 1000));
    EXPECT_EQ(commands[0]["status"].asInt(), 0);
    EXPECT_TRUE(ChangedElements().empty());
    EXPECT_TRUE(DialogOpens().empty());
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
}

TEST_F(DeferredPresentation, TimerFiringWhileTheDialogIsOpenWritesAgainButOpensNoSecondDialog) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // The dialog opens at 1000; the owed library scan, at 1100, arms the timer again inside its
    // loop. Each action comes 100 ms after the timer before it: on the system's clock a timer
    // may fire a little late.
    const RunResult run = RunScript({"wait 1100", "event library 0", "wait 1100", "close"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 2u);
    EXPECT_TRUE(HappenedAt(commands[0], 1000));
    EXPECT_TRUE(HappenedAt(commands[1], 2100));
    EXPECT_EQ(ChangesOf(Guid(1)), 2);
    EXPECT_EQ(DialogOpens().size(), 1u);
    // The second command ran while the dialog was still open.
    std::size_t secondCommand = 0;
    std::size_t dialogClose = 0;
    for (std::size_t i = 0; i < run.trace.size(); ++i) {
        const Json::Value& line = run.trace[i];
        if (line["kind"].asString() == "command" && line["title"].asString() == kCommandTitle) {
            secondCommand = i;
        }
        if (line["kind"].asString() == "dialog" && line["event"].asString() == "close") {
            dialogClose = i;
        }
    }
    EXPECT_LT(secondCommand, dialogClose);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 2);
}

TEST_F(DeferredPresentation, ProjectEventWhileTheDialogIsOpenOpensNoSecondDialog) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // Each action 100 ms after the timer before it, as above.
    const RunResult run = RunScript({"wait 1100", "event project 4", "wait 1100", "close"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Commands().size(), 2u);
    EXPECT_EQ(DialogOpens().size(), 1u);
}

TEST_F(DeferredPresentation, DialogOpensAgainAtTheNextScanAfterItWasClosed) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run =
        RunScript({"wait 1100", "close", "event project 4", "wait 1100", "close"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Commands().size(), 2u);
    EXPECT_EQ(DialogOpens().size(), 2u);
}

TEST_F(DeferredPresentation, SummaryDialogListsEveryRecordWithItsState) {
    MakeMonitoredPart("A/Offered.xml", CheckUrl("D01", "1.0"));
    MakeMonitoredPart("B/Current.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("C/Failed.xml", CheckUrl("id=D01&version=1.0&fault_status=500"));
    MakePart("D/Plain.xml", {GdlNumberParameter("uptodate", 0)});
    MakeProject({{Guid(1), 6, "A/Offered.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto opens = DialogOpens();
    ASSERT_EQ(opens.size(), 1u);
    EXPECT_EQ(opens[0]["title"].asString(), kDialogTitle);
    const auto texts = ItemTexts(opens[0]);
    EXPECT_EQ(Count(texts, "Offered"), 1);
    EXPECT_EQ(Count(texts, "Current"), 1);
    EXPECT_EQ(Count(texts, "Failed"), 1);
    EXPECT_EQ(Count(texts, "Plain"), 0) << "not monitored, no record";
    EXPECT_EQ(Count(texts, kStateUpdateText), 1);
    EXPECT_EQ(Count(texts, kStateUpToDateText), 1);
    EXPECT_EQ(Count(texts, kStateUnknownText), 1);
    EXPECT_EQ(Count(texts, kUpdateButton), 1) << "only the offered part has a button";
    EXPECT_EQ(Count(texts, kCloseButton), 1);
    // The dialog closed by the script's end, as its cancel button would.
    ASSERT_FALSE(Lines("dialog").empty());
    EXPECT_EQ(Lines("dialog").back()["event"].asString(), "close");
}

TEST_F(DeferredPresentation, NoDialogWhenEveryPartIsUpToDateOrFailed) {
    MakeMonitoredPart("A/Current.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("B/Failed.xml", BodyUrl("not json"));
    MakeMonitoredPart("C/Beta.xml", CheckUrl("D01", "2.1-beta"));
    MakeProject({{Guid(1), 6, "A/Current.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_TRUE(DialogOpens().empty());
    EXPECT_TRUE(Lines("dialog").empty());
}

TEST_F(DeferredPresentation, SavedProjectHoldsEachElementsState) {
    MakeMonitoredPart("Doors/Current.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("Windows/Beta.xml", CheckUrl("D01", "2.1-beta"));
    MakeMonitoredPart("Objects/Old.xml", CheckUrl("L01", "1.0"));
    MakeMonitoredPart("Lamps/Offered.xml", CheckUrl("D01", "1.1"));
    MakePart("Objects/Plain.xml", {GdlNumberParameter("uptodate", 0)});
    MakeProject({{Guid(1), 5, "Doors/Current.xml"},
                 {Guid(2), 4, "Windows/Beta.xml"},
                 {Guid(3), 6, "Objects/Old.xml"},
                 {Guid(4), 7, "Lamps/Offered.xml"},
                 {Guid(5), 6, "Doors/Current.xml"},
                 {Guid(6), 6, "Objects/Plain.xml"},
                 {Guid(7), 1, ""},
                 {Guid(8), 8, ""},
                 {Guid(9), 7, "Doors/Current.xml", std::nullopt}});

    const RunResult run = RunScript({"wait 1100", "close"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 3);
    EXPECT_EQ(SavedUpToDate(Guid(3)), 0);
    EXPECT_EQ(SavedUpToDate(Guid(4)), 2);
    EXPECT_EQ(SavedUpToDate(Guid(5)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(6)), kUntouched) << "its part is not monitored";
    EXPECT_EQ(SavedUpToDate(Guid(7)), kUntouched) << "a wall";
    EXPECT_EQ(SavedUpToDate(Guid(8)), kUntouched) << "a slab";
    EXPECT_EQ(SavedUpToDate(Guid(9)), 1) << "an element without a value of its own gets one";
    // The host's view agrees with the file.
    EXPECT_EQ(EffectiveUpToDate(Guid(4)), 2);
    EXPECT_EQ(EffectiveUpToDate(Guid(9)), 1);
}

TEST_F(DeferredPresentation, StatesAreWrittenAsOneUndoableCommandWithTheCataloguesTitle) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}, {Guid(2), 4, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    std::vector<std::string> titles;
    for (const Json::Value& line : Lines("call")) {
        if (line["entry"].asString() == "CallUndoable") {
            titles.push_back(line["args"]["title"].asString());
        }
    }
    EXPECT_EQ(titles, (std::vector<std::string>{kCommandTitle}));
    EXPECT_EQ(Commands().size(), 1u);
}

TEST_F(DeferredPresentation, UndoRestoresTheValuesBefore) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("B/Second.xml", CheckUrl("L01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"},
                 {Guid(2), 5, "B/Second.xml", 3},
                 {Guid(3), 7, "A/First.xml", std::nullopt}});

    const RunResult run = RunScript({"wait 1100", "undo"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 3);
    EXPECT_EQ(SavedUpToDate(Guid(3)), std::nullopt) << "no value of its own, as before";
    EXPECT_EQ(EffectiveUpToDate(Guid(3)), 0) << "its part's value again";
}

TEST_F(DeferredPresentation, SecondRunAsksAgainAsNothingOfTheTableIsSaved) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    ASSERT_EQ(RunScript({}).status, 0);
    ASSERT_EQ(RunScript({}).status, 0);

    EXPECT_EQ(Requests().size(), 2u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

}  // namespace
}  // namespace monitortest
