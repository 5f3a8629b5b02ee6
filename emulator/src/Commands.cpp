// Commands.cpp: `orvhost open` and `orvhost status`, and the open and the status that `orvhost
// demo` shares with them.
#include "Commands.h"

#include "EmulatorPort.h"
#include "PathText.h"
#include "charcode/CharCode.h"
#include "emulator/AddOnModule.h"
#include "emulator/HostSession.h"
#include "emulator/Project.h"
#include "emulator/Script.h"
#include "emulator/Trace.h"
#include "hostkit/UniString.h"
#include "presentation/Backends.h"
#include "winsys/MainLoop.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <json/writer.h>
#include <map>
#include <optional>
#include <stdexcept>

namespace orvhost {

namespace {

const char* const kOpenUsage =
    "usage: orvhost open PROJECT [--addon FILE] [--ui gui|text|script|none] [--script FILE] "
    "[--trace FILE]\n";
const char* const kOpenHelp =
    "Loads the add-on, fires the open event, runs the main loop until no timer is armed and no\n"
    "window is open, fires the close event, stops the add-on and saves the project.\n"
    "\n"
    "  --addon FILE   the add-on module (default: OrvUpdate.so beside orvhost)\n"
    "  --ui NAME      gui: real windows (needs an X display)\n"
    "                 text: dialogs and message boxes on the terminal, buttons by number\n"
    "                 script: no window, a virtual clock, the script's actions\n"
    "                 none: every dialog closes at once, every message box is acknowledged\n"
    "                 (default: script with --script, else none)\n"
    "  --script FILE  the actions of the script backend, one a line (see the README)\n"
    "  --trace FILE   JSON lines of every host call, event, window and command\n";
const char* const kStatusUsage = "usage: orvhost status PROJECT [--json]\n";
const char* const kStatusHelp =
    "Lists the library parts (index, document name, check_url, uptodate) and the placed\n"
    "elements with their uptodate. Changes nothing.\n"
    "\n"
    "  --json   one JSON object instead of text\n";

// The words of a command: one positional word and options, each option at most once.
struct CommandLine {
    std::string positional;
    std::map<std::string, std::string> options;
    bool help = false;
};

// Throws std::invalid_argument with the message for the usage line.
CommandLine ParseCommandLine(const std::vector<std::string>& words,
                             const std::map<std::string, bool>& optionTakesValue) {
    CommandLine line;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--help" || word == "-h") {
            line.help = true;
            continue;
        }
        if (word.rfind("--", 0) == 0) {
            const auto option = optionTakesValue.find(word);
            if (option == optionTakesValue.end()) {
                throw std::invalid_argument("unknown option " + word);
            }
            if (line.options.count(word) != 0) {
                throw std::invalid_argument(word + " given twice");
            }
            if (!option->second) {
                line.options[word] = "";
            } else if (i + 1 < words.size()) {
                line.options[word] = words[++i];
            } else {
                throw std::invalid_argument(word + " needs a value");
            }
            continue;
        }
        if (!line.positional.empty()) {
            throw std::invalid_argument("unexpected \"" + word + "\"");
        }
        line.positional = word;
    }
    if (!line.help && line.positional.empty()) {
        throw std::invalid_argument("the project folder is missing");
    }
    return line;
}

std::optional<std::string> Option(const CommandLine& line, const std::string& name) {
    const auto found = line.options.find(name);
    return found == line.options.end() ? std::nullopt : std::optional(found->second);
}

void ReportWarnings(const std::vector<std::string>& warnings) {
    for (const std::string& warning : warnings) {
        std::fprintf(stderr, "orvhost: warning: %s\n", warning.c_str());
        Json::Value line;
        line["kind"] = "warning";
        line["text"] = warning;
        Trace::Instance().Write(line);
    }
}

// The script's own verbs: events and the user's actions on the project.
void RunProjectVerb(HostSession& session, const presentation::ScriptAction& action) {
    if (action.verb == "event") {
        const auto number = static_cast<int32_t>(ScriptNumber(action.words[1]));
        if (action.words[0] == "project") {
            session.FireProjectEvent(number, 0);
        } else {
            session.FireProjectEvent(ProjectEvent::LibraryChanged, static_cast<uint32_t>(number));
        }
    } else if (action.verb == "place") {
        session.PlaceElement(static_cast<int32_t>(ScriptNumber(action.words[0])),
                             action.words.size() > 1 ? action.words[1] : "");
    } else if (action.verb == "modify") {
        GS::Guid guid;
        if (!guid.FromString(action.words[0])) {
            throw std::runtime_error("\"" + action.words[0] + "\" is not an identifier");
        }
        session.ModifyElement(guid.ToAPIGuid());
    } else if (action.verb == "undo") {
        if (!session.Undo()) {
            throw std::runtime_error("nothing to undo");
        }
    } else if (action.verb == "reload") {
        session.ReloadLibrary();
    }
}

