// CommandLine.h: a program's command line as UTF-8 text, the one form the programs read paths in.
//
// One header, one file per platform beside the runtime's other machine calls
// (src/utils_platforms/Platform_linux.cpp, Platform_windows.cpp).
#pragma once

#include <string>
#include <vector>

// The command line in UTF-8, the program first. On Linux that is argv as it stands. On Windows
// argv is in the ANSI code page, which cannot name every file, so the process's wide command line
// is read instead and argc and argv are not looked at; a lone surrogate, which UTF-8 cannot carry,
// becomes U+FFFD. Empty only when the system cannot give the command line at all.
std::vector<std::string> Utf8Arguments(int argc, char** argv);
