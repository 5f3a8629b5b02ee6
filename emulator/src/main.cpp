// main.cpp: orvhost, the host emulator: plays the host to an add-on module over a project.
#include "Commands.h"
#include "Demo.h"
#include "common/CommandLine.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

const char* const kUsage =
    "usage: orvhost open PROJECT [--addon FILE] [--ui gui|text|script|none] [--script FILE] "
    "[--trace FILE]\n"
    "       orvhost status PROJECT [--json]\n"
    "       orvhost demo [--ui gui|text|script|none] [--script FILE] [--trace FILE] "
    "[--folder DIR] [--addon FILE]\n"
    "       orvhost COMMAND --help\n";

const char* const kHelp =
    "orvhost plays the host to an add-on module over a project folder.\n"
    "\n"
    "  open PROJECT     load the add-on, open the project, run until nothing is left to do,\n"
    "                   close and save it\n"
    "  status PROJECT   list the library parts and the placed elements with their state\n"
    "  demo             the demo library with its version service: open, update, open again\n"
    "\n"
    "Run \"orvhost COMMAND --help\" for a command's options.\n";

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments = Utf8Arguments(argc, argv);
    if (arguments.size() < 2) {
        std::fputs(kUsage, stderr);
        return orvhost::kExitUsage;
    }
    const std::string& command = arguments[1];
    const std::vector<std::string> rest(arguments.begin() + 2, arguments.end());
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(kHelp, stdout);
        std::fputs(kUsage, stdout);
        return orvhost::kExitDone;
    }
    if (command == "open") {
        return orvhost::RunOpen(rest);
    }
    if (command == "status") {
        return orvhost::RunStatus(rest);
    }
    if (command == "demo") {
        return orvhost::RunDemo(rest);
    }
    std::fprintf(stderr, "orvhost: unknown command \"%s\"\n", command.c_str());
    std::fputs(kUsage, stderr);
    return orvhost::kExitUsage;
}
