// VersionCheckTest.cpp: the version check against a real service: the address asked, the age
// of a record, every shape of answer and every failure of the service, seen from outside the
// real module. The message catalogue's own cases (the trailing blanks of rows 14 and 15, row
// 10) are unit-tested in tests/addon/MessageCatalogueTest.cpp.
#include "MonitorFixture.h"

namespace monitortest {
namespace {

using VersionCheck = MonitorTest;

// ---- The record's age ----

TEST_F(VersionCheck, TwoScansWithinFourHoursMakeOneRequest) {
    SKIP_ON_THE_SYSTEM_CLOCK();
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 3600000", "event project 4"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
}

TEST_F(VersionCheck, ScanJustUnderFourHoursLaterMakesNoRequest) {
    SKIP_ON_THE_SYSTEM_CLOCK();
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 14399999", "event project 4"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
}

TEST_F(VersionCheck, ScanExactlyFourHoursLaterMakesASecondRequest) {
    SKIP_ON_THE_SYSTEM_CLOCK();
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // The record must be younger than the limit; at the limit it is stale.
    const RunResult run = RunScript({"wait 14400000", "event project 4"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 2u);
}

TEST_F(VersionCheck, ScanAfterFourHoursAndAMomentMakesASecondRequest) {
    SKIP_ON_THE_SYSTEM_CLOCK();
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // The virtual clock counts milliseconds: one more is the least step past the limit.
    const RunResult run = RunScript({"wait 14400001", "event project 4"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 2u);
    EXPECT_EQ(Commands().size(), 2u) << "the second scan arms the timer again";
}

TEST_F(VersionCheck, ChangedCheckUrlIsAskedAtOnceAndReplacesTheRecord) {
    // L01 1.0 is an older version without a file (state 0); D01 2.0 is up to date (state 1).
    MakeMonitoredPart("A/First.xml", CheckUrl("L01", "1.0"));
    // Asked after the first part and held by the service: the add-on waits on it while the test
    // changes the first part.
    MakeMonitoredPart("B/Held.xml", CheckUrl("id=L01&version=1.5&fault_hold=1"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const std::string firstTarget = "/check?id=L01&version=1.0&format=json";
    const std::string heldTarget = "/check?id=L01&version=1.5&fault_hold=1&format=json";
    const RunResult result =
        RunScriptWhileHeld({"wait 2000", "reload", "wait 2000", "event project 4"}, [&] {
            // The first part was answered; its file changes before the script's reload.
            EXPECT_EQ(RequestTargets(), std::vector<std::string>{firstTarget});
            ASSERT_EQ(service->HeldRequests().size(), 1u);
            EXPECT_EQ(service->HeldRequests()[0].target, heldTarget);
            MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
        });

    ASSERT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(RequestTargets(), (std::vector<std::string>{firstTarget, heldTarget,
                                                          "/check?id=D01&version=2.0&format=json"}))
        << "the reload asks the changed part at once; the last scan finds the new record fresh";
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1) << "the new record's state";
}

// ---- The address ----

TEST_F(VersionCheck, CheckAddressWithAQueryGetsAmpersandFormatJson) {
    MakeMonitoredPart("A/First.xml", CheckUrl("a=1"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(RequestTargets(), (std::vector<std::string>{"/check?a=1&format=json"}));
}

TEST_F(VersionCheck, CheckAddressWithoutAQueryGetsAmpersandFormatJson) {
    MakeMonitoredPart("A/First.xml", service->BaseUrl() + "/check");
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto requests = Requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].target, "/check&format=json");
    EXPECT_EQ(requests[0].status, 400);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0) << "a failed check is written as unknown";
}

TEST_F(VersionCheck, AuthorsQueryKeysAreSentAsTheyStand) {
    MakeMonitoredPart("A/First.xml", CheckUrl("id=D01&version=2.0&lang=cs&x=%C3%A1"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(RequestTargets(),
              (std::vector<std::string>{"/check?id=D01&version=2.0&lang=cs&x=%C3%A1&format=json"}));
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

TEST_F(VersionCheck, UptodateOf2Point9CountsAs2) {
    // State 2 without an address, so that no dialog stands in the way.
    const std::string answer = R"({"version":"3","up_to_date":false,"update_available":true})";
    MakeMonitoredPart("A/Agrees.xml", BodyUrl(answer), 2.9);
    MakeMonitoredPart("B/Differs.xml", BodyUrl(answer), 1.9);
    MakeProject({});

    // A placed element's check compares the part's value, truncated, with the fresh record:
    // 2.9 agrees with state 2, so nothing is written; 1.9 does not.
    const RunResult run = RunScript({"wait 2000", "place 6 A/Agrees.xml", "place 6 B/Differs.xml"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(DialogOpens().empty());
    const auto placed = PlacedElements();
    ASSERT_EQ(placed.size(), 2u);
    EXPECT_EQ(ChangesOf(placed[0].first), 0);
    EXPECT_EQ(EffectiveUpToDate(placed[0].first), 2.9);
    EXPECT_EQ(ChangesOf(placed[1].first), 1);
    EXPECT_EQ(EffectiveUpToDate(placed[1].first), 2);
}

// ---- Answers of the catalog ----

TEST_F(VersionCheck, LatestVersionIsWrittenAsUpToDate) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}, {Guid(2), 4, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 1);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(VersionCheck, OlderVersionWithAFileIsWrittenAsUpdateAvailableAndOffered) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 2);
    EXPECT_EQ(DialogOpens().size(), 1u);
}

TEST_F(VersionCheck, TestVersionWithoutAnAddressIsWrittenAsTestVersionAndNotOffered) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.1-beta"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 3);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(VersionCheck, OlderVersionWithoutAFileIsWrittenAsUnknown) {
    MakeMonitoredPart("A/First.xml", CheckUrl("L01", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(VersionCheck, VersionUnknownToTheCatalogIsWrittenAsUnknown) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "9.9"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
}

TEST_F(VersionCheck, ObjectUnknownToTheServiceIsWrittenAsUnknown) {
    MakeMonitoredPart("A/First.xml", CheckUrl("X99", "1.0"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    ASSERT_EQ(Requests().size(), 1u);
    EXPECT_EQ(Requests()[0].status, 404);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_TRUE(DialogOpens().empty());
}

// ---- Answers in every shape ----

TEST_F(VersionCheck, UpdateAvailableWithUrlGivesState2AndOffersTheAddress) {
    MakeMonitoredPart(
        "A/First.xml",
        BodyUrl(R"({"version":"1.2","up_to_date":false,"update_available":true,"url":"u"})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 2);
    ASSERT_EQ(DialogOpens().size(), 1u) << "an address with state 2 is offered";
    const auto texts = ItemTexts(DialogOpens()[0]);
    EXPECT_NE(std::find(texts.begin(), texts.end(), kStateUpdateText), texts.end());
    EXPECT_NE(std::find(texts.begin(), texts.end(), kUpdateButton), texts.end());
}

TEST_F(VersionCheck, TestVersionWithUrlGivesState3AndOffersTheAddress) {
    MakeMonitoredPart(
        "A/First.xml",
        BodyUrl(R"({"version":"1.2","test_version":true,"update_available":true,"url":"u"})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 3);
    ASSERT_EQ(DialogOpens().size(), 1u) << "an address with state 3 is offered";
    const auto texts = ItemTexts(DialogOpens()[0]);
    EXPECT_NE(std::find(texts.begin(), texts.end(), kStateTestText), texts.end());
    EXPECT_NE(std::find(texts.begin(), texts.end(), kUpdateButton), texts.end());
}

TEST_F(VersionCheck, UpToDateWithUrlAndNoVersionGivesState1ButArmsNoTimer) {
    MakeMonitoredPart("A/First.xml",
                      BodyUrl(R"({"up_to_date":true,"update_available":true,"url":"u"})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    // The empty version does not count, so nothing is written until the library event, whose
    // write shows the stored state.
    const RunResult run = RunScript({"wait 5000", "event library 1"});

    ASSERT_EQ(run.status, 0) << run.output;
    const auto commands = Commands();
    ASSERT_EQ(commands.size(), 1u) << "no timer: only the library event's command";
    EXPECT_TRUE(HappenedAt(commands[0], 5000));
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(VersionCheck, UpToDateWithUrlIsNotOffered) {
    MakeMonitoredPart(
        "A/First.xml",
        BodyUrl(R"({"version":"1","up_to_date":true,"update_available":true,"url":"u"})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(VersionCheck, UrlWithoutUpdateAvailableIsIgnored) {
    MakeMonitoredPart(
        "A/First.xml",
        BodyUrl(R"({"version":"1","up_to_date":false,"test_version":true,"url":"u"})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 3);
    EXPECT_TRUE(DialogOpens().empty()) << "state 3 without an address";
}

TEST_F(VersionCheck, AllFalseGivesStateUnknown) {
    MakeMonitoredPart(
        "A/First.xml",
        BodyUrl(
            R"({"version":"1","up_to_date":false,"test_version":false,"update_available":false})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
}

TEST_F(VersionCheck, UpToDateWinsOverTestVersion) {
    MakeMonitoredPart("A/First.xml",
                      BodyUrl(R"({"version":"1","up_to_date":true,"test_version":true})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

TEST_F(VersionCheck, UnknownMembersAreIgnored) {
    MakeMonitoredPart("A/First.xml",
                      BodyUrl(R"({"extra":[1,{"a":2}],"version":"1","up_to_date":true,"n":null})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

TEST_F(VersionCheck, CommentsInTheAnswerAreAccepted) {
    MakeMonitoredPart("A/First.xml", BodyUrl("// the service's note\n{\"version\":\"1\", /* x */ "
                                             "\"up_to_date\":true}"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

TEST_F(VersionCheck, BodyHoldingAZeroByteIsParsedOnlyUpToIt) {
    // Complete before the zero byte: read as it stands.
    MakeMonitoredPart("A/Complete.xml",
                      BodyUrl(std::string(R"({"version":"1","up_to_date":true})") +
                              std::string(1, '\0') + "{{{ not json"));
    // The zero byte inside a text: the whole body would be valid, the part before it is not.
    MakeMonitoredPart("B/Cut.xml",
                      BodyUrl(std::string(R"({"version":"1","up_to_date":true,"note":")") +
                              std::string(1, '\0') + R"("})"));
    MakeProject({{Guid(1), 6, "A/Complete.xml"}, {Guid(2), 6, "B/Cut.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
    EXPECT_EQ(SavedUpToDate(Guid(2)), 0);
}

// ---- Failures of the service ----

TEST_F(VersionCheck, ServiceDownIsRememberedAsUnknownAndNotShown) {
    MakeMonitoredPart("A/First.xml", "http://127.0.0.1:" + std::to_string(UnusedPort()) +
                                         "/check?id=D01&version=1.0");
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 3000", "event project 4"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_EQ(Commands().size(), 2u) << "the unknown version arms the timer";
    EXPECT_TRUE(DialogOpens().empty());
    EXPECT_TRUE(Lines("messagebox").empty()) << "a failed check is not shown";
    EXPECT_TRUE(Lines("exception").empty());
}

TEST_F(VersionCheck, FailedCheckIsNotAskedAgainWithinFourHours) {
    MakeMonitoredPart("A/First.xml", CheckUrl("id=D01&version=1.0&fault_status=500"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({"wait 3000", "event project 4"});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 1u);
}

TEST_F(VersionCheck, SlowServiceIsWaitedFor) {
    // Slow but well inside the client's 30 seconds without data.
    MakeMonitoredPart("A/First.xml", CheckUrl("id=D01&version=1.0&fault_delay_ms=1500"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 2);
    EXPECT_EQ(DialogOpens().size(), 1u);
}

TEST_F(VersionCheck, Status500IsRememberedAsUnknown) {
    MakeMonitoredPart("A/First.xml", CheckUrl("id=D01&version=1.0&fault_status=500"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    ASSERT_EQ(Requests().size(), 1u);
    EXPECT_EQ(Requests()[0].status, 500);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(VersionCheck, RedirectIsFollowed) {
    MakeMonitoredPart("A/First.xml", CheckUrl("id=D01&version=2.0&fault_redirect=1"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 2u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

TEST_F(VersionCheck, ChunkedAnswerIsRead) {
    MakeMonitoredPart("A/First.xml", CheckUrl("id=D01&version=2.0&fault_chunked=1"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 1);
}

TEST_F(VersionCheck, AnswerCutShortIsRememberedAsUnknown) {
    MakeMonitoredPart("A/First.xml", CheckUrl("id=D01&version=2.0&fault_cut_body=1"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
}

TEST_F(VersionCheck, BodyThatIsNotJsonIsRememberedAsUnknown) {
    MakeMonitoredPart("A/First.xml", BodyUrl("<html>not json</html>"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_EQ(Commands().size(), 1u) << "the record keeps \"unknown\", which arms the timer";
    EXPECT_TRUE(DialogOpens().empty());
}

TEST_F(VersionCheck, BodyUnderTwoBytesIsRememberedAsUnknown) {
    MakeMonitoredPart("A/First.xml", BodyUrl("1"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
}

TEST_F(VersionCheck, BooleanMemberHoldingTextEndsTheReadingWithStateUnknown) {
    MakeMonitoredPart("A/First.xml", BodyUrl(R"({"version":"1.2","up_to_date":"yes"})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_EQ(Commands().size(), 1u);
}

TEST_F(VersionCheck, TestVersionMemberHoldingAnObjectEndsTheReadingWithStateUnknown) {
    MakeMonitoredPart("A/First.xml",
                      BodyUrl(R"({"version":"1.2","up_to_date":false,"test_version":{}})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
}

TEST_F(VersionCheck, VersionMemberHoldingAnObjectKeepsUnknownWhichArmsTheTimer) {
    // "version" absent would leave it empty and arm nothing; of a wrong type, the reading ends
    // before it, and "unknown" stays.
    MakeMonitoredPart("A/First.xml", BodyUrl(R"({"version":{"major":1},"up_to_date":true})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0) << "the state was never read";
}

TEST_F(VersionCheck, AbsentVersionArmsNoTimer) {
    MakeMonitoredPart("A/First.xml", BodyUrl(R"({"up_to_date":true})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Commands().empty());
    EXPECT_EQ(SavedUpToDate(Guid(1)), kUntouched);
}

TEST_F(VersionCheck, UrlMemberHoldingAnArrayDropsTheAddressButKeepsTheState) {
    MakeMonitoredPart(
        "A/First.xml",
        BodyUrl(R"({"version":"1.2","up_to_date":false,"update_available":true,"url":["u"]})"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 2);
    EXPECT_TRUE(DialogOpens().empty()) << "no address, nothing to offer";
}

TEST_F(VersionCheck, RootThatIsAnArrayIsRememberedAsUnknown) {
    MakeMonitoredPart("A/First.xml", BodyUrl(R"([{"version":"1","up_to_date":true}])"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_EQ(Commands().size(), 1u);
    EXPECT_TRUE(Lines("exception").empty());
}

TEST_F(VersionCheck, RootThatIsATextIsRememberedAsUnknown) {
    MakeMonitoredPart("A/First.xml", BodyUrl(R"("up_to_date")"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
    EXPECT_TRUE(Lines("exception").empty());
}

TEST_F(VersionCheck, RootThatIsANumberIsRememberedAsUnknown) {
    MakeMonitoredPart("A/First.xml", BodyUrl("42"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SavedUpToDate(Guid(1)), 0);
}

TEST_F(VersionCheck, OneScanOfSeveralPartsReusesOneConnection) {
    MakeMonitoredPart("A/First.xml", CheckUrl("D01", "2.0"));
    MakeMonitoredPart("B/Second.xml", CheckUrl("L01", "1.5"));
    MakeMonitoredPart("C/Third.xml", CheckUrl("D01", "2.1-beta"));
    MakeProject({{Guid(1), 6, "A/First.xml"}});

    const RunResult run = RunScript({});

    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Requests().size(), 3u);
    EXPECT_EQ(service->AcceptedConnections(), 1);
}

}  // namespace
}  // namespace monitortest