// A verb that cannot be carried out is the script's error: reported, counted, and the run goes
// on, as the user of a real host would go on.
void RunVerbReportingErrors(HostSession& session, const presentation::ScriptAction& action) {
    try {
        RunProjectVerb(session, action);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvhost: script line %d: %s\n", action.line, error.what());
        Json::Value line;
        line["kind"] = "script";
        line["line"] = action.line;
        line["error"] = error.what();
        Trace::Instance().Write(line);
        presentation::CountScriptError();
    }
}

// The --ui, --script and --addon options of `open` as a request; throws std::invalid_argument
// for a wrong combination.
OpenRequest RequestOf(const CommandLine& line) {
    OpenRequest request;
    request.project = line.positional;
    request.addon = Option(line, "--addon").value_or(DefaultAddOnPath());
    request.ui = Option(line, "--ui").value_or(Option(line, "--script") ? "script" : "none");
    if (request.ui != "gui" && request.ui != "text" && request.ui != "script" &&
        request.ui != "none") {
        throw std::invalid_argument("--ui is gui, text, script or none");
    }
    if (Option(line, "--script") && request.ui != "script") {
        throw std::invalid_argument("--script needs --ui script");
    }
    if (const auto script = Option(line, "--script")) {
        request.actions = ReadScript(*script);
    }
    return request;
}

Json::Value NumberOrNull(const Parameter* parameter) {
    if (parameter == nullptr || parameter->isArray || parameter->value.numbers.empty()) {
        return Json::Value();
    }
    return parameter->value.numbers.front();
}

Json::Value TextOrNull(const Parameter* parameter) {
    if (parameter == nullptr || parameter->isArray || parameter->value.texts.empty()) {
        return Json::Value();
    }
    return charcode::Utf16ToUtf8(parameter->value.texts.front());
}

const Parameter* FindIn(const std::vector<Parameter>& parameters, const std::string& name) {
    for (const Parameter& parameter : parameters) {
        if (parameter.name == name) {
            return &parameter;
        }
    }
    return nullptr;
}

Json::Value StatusOf(const Project& project) {
    Json::Value status;
    status["parts"] = Json::arrayValue;
    status["elements"] = Json::arrayValue;
    int32_t index = 1;
    for (const LibraryPart& part : project.Parts()) {
        Json::Value entry;
        entry["index"] = index++;
        entry["name"] = charcode::Utf16ToUtf8(part.documentName);
        entry["path"] = part.relativePath;
        entry["check_url"] = TextOrNull(part.Find("check_url"));
        entry["uptodate"] = NumberOrNull(part.Find("uptodate"));
        status["parts"].append(entry);
    }
    for (const Element& element : project.Elements()) {
        const std::vector<Parameter> parameters = project.EffectiveParameters(element);
        Json::Value entry;
        entry["guid"] = GS::Guid(element.guid).ToString();
        entry["type"] = element.type;
        entry["part"] = element.part;
        entry["index"] = element.libIndex;
        entry["uptodate"] = NumberOrNull(FindIn(parameters, "uptodate"));
        status["elements"].append(entry);
    }
    return status;
}

