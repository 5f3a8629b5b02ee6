// main.cpp: the orvservice command: reads the catalog, listens, prints its address and serves
// until the user asks it to stop (SIGINT or SIGTERM; on Windows Ctrl+C or Ctrl+Break), taking the
// catalog again when its file changes or on SIGHUP.
#include "PathText.h"
#include "ServicePort.h"
#include "common/CommandLine.h"
#include "service/Publish.h"
#include "service/Stats.h"
#include "service/VersionService.h"

#include <charconv>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr const char* kUsage =
    "usage: orvservice --catalog FILE --files DIR [--listen HOST:PORT] [--cert PEM --key PEM]\n"
    "                  [--log] [--access-log FILE] [--request-timeout S] [--files-url BASE]\n"
    "                  [--threads N]";
// How often the catalog file is looked at for a change.
constexpr int kWatchMilliseconds = 1000;

int Usage(const std::string& complaint) {
    std::cerr << "orvservice: " << complaint << "\n" << kUsage << std::endl;
    return 2;
}

void PrintHelp() {
    std::cout << kUsage << "\n\n"
              << "Serves the version check of GDL library parts:\n"
                 "  GET /check?id=ID&version=V&format=json  the JSON answer for that object\n"
                 "  GET /files/NAME                         a file of DIR, as an attachment\n"
                 "  GET /bytes?size=N                       N bytes, for tests of HTTP clients\n"
                 "  GET /healthz                            \"ok\", for load balancers\n\n"
                 "  --catalog FILE       the objects (JSON: {\"objects\": [{\"id\", \"versions\",\n"
                 "                       \"latest\", \"test_versions\", \"file\", \"faults\"}]})\n"
                 "  --files DIR          where the catalog's files are\n"
                 "  --listen HOST:PORT   default 127.0.0.1:0 (port 0: any free port)\n"
                 "  --cert PEM --key PEM serve HTTPS\n"
                 "  --log                the access log (Combined Log Format) on standard output\n"
                 "  --access-log FILE    the access log appended to FILE\n"
                 "  --request-timeout S  close a connection on which no whole request has come\n"
                 "                       S seconds after it opened or after its last answer: idle\n"
                 "                       keep-alive connections and too slow clients (default 5)\n"
                 "  --files-url BASE     download addresses BASE/NAME (a static file host serving\n"
                 "                       DIR) instead of this service's /files/NAME\n"
                 "  --threads N          serving threads (default: one per processor)\n\n"
                 "Prints \"orvservice listening on URL\" once it accepts connections. Takes the\n"
                 "catalog again when its file changes (looked at every second) and on SIGHUP; a\n"
                 "catalog it refuses leaves the one in service, and both are said on standard\n"
                 "error. Stops on SIGINT or SIGTERM (on Windows Ctrl+C or Ctrl+Break), after the\n"
                 "answers under way. A request may add fault_NAME=VALUE keys (delay_ms, status,\n"
                 "body, cut_body, no_content_disposition, quoted_filename, redirect,\n"
                 "close_mid_body, chunked, disposition, hold).\n\n"
                 "Two more commands keep the catalog and read the access log:\n"
                 "  orvservice publish --catalog FILE --files DIR --id ID --version V [--test]\n"
                 "                     [--library DIR [--force]] FILE\n"
                 "  orvservice stats LOG [--from YYYY-MM-DD] [--to YYYY-MM-DD] [--json]\n"
                 "each with --help of its own.\n";
}

// A whole number in [least, most]; false for anything else.
bool ParseNumber(const std::string& text, long least, long most, long& value) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return !text.empty() && ec == std::errc() && end == text.data() + text.size() &&
           value >= least && value <= most;
}

bool ParseListen(const std::string& text, orvservice::ServiceOptions& options) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        return false;
    }
    const std::string port = text.substr(colon + 1);
    unsigned value = 0;
    const auto [end, ec] = std::from_chars(port.data(), port.data() + port.size(), value);
    if (port.empty() || ec != std::errc() || end != port.data() + port.size() || value > 65535) {
        return false;
    }
    options.host = text.substr(0, colon);
    options.port = static_cast<uint16_t>(value);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args = Utf8Arguments(argc, argv);
    if (args.size() > 1 && args[1] == "publish") {
        return orvservice::RunPublish(args, std::cout, std::cerr);
    }
    if (args.size() > 1 && args[1] == "stats") {
        return orvservice::RunStats(args, std::cout, std::cerr);
    }
    orvservice::ServiceOptions options;
    // A long-running service keeps no list of its requests, and takes a changed catalog.
    options.recordRequests = false;
    options.watchCatalogMilliseconds = kWatchMilliseconds;
    for (std::size_t i = 1; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--help" || arg == "-h") {
            PrintHelp();
            return 0;
        }
        if (arg == "--log") {
            options.log = true;
            continue;
        }
        if (arg != "--catalog" && arg != "--files" && arg != "--listen" && arg != "--cert" &&
            arg != "--key" && arg != "--access-log" && arg != "--request-timeout" &&
            arg != "--files-url" && arg != "--threads") {
            return Usage("unknown argument \"" + arg + "\"");
        }
        if (i + 1 >= args.size()) {
            return Usage(arg + " needs a value");
        }
        const std::string& value = args[++i];
        long number = 0;
        if (arg == "--catalog") {
            options.catalog = orvservice::PathOfUtf8(value);
        } else if (arg == "--files") {
            options.files = orvservice::PathOfUtf8(value);
        } else if (arg == "--cert") {
            options.certificate = orvservice::PathOfUtf8(value);
        } else if (arg == "--key") {
            options.privateKey = orvservice::PathOfUtf8(value);
        } else if (arg == "--access-log") {
            options.accessLog = orvservice::PathOfUtf8(value);
        } else if (arg == "--files-url") {
            options.filesUrl = value;
            while (!options.filesUrl.empty() && options.filesUrl.back() == '/') {
                options.filesUrl.pop_back();
            }
        } else if (arg == "--request-timeout") {
            if (!ParseNumber(value, 1, 3600, number)) {
                return Usage("--request-timeout takes seconds from 1 to 3600, not \"" + value +
                             "\"");
            }
            options.requestTimeoutSeconds = static_cast<int>(number);
        } else if (arg == "--threads") {
            if (!ParseNumber(value, 1, 256, number)) {
                return Usage("--threads takes a number from 1 to 256, not \"" + value + "\"");
            }
            options.threads = static_cast<unsigned>(number);
        } else if (!ParseListen(value, options)) {
            return Usage("--listen takes HOST:PORT, not \"" + value + "\"");
        }
    }
    if (options.catalog.empty() || options.files.empty()) {
        return Usage("--catalog and --files are required");
    }
    if (options.certificate.empty() != options.privateKey.empty()) {
        return Usage("--cert and --key go together");
    }

    // Before the serving threads start, so that the user's requests come to the main thread,
    // which acts on them cleanly.
    serviceport::CatchRequests();
    // A client that hangs up mid-answer must not end the service.
    serviceport::SurviveHungUpPeers();

    try {
        orvservice::VersionService service(options);
        service.Start();
        std::cout << "orvservice listening on " << service.BaseUrl() << std::endl;
        while (serviceport::WaitForRequest() == serviceport::Request::ReloadCatalog) {
            try {
                service.ReloadCatalog();
            } catch (const orvservice::ServiceError&) {
                // Said on standard error; the catalog in service stays.
            }
        }
        service.Stop();
    } catch (const orvservice::ServiceError& error) {
        std::cerr << "orvservice: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
