// MonitorFixture.cpp: writing the project and the service's catalog, running orvhost, and
// reading back the trace, the saved project and the status.
#include "MonitorFixture.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <future>
#include <sstream>

namespace monitortest {

using testfiles::Quote;
using testfiles::ReadFileBytes;
using testfiles::RunCommand;
using testfiles::WriteFileBytes;

namespace {

std::string NumberText(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::istringstream stream(text);
    if (!Json::parseFromStream(builder, stream, &value, &errors)) {
        return Json::Value();
    }
    return value;
}

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

}  // namespace

std::string TextArrayParameter(const std::string& name, const std::string& value) {
    return "<String Name=\"" + name +
           "\"><ArrayValues FirstDimension=\"1\" SecondDimension=\"0\"><AVal Row=\"1\">"
           "<![CDATA[\"" +
           value + "\"]]></AVal></ArrayValues></String>";
}

std::string NumberArrayParameter(const std::string& name, double value) {
    return "<RealNum Name=\"" + name +
           "\"><ArrayValues FirstDimension=\"1\" SecondDimension=\"0\"><AVal Row=\"1\">" +
           NumberText(value) + "</AVal></ArrayValues></RealNum>";
}

std::string PercentEncoded(const std::string& bytes) {
    std::string encoded;
    for (unsigned char c : bytes) {
        if (std::isalnum(c)) {
            encoded.push_back(static_cast<char>(c));
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X", c);
            encoded += hex;
        }
    }
    return encoded;
}

std::string Orvhost() { return testfiles::ProgramUnderTest("ORV_ORVHOST_COMMAND", ORVHOST); }

std::string AddOnModule() {
    return testfiles::ProgramUnderTest("ORV_ORVUPDATE_MODULE", ORV_ADDON_MODULE);
}

bool WindowsHost() { return testfiles::OtherProgramUnderTest("ORV_ORVHOST_COMMAND"); }

::testing::AssertionResult HappenedAt(const Json::Value& line, std::int64_t expected) {
    const std::int64_t at = line["t"].asInt64();
    const bool inTime =
        WindowsHost() ? at >= expected - 20 && at <= expected + 500 : at == expected;
    if (inTime) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "written at " << at << " ms, not at " << expected;
}

std::string Guid(int number) {
    char text[40];
    std::snprintf(text, sizeof text, "6D1A2B3C-4D5E-4F60-8A7B-%012X", number);
    return text;
}

void MonitorTest::SetUp() { StartService(); }

void MonitorTest::TearDown() {
    if (service) {
        service->Stop();
    }
}

void MonitorTest::StartService() {
    const std::string catalog = R"({"objects": [
        {"id": "D01", "versions": ["1.0", "1.1", "2.0"], "latest": "2.0",
         "test_versions": ["2.1-beta"], "file": "D01-2.0.zip"},
        {"id": "L01", "versions": ["1.0", "1.5"], "latest": "1.5"}
    ]})";
    // The file's bytes do not matter here: nothing is downloaded.
    StartService(catalog, {{"D01-2.0.zip", "PK not really"}});
}

void MonitorTest::StartService(const std::string& catalog,
                               const std::map<std::string, std::string>& files) {
    if (service) {
        service->Stop();
        service.reset();
    }
    ASSERT_TRUE(WriteFileBytes(folder.At("service/catalog.json"), catalog));
    std::filesystem::create_directories(folder.At("service/files"));
    for (const auto& [name, bytes] : files) {
        ASSERT_TRUE(WriteFileBytes(ServedFile(name), bytes));
    }
    orvservice::ServiceOptions options;
    options.catalog = folder.At("service/catalog.json");
    options.files = folder.At("service/files");
    service = std::make_unique<orvservice::VersionService>(options);
    service->Start();
}

std::string MonitorTest::CheckUrl(const std::string& query) const {
    return service->BaseUrl() + "/check?" + query;
}

std::string MonitorTest::CheckUrl(const std::string& id, const std::string& version) const {
    return CheckUrl("id=" + id + "&version=" + version);
}

