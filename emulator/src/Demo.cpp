// Demo.cpp: `orvhost demo`. The demo data (demo/ of the source tree, installed beside orvhost)
// is copied into a fresh working folder, the version service starts in-process, its address goes
// into every part and served file, W01's update archive is built, and the project is opened:
// once to see the states and update parts, once more to see them up to date.
#include "Demo.h"

#include "Commands.h"
#include "EmulatorPort.h"
#include "PathText.h"
#include "common/CUtils.h"
#include "emulator/Script.h"
#include "emulator/Trace.h"
#include "presentation/Backends.h"
#include "service/VersionService.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace orvhost {

namespace {

namespace fs = std::filesystem;

const char* const kDemoUsage =
    "usage: orvhost demo [--ui gui|text|script|none] [--script FILE] [--trace FILE] "
    "[--folder DIR] [--addon FILE]\n";
const char* const kDemoHelp =
    "Copies the demo library of Brennerstein into a working folder, starts the version service\n"
    "in-process, and opens the demo project; after the updates it opens the project again.\n"
    "\n"
    "  --ui NAME      gui, text, script or none (default: gui when a display is available,\n"
    "                 else text; script with --script)\n"
    "  --script FILE  the actions of the script backend for the first open\n"
    "  --trace FILE   JSON lines of both opens\n"
    "  --folder DIR   the working folder, new or empty (default: a new folder under $TMPDIR)\n"
    "  --addon FILE   the add-on module (default: OrvUpdate.so beside orvhost)\n";

const char* const kPlaceholder = "{{SERVICE}}";
const char* const kArchiveName = "W01-2.0.zip";

struct DemoOptions {
    std::optional<std::string> ui;
    std::optional<std::string> script;
    std::optional<std::string> trace;
    std::optional<std::string> folder;
    std::optional<std::string> addon;
    bool help = false;
};

// Throws std::invalid_argument with the message for the usage line.
DemoOptions ParseDemoOptions(const std::vector<std::string>& words) {
    DemoOptions options;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--help" || word == "-h") {
            options.help = true;
            continue;
        }
        std::optional<std::string>* slot = word == "--ui"       ? &options.ui
                                           : word == "--script" ? &options.script
                                           : word == "--trace"  ? &options.trace
                                           : word == "--folder" ? &options.folder
                                           : word == "--addon"  ? &options.addon
                                                                : nullptr;
        if (slot == nullptr) {
            throw std::invalid_argument(word.rfind("--", 0) == 0 ? "unknown option " + word
                                                                 : "unexpected \"" + word + "\"");
        }
        if (slot->has_value()) {
            throw std::invalid_argument(word + " given twice");
        }
        if (i + 1 >= words.size()) {
            throw std::invalid_argument(word + " needs a value");
        }
        *slot = words[++i];
    }
    if (options.ui && *options.ui != "gui" && *options.ui != "text" && *options.ui != "script" &&
        *options.ui != "none") {
        throw std::invalid_argument("--ui is gui, text, script or none");
    }
    if (options.script && options.ui.value_or("script") != "script") {
        throw std::invalid_argument("--script needs --ui script");
    }
    return options;
}

// The demo data installed beside the executable.
fs::path DemoDataFolder() {
    std::error_code error;
    const fs::path program = port::ProgramFolder();
    const fs::path data = (program.empty() ? fs::path(".") : program) / "demo";
    if (!fs::is_regular_file(data / "project.json", error)) {
        throw std::runtime_error("the demo data is missing: " + Utf8Of(data) +
                                 " (it is installed there by the build)");
    }
    return data;
}

// The given folder, made when missing and refused when it holds anything; or a new one under
// the temporary folder.
fs::path WorkingFolder(const std::optional<std::string>& given) {
    if (given) {
        const fs::path folder = fs::absolute(PathOfUtf8(*given));
        fs::create_directories(folder);
        if (!fs::is_empty(folder)) {
            throw std::runtime_error("the working folder " + Utf8Of(folder) + " is not empty");
        }
        return folder;
    }
    return port::MakeTemporaryFolder("orvhost-demo-");
}

std::string ReadWhole(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    if (!in) {
        throw std::runtime_error("cannot read " + Utf8Of(file));
    }
    return content.str();
}

void WriteWhole(const fs::path& file, const std::string& content) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + Utf8Of(file));
    }
}

// Puts the service's address into every file below `folder` that holds the placeholder.
void FillInServiceAddress(const fs::path& folder, const std::string& baseUrl) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        std::string content = ReadWhole(entry.path());
        bool changed = false;
        for (std::size_t at = content.find(kPlaceholder); at != std::string::npos;
             at = content.find(kPlaceholder, at + baseUrl.size())) {
            content.replace(at, std::string(kPlaceholder).size(), baseUrl);
            changed = true;
        }
        if (changed) {
            WriteWhole(entry.path(), content);
        }
    }
}

void OpenAndReport(const OpenRequest& request, int& status) {
    const int result = OpenProject(request);
    status = std::max(status, result);
    std::printf("\nThe project now (orvhost status %s):\n", request.project.c_str());
    PrintProjectStatus(request.project);
    std::fflush(stdout);
}

// Asks on the terminal; anything but an answer starting with n or N is yes. Read byte by byte,
// so that nothing meant for the text backend is taken along.
bool AskToOpenAgain() {
    std::printf("\nOpen the project again to see the updated parts? [Y/n] ");
    std::fflush(stdout);
    std::string answer;
    char byte = 0;
    while (port::ReadInputByte(byte) && byte != '\n') {
        answer += byte;
    }
    const auto first = answer.find_first_not_of(" \t\r");
    return first == std::string::npos || (answer[first] != 'n' && answer[first] != 'N');
}

