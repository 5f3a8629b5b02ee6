// main.cpp: the orvservice command: reads the catalog, listens, prints its address and serves
// until the user asks it to stop (SIGINT or SIGTERM; on Windows Ctrl+C or Ctrl+Break).
#include "PathText.h"
#include "ServicePort.h"
#include "service/Publish.h"
#include "service/Stats.h"
#include "service/VersionService.h"

#include <charconv>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr const char* kUsage = "usage: orvservice --catalog FILE --files DIR "
                               "[--listen HOST:PORT] [--cert PEM --key PEM] [--log]";

int Usage(const std::string& complaint) {
    std::cerr << "orvservice: " << complaint << "\n" << kUsage << std::endl;
    return 2;
}

void PrintHelp() {
    std::cout << kUsage << "\n\n"
              << "Serves the version check of GDL library parts:\n"
                 "  GET /check?id=ID&version=V&format=json  the JSON answer for that object\n"
                 "  GET /files/NAME                         a file of DIR, as an attachment\n"
                 "  GET /bytes?size=N                       N bytes, for tests of HTTP clients\n\n"
                 "  --catalog FILE      the objects (JSON: {\"objects\": [{\"id\", \"versions\",\n"
                 "                      \"latest\", \"test_versions\", \"file\", \"faults\"}]})\n"
                 "  --files DIR         where the catalog's files are\n"
                 "  --listen HOST:PORT  default 127.0.0.1:0 (port 0: any free port)\n"
                 "  --cert PEM --key PEM  serve HTTPS\n"
                 "  --log               one line per request on standard output\n\n"
                 "Prints \"orvservice listening on URL\" once it accepts connections; stops on\n"
                 "SIGINT or SIGTERM (on Windows Ctrl+C or Ctrl+Break). A request may add\n"
                 "fault_NAME=VALUE keys (delay_ms, status, body, cut_body,\n"
                 "no_content_disposition, quoted_filename, redirect, close_mid_body, chunked,\n"
                 "disposition, hold).\n";
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
    const std::vector<std::string> args = serviceport::Utf8Arguments(argc, argv);
    if (args.size() > 1 && args[1] == "publish") {
        return orvservice::RunPublish(args, std::cout, std::cerr);
    }
    if (args.size() > 1 && args[1] == "stats") {
        return orvservice::RunStats(args, std::cout, std::cerr);
    }
    orvservice::ServiceOptions options;
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
            arg != "--key") {
            return Usage("unknown argument \"" + arg + "\"");
        }
        if (i + 1 >= args.size()) {
            return Usage(arg + " needs a value");
        }
        const std::string& value = args[++i];
        if (arg == "--catalog") {
            options.catalog = orvservice::PathOfUtf8(value);
        } else if (arg == "--files") {
            options.files = orvservice::PathOfUtf8(value);
        } else if (arg == "--cert") {
            options.certificate = orvservice::PathOfUtf8(value);
        } else if (arg == "--key") {
            options.privateKey = orvservice::PathOfUtf8(value);
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

    // Before the serving threads start, so that the stop request comes to the main thread, which
    // stops the service cleanly.
    serviceport::CatchStopRequests();
    // A client that hangs up mid-answer must not end the service.
    serviceport::SurviveHungUpPeers();

    try {
        orvservice::VersionService service(options);
        service.Start();
        std::cout << "orvservice listening on " << service.BaseUrl() << std::endl;
        serviceport::WaitForStopRequest();
        service.Stop();
    } catch (const orvservice::ServiceError& error) {
        std::cerr << "orvservice: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
