// MonitorFixture.h: one project folder, one version service and one orvhost run per test, and
// what can be read from outside afterwards: the trace, the saved project, the status and the
// service's request log.
#pragma once

#include "GdlPartXml.h"
#include "TestFiles.h"
#include "service/VersionService.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <json/json.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace monitortest {

// The texts of the add-on's message catalogue that the tests look for in the trace.
inline const std::string kCommandTitle = "Kontrola nových verzí objektů";
inline const std::string kDialogTitle = "Seznam aktualizovatelných objektů";
inline const std::string kUpdateButton = "Aktualizovat";
inline const std::string kCloseButton = "Zavřít";
inline const std::string kStateUnknownText = "Neznámý";
inline const std::string kStateUpToDateText = "Aktuální verze";
inline const std::string kStateUpdateText = "Nová verze k dispozici";
inline const std::string kStateTestText = "Testovací verze";

// An element's own `uptodate` before a run: outside 0 to 3, so that any write shows.
constexpr double kUntouched = 9;

// One element of project.json.
struct ElementEntry {
    std::string guid;
    int type = 6;
    std::string part;  // relative to the library folder; empty for types 1 to 3 and 8
    std::optional<double> uptodate = kUntouched;
};

// What one orvhost run left behind.
struct RunResult {
    int status = -1;
    std::string output;              // standard output and standard error
    std::vector<Json::Value> trace;  // one parsed object a line
};

using testfiles::GdlNumberParameter;
using testfiles::GdlTextParameter;
using testfiles::UnusedPort;

// One-value array parameters as they stand in a part's XML, for parts whose parameters the add-on
// must pass over.
std::string TextArrayParameter(const std::string& name, const std::string& value);
std::string NumberArrayParameter(const std::string& name, double value);

// Every byte but letters and digits as %XX, for a fault_body value inside a check_url.
std::string PercentEncoded(const std::string& bytes);

// A fixed identifier per number, so that tests can name their elements.
std::string Guid(int number);

// The host and the module under test: this build's, or the Windows build's run under wine when
// test.sh names them (ORV_ORVHOST_COMMAND, ORV_ORVUPDATE_MODULE).
std::string Orvhost();
std::string AddOnModule();
// True for the Windows build: its script runs on the system's clock, in real time.
bool WindowsHost();

// For a test whose script waits for hours: only the virtual clock can play it.
#define SKIP_ON_THE_SYSTEM_CLOCK()                                                                 \
    if (::monitortest::WindowsHost()) {                                                            \
        GTEST_SKIP() << "hours of waiting: the script's virtual clock only";                       \
    }

// Whether the trace line was written at `expected` milliseconds into the run: exactly, on the
// script's virtual clock; on the system's clock a timer may come a tick early or the machine's
// load later, so there the line must fall in [expected - 20, expected + 500].
::testing::AssertionResult HappenedAt(const Json::Value& line, std::int64_t expected);

class MonitorTest : public ::testing::Test {
protected:
    // Starts the service on a free port.
    void SetUp() override;
    void TearDown() override;

    // Its catalog: D01 (1.0, 1.1, 2.0; latest 2.0; test 2.1-beta; file D01-2.0.zip) and L01
    // (1.0, 1.5; latest 1.5; no file).
    void StartService();
    // A service with this catalog and these files (name to bytes) in its files folder, in place
    // of the one running.
    void StartService(const std::string& catalog, const std::map<std::string, std::string>& files);
    // The folder the service's files are served from; a file written there later is served too.
    std::string ServedFile(const std::string& name) const {
        return folder.At("service/files/" + name);
    }

    // "http://127.0.0.1:PORT/check?QUERY".
    std::string CheckUrl(const std::string& query) const;
    std::string CheckUrl(const std::string& id, const std::string& version) const;
    // A check_url whose answer is exactly `body`, status 200.
    std::string BodyUrl(const std::string& body) const;
    // Library/RELATIVE with these parameters.
    void MakePart(const std::string& relative, const std::vector<std::string>& parameters);
    // A monitored part: check_url and uptodate.
    void MakeMonitoredPart(const std::string& relative, const std::string& checkUrl,
                           double uptodate = 0);
    void MakeProject(const std::vector<ElementEntry>& elements);

    // Runs orvhost open over the project with this script; the trace is kept for the helpers.
    RunResult RunScript(const std::vector<std::string>& lines);
    // Runs the script while the test changes the project: once the service holds a request (the
    // fault "hold"), `meanwhile` runs on the test's thread, and then the held requests go on.
    // The add-on waits on that check all the while, so the change lands at one known point of
    // the run whatever the machine's speed.
    RunResult RunScriptWhileHeld(const std::vector<std::string>& lines,
                                 const std::function<void()>& meanwhile);
    std::string TracePath() const { return folder.At("trace.jsonl"); }

    // The element's own `uptodate` in the saved project.json; nothing when it has none.
    std::optional<double> SavedUpToDate(const std::string& guid) const;
    // `orvhost status PROJECT --json`.
    Json::Value Status() const;
    // The element's `uptodate` as the host sees it (its own value over its part's).
    std::optional<double> EffectiveUpToDate(const std::string& guid) const;

    // The /check requests the service saw, in order.
    std::vector<orvservice::RequestRecord> Requests() const;
    std::vector<std::string> RequestTargets() const;

    // From the last run's trace.
    std::vector<Json::Value> Lines(const std::string& kind) const;
    std::vector<Json::Value> Commands() const;  // with the monitor's title
    std::vector<Json::Value> DialogOpens() const;
    // Identifiers (upper case) of the elements written, one entry per successful ChangeElement.
    std::vector<std::string> ChangedElements() const;
    int ChangesOf(const std::string& guid) const;
    // Identifiers of the elements placed by the script, with their types.
    std::vector<std::pair<std::string, int>> PlacedElements() const;
    // Every item text of a traced dialog line.
    static std::vector<std::string> ItemTexts(const Json::Value& dialog);

    std::string ProjectPath() const { return folder.At("project"); }
    std::string LibraryPath(const std::string& relative) const {
        return folder.At("project/Library/" + relative);
    }

    testfiles::TempFolder folder;
    std::unique_ptr<orvservice::VersionService> service;
    RunResult last;
    // Set by tests whose runs show message boxes on purpose; RunScript otherwise expects none.
    bool messageBoxesExpected = false;
    // Set by tests whose runs let an exception leave the add-on on purpose.
    bool exceptionsExpected = false;
    // Variable assignments put before the orvhost command line (for example "TMPDIR=...").
    std::string environment;
};

}  // namespace monitortest