std::string MonitorTest::BodyUrl(const std::string& body) const {
    return CheckUrl("id=D01&version=1.0&fault_body=" + PercentEncoded(body));
}

void MonitorTest::MakePart(const std::string& relative,
                           const std::vector<std::string>& parameters) {
    ASSERT_TRUE(WriteFileBytes(LibraryPath(relative), testfiles::GdlPartXml(parameters)));
}

void MonitorTest::MakeMonitoredPart(const std::string& relative, const std::string& checkUrl,
                                    double uptodate) {
    MakePart(relative, {GdlTextParameter("check_url", checkUrl),
                        GdlNumberParameter("uptodate", uptodate), GdlNumberParameter("A", 0.9)});
}

void MonitorTest::MakeProject(const std::vector<ElementEntry>& elements) {
    Json::Value project(Json::objectValue);
    project["format"] = "orvhost-project/1";
    project["library"] = "Library";
    project["elements"] = Json::Value(Json::arrayValue);
    for (const ElementEntry& entry : elements) {
        Json::Value element(Json::objectValue);
        element["guid"] = entry.guid;
        element["type"] = entry.type;
        if (!entry.part.empty()) {
            element["part"] = entry.part;
        }
        element["parameters"] = Json::Value(Json::objectValue);
        if (entry.uptodate) {
            element["parameters"]["uptodate"] = *entry.uptodate;
        }
        project["elements"].append(element);
    }
    ASSERT_TRUE(WriteFileBytes(folder.At("project/project.json"), JsonText(project)));
    // A library folder even for a project whose parts a test leaves out.
    std::filesystem::create_directories(folder.At("project/Library"));
}

RunResult MonitorTest::RunScript(const std::vector<std::string>& lines) {
    std::string script = "# written by the monitor tests\n";
    for (const std::string& line : lines) {
        script += line + "\n";
    }
    const std::string scriptPath = folder.At("script.txt");
    const std::string tracePath = TracePath();
    EXPECT_TRUE(WriteFileBytes(scriptPath, script));
    std::filesystem::remove(tracePath);
    RunResult result;
    // The timeout only stops a run that hangs; every run here ends in seconds.
    result.status = RunCommand(environment + (environment.empty() ? "" : " ") + "timeout 300 " +
                                   Orvhost() + " open " + Quote(ProjectPath()) + " --addon " +
                                   AddOnModule() + " --ui script --script " + Quote(scriptPath) +
                                   " --trace " + Quote(tracePath),
                               &result.output);
    std::istringstream traceLines(ReadFileBytes(tracePath));
    for (std::string line; std::getline(traceLines, line);) {
        if (!line.empty()) {
            result.trace.push_back(ParseJson(line));
        }
    }
    // A sanitizer's report does not always change the exit status, so it is looked for here.
    EXPECT_EQ(result.output.find("AddressSanitizer"), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("runtime error:"), std::string::npos) << result.output;
    last = result;
    if (!exceptionsExpected) {
        EXPECT_TRUE(Lines("exception").empty()) << "an exception left the add-on";
    }
    if (!messageBoxesExpected) {
        EXPECT_TRUE(Lines("messagebox").empty()) << "the monitor tells the user nothing here";
    }
    return result;
}

RunResult MonitorTest::RunScriptWhileHeld(const std::vector<std::string>& lines,
                                          const std::function<void()>& meanwhile) {
    auto run = std::async(std::launch::async, [this, lines] {
        RunResult result = RunScript(lines);
        // A run that ends without the held request wakes the wait below at once.
        service->ReleaseHeld();
        return result;
    });
    // The limit is RunScript's own: it only turns a hang into a failure.
    const bool held = service->WaitForHeld(1, std::chrono::seconds(300));
    if (held) {
        meanwhile();
    }
    service->ReleaseHeld();
    RunResult result = run.get();
    EXPECT_TRUE(held) << "the run ended before the service held a request";
    return result;
}