void PrintIntroduction(const fs::path& folder, const std::string& baseUrl, const std::string& ui) {
    std::printf(
        "OrvUpdate demo: the library of Brennerstein, a fictional maker of building parts.\n"
        "\n"
        "Working folder:  %s\n"
        "Version service: %s (in this process)\n"
        "User interface:  %s\n"
        "\n"
        "The project places a wall, a column, a beam and a slab, and these library parts:\n"
        "  D01  door    version 1.0: a newer version 2.0 is offered as a plain XML file\n"
        "  D02  door    version 1.1: up to date\n"
        "  W01  window  version 1.0: a newer version 2.0 is offered as a ZIP archive (the part,\n"
        "               its frame macro and a read-me)\n"
        "  O01  object  version 1.1-beta: a test version\n"
        "  L01  lamp    its service answers with a page that is no JSON: the state stays unknown\n"
        "  Lavice       no check_url: not monitored\n"
        "\n"
        "The add-on asks the service about each part, writes the states into the elements'\n"
        "uptodate (0 unknown, 1 up to date, 2 update available, 3 test version) and shows the\n"
        "summary of the parts. Press \"Aktualizovat\" on the rows of D01 and W01 to download and\n"
        "put in place their new versions, then close the summary (\"Zavřít\"). The project is\n"
        "then opened again: D01 and W01 read as up to date.\n\n",
        Utf8Of(folder).c_str(), baseUrl.c_str(), ui.c_str());
    std::fflush(stdout);
}

// gui when a display is available, else text, and the user is told why.
std::string DefaultUi() {
    try {
        presentation::MakeGuiBackend();
        return "gui";
    } catch (const std::runtime_error&) {
        std::fprintf(stderr, "orvhost demo: no X display (DISPLAY is not set or cannot be "
                             "opened), so the demo runs in the text interface\n");
        return "text";
    }
}

int Demo(const DemoOptions& options) {
    const fs::path data = DemoDataFolder();
    const std::string ui = options.ui.value_or(options.script ? "script" : DefaultUi());
    OpenRequest request;
    request.addon = options.addon.value_or(DefaultAddOnPath());
    request.ui = ui;
    if (options.script) {
        request.actions = ReadScript(*options.script);
    }
    if (options.trace) {
        Trace::Instance().Open(*options.trace);
    }

    const fs::path folder = WorkingFolder(options.folder);
    // Entry by entry: copying a folder onto one that exists fails on Windows.
    for (const fs::directory_entry& entry : fs::directory_iterator(data)) {
        fs::copy(entry.path(), folder / entry.path().filename(), fs::copy_options::recursive);
    }
    const fs::path files = folder / "service" / "files";
    // The catalog names the archive, which must be there when the service starts; its real
    // content needs the service's address, known once the service is bound.
    WriteWhole(files / kArchiveName, "");
    orvservice::ServiceOptions serviceOptions;
    serviceOptions.catalog = folder / "service" / "catalog.json";
    serviceOptions.files = files;
    orvservice::VersionService service(serviceOptions);
    const std::string baseUrl = service.BaseUrl();
    FillInServiceAddress(folder, baseUrl);
    fs::remove(files / kArchiveName);
    BuildZipOfFolder(folder / "service" / "zip" / "W01-2.0", files / kArchiveName);
    service.Start();

    PrintIntroduction(folder, baseUrl, ui);
    request.project = Utf8Of(folder);
    int status = kExitDone;
    OpenAndReport(request, status);

    // The second open shows the result: a script has been played, so nothing is asked.
    const bool interactive = (ui == "gui" || ui == "text") && port::InputIsTerminal();
    if (!interactive || AskToOpenAgain()) {
        request.actions.clear();
        std::printf("\nOpening the project again.\n");
        std::fflush(stdout);
        OpenAndReport(request, status);
    }
    service.Stop();
    std::printf("\nThe demo's files stay in %s\n", Utf8Of(folder).c_str());
    return status;
}

}  // namespace

void BuildZipOfFolder(const fs::path& folder, const fs::path& archive) {
    std::vector<fs::path> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            names.push_back(entry.path().filename());
        }
    }
    std::sort(names.begin(), names.end());
    ZipFile zip(CUtils::StringUTF8ToWstring(Utf8Of(archive)), nullptr, true, false, false);
    for (const fs::path& name : names) {
        FileInputStream content(CUtils::StringUTF8ToWstring(Utf8Of(folder / name)));
        zip.addFile(CUtils::StringUTF8ToWstring(GenericUtf8Of(name)), content, kZipNotEncrypted);
    }
    if (zip.close() != 0) {
        throw std::runtime_error("cannot write the archive " + Utf8Of(archive));
    }
}

int RunDemo(const std::vector<std::string>& arguments) {
    try {
        const DemoOptions options = ParseDemoOptions(arguments);
        if (options.help) {
            std::fputs(kDemoUsage, stdout);
            std::fputs(kDemoHelp, stdout);
            return kExitDone;
        }
        return Demo(options);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "orvhost demo: %s\n%s", error.what(), kDemoUsage);
        return kExitUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvhost: %s\n", error.what());
        return kExitFailed;
    }
}

}  // namespace orvhost