std::string Shown(const Json::Value& value) {
    if (value.isNull()) {
        return "-";
    }
    if (value.isString()) {
        return value.asString();
    }
    // A whole number (the states are) reads better without its ".0".
    if (value.isDouble() && std::abs(value.asDouble()) < 1e15 &&
        value.asDouble() == std::trunc(value.asDouble())) {
        return std::to_string(static_cast<long long>(value.asDouble()));
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

// `text` (UTF-8) padded with blanks to `columns` characters: printf's width counts bytes, which
// would pull the next column left after every accented letter of a Czech name.
std::string PaddedTo(const std::string& text, std::size_t columns) {
    const auto characters = static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
    return characters >= columns ? text : text + std::string(columns - characters, ' ');
}

void PrintStatus(const Json::Value& status) {
    std::printf("Library parts:\n");
    for (const Json::Value& part : status["parts"]) {
        std::printf("  %3d  %s uptodate=%-4s check_url=%s\n", part["index"].asInt(),
                    PaddedTo(part["name"].asString(), 24).c_str(), Shown(part["uptodate"]).c_str(),
                    Shown(part["check_url"]).c_str());
    }
    std::printf("Elements:\n");
    for (const Json::Value& element : status["elements"]) {
        std::printf("  %s  type %d  uptodate=%-4s %s\n", element["guid"].asCString(),
                    element["type"].asInt(), Shown(element["uptodate"]).c_str(),
                    element["part"].asCString());
    }
}

}  // namespace

std::string DefaultAddOnPath() {
    const std::filesystem::path program = port::ProgramFolder();
    return Utf8Of(program.empty() ? std::filesystem::path(port::kAddOnFileName)
                                  : program / port::kAddOnFileName);
}

int OpenProject(const OpenRequest& request) {
    std::vector<std::string> warnings;
    Project project = Project::Load(PathOfUtf8(request.project), warnings);
    ReportWarnings(warnings);
    HostSession session(project);
    winsys::MainLoop& loop = winsys::MainLoop::Instance();
    if (request.ui == "script") {
        loop.SetBackend(presentation::MakeScriptBackend(
            request.actions, [&session](const presentation::ScriptAction& action) {
                RunVerbReportingErrors(session, action);
            }));
    } else if (request.ui == "gui") {
        loop.SetBackend(presentation::MakeGuiBackend());
    } else if (request.ui == "text") {
        loop.SetBackend(presentation::MakeTextBackend());
    } else {
        loop.SetBackend(presentation::MakeNoneBackend());
    }

    AddOnModule module(request.addon);
    try {
        module.Start(session.Table(), session.Token());
    } catch (...) {
        module.Stop();
        throw;
    }
    session.FireProjectEvent(ProjectEvent::OpenProject, 0);
    loop.Run();
    session.FireProjectEvent(ProjectEvent::CloseProject, 0);
    module.Stop();
    project.Save();
    // Only this run's script errors count (the demo opens a project twice in one process): the
    // backend set above counts them from 0.
    return presentation::ScriptErrorCount() == 0 ? kExitDone : kExitFailed;
}

void PrintProjectStatus(const std::string& projectPath) {
    std::vector<std::string> warnings;
    const Project project = Project::Load(PathOfUtf8(projectPath), warnings);
    for (const std::string& warning : warnings) {
        std::fprintf(stderr, "orvhost: warning: %s\n", warning.c_str());
    }
    PrintStatus(StatusOf(project));
}

int RunOpen(const std::vector<std::string>& arguments) {
    CommandLine line;
    try {
        line = ParseCommandLine(
            arguments, {{"--addon", true}, {"--ui", true}, {"--script", true}, {"--trace", true}});
        if (line.help) {
            std::fputs(kOpenUsage, stdout);
            std::fputs(kOpenHelp, stdout);
            return kExitDone;
        }
        OpenRequest request = RequestOf(line);
        if (const auto trace = Option(line, "--trace")) {
            Trace::Instance().Open(*trace);
        }
        return OpenProject(request);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "orvhost open: %s\n%s", error.what(), kOpenUsage);
        return kExitUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvhost: %s\n", error.what());
        return kExitFailed;
    }
}

int RunStatus(const std::vector<std::string>& arguments) {
    try {
        const CommandLine line = ParseCommandLine(arguments, {{"--json", false}});
        if (line.help) {
            std::fputs(kStatusUsage, stdout);
            std::fputs(kStatusHelp, stdout);
            return kExitDone;
        }
        std::vector<std::string> warnings;
        const Project project = Project::Load(PathOfUtf8(line.positional), warnings);
        for (const std::string& warning : warnings) {
            std::fprintf(stderr, "orvhost: warning: %s\n", warning.c_str());
        }
        const Json::Value status = StatusOf(project);
        if (Option(line, "--json")) {
            Json::StreamWriterBuilder builder;
            builder["indentation"] = "  ";
            builder["emitUTF8"] = true;
            std::printf("%s\n", Json::writeString(builder, status).c_str());
        } else {
            PrintStatus(status);
        }
        return kExitDone;
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "orvhost status: %s\n%s", error.what(), kStatusUsage);
        return kExitUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvhost: %s\n", error.what());
        return kExitFailed;
    }
}

}  // namespace orvhost