std::optional<double> MonitorTest::SavedUpToDate(const std::string& guid) const {
    const Json::Value project = ParseJson(ReadFileBytes(folder.At("project/project.json")));
    for (const Json::Value& element : project["elements"]) {
        if (Upper(element["guid"].asString()) == Upper(guid)) {
            const Json::Value& value = element["parameters"]["uptodate"];
            if (value.isNumeric()) {
                return value.asDouble();
            }
            return std::nullopt;
        }
    }
    ADD_FAILURE() << "no element " << guid << " in the saved project";
    return std::nullopt;
}

Json::Value MonitorTest::Status() const {
    // Standard output alone: warnings on standard error would spoil the JSON.
    const std::string path = folder.At("status.json");
    std::string output;
    const int status = RunCommand(
        Orvhost() + " status " + Quote(ProjectPath()) + " --json > " + Quote(path), &output);
    EXPECT_EQ(status, 0) << output;
    return ParseJson(ReadFileBytes(path));
}

std::optional<double> MonitorTest::EffectiveUpToDate(const std::string& guid) const {
    const Json::Value status = Status();
    for (const Json::Value& element : status["elements"]) {
        if (Upper(element["guid"].asString()) == Upper(guid)) {
            if (element["uptodate"].isNumeric()) {
                return element["uptodate"].asDouble();
            }
            return std::nullopt;
        }
    }
    ADD_FAILURE() << "no element " << guid
                  << " in the status: " << ReadFileBytes(folder.At("status.json"));
    return std::nullopt;
}

std::vector<orvservice::RequestRecord> MonitorTest::Requests() const {
    std::vector<orvservice::RequestRecord> checks;
    for (const orvservice::RequestRecord& record : service->Requests()) {
        if (record.target.rfind("/check", 0) == 0) {
            checks.push_back(record);
        }
    }
    return checks;
}

std::vector<std::string> MonitorTest::RequestTargets() const {
    std::vector<std::string> targets;
    for (const orvservice::RequestRecord& record : Requests()) {
        targets.push_back(record.target);
    }
    return targets;
}

std::vector<Json::Value> MonitorTest::Lines(const std::string& kind) const {
    std::vector<Json::Value> lines;
    for (const Json::Value& line : last.trace) {
        if (line["kind"].asString() == kind) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<Json::Value> MonitorTest::Commands() const {
    std::vector<Json::Value> commands;
    for (const Json::Value& line : Lines("command")) {
        if (line["title"].asString() == kCommandTitle) {
            commands.push_back(line);
        }
    }
    return commands;
}

std::vector<Json::Value> MonitorTest::DialogOpens() const {
    std::vector<Json::Value> opens;
    for (const Json::Value& line : Lines("dialog")) {
        if (line["event"].asString() == "open") {
            opens.push_back(line);
        }
    }
    return opens;
}

std::vector<std::string> MonitorTest::ChangedElements() const {
    std::vector<std::string> guids;
    for (const Json::Value& line : Lines("call")) {
        if (line["entry"].asString() == "ChangeElement" && line["status"].asInt() == 0) {
            guids.push_back(Upper(line["args"]["guid"].asString()));
        }
    }
    return guids;
}

int MonitorTest::ChangesOf(const std::string& guid) const {
    const std::vector<std::string> guids = ChangedElements();
    return static_cast<int>(std::count(guids.begin(), guids.end(), Upper(guid)));
}

std::vector<std::pair<std::string, int>> MonitorTest::PlacedElements() const {
    std::vector<std::pair<std::string, int>> placed;
    for (const Json::Value& line : Lines("event")) {
        if (line["what"].asString() == "element" && line["number"].asInt() == 1) {
            placed.emplace_back(Upper(line["guid"].asString()), line["type"].asInt());
        }
    }
    return placed;
}

std::vector<std::string> MonitorTest::ItemTexts(const Json::Value& dialog) {
    std::vector<std::string> texts;
    for (const Json::Value& item : dialog["items"]) {
        if (item.isMember("text")) {
            texts.push_back(item["text"].asString());
        }
    }
    return texts;
}

}  // namespace monitortest
