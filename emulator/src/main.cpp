// main.cpp: orvhost, the host emulator: plays the host to an add-on module over a project.
#include "Commands.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

const char* const kUsage =
    "usage: orvhost open PROJECT [--addon FILE] [--ui gui|text|script|none] [--script FILE] "
    "[--trace FILE]\n"
    "       orvhost status PROJECT [--json]\n"
    "       orvhost COMMAND --help\n";

const char* const kHelp =
    "orvhost plays the host to an add-on module over a project folder.\n"
    "\n"
    "  open PROJECT     load the add-on, open the project, run until nothing is left to do,\n"
    "                   close and save it\n"
    "  status PROJECT   list the library parts and the placed elements with their state\n"
    "\n"
    "Run \"orvhost open --help\" or \"orvhost status --help\" for their options.\n";

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty()) {
        std::fputs(kUsage, stderr);
        return orvhost::kExitUsage;
    }
    const std::string& command = words[0];
    const std::vector<std::string> rest(words.begin() + 1, words.end());
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
    std::fprintf(stderr, "orvhost: unknown command \"%s\"\n", command.c_str());
    std::fputs(kUsage, stderr);
    return orvhost::kExitUsage;
}
