// Script.h: the script of `orvhost open --script FILE`, one action a line:
//   wait MS              let MS milliseconds of the loop's clock pass
//   click ROW            press the update button of that row of the open dialog (from 1)
//   close                close the open dialog (or a message box, as its close box would)
//   ok                   acknowledge the open message box
//   event project N      fire project event N
//   event library N      fire the library event with index N
//   place TYPE PART      place an element of TYPE (1 to 8) on library part PART (types 4 to 7)
//   modify GUID          the user changes that element
//   undo                 undo the last command
//   reload               read the library again (fires the library event with index 0)
// Blank lines and lines starting with "#" are skipped. Numbers are decimal or 0x hexadecimal.
#pragma once

#include "presentation/ScriptAction.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace orvhost {

// Throws std::runtime_error "NAME:LINE: ..." for an unknown verb or wrong words.
std::vector<presentation::ScriptAction> ParseScript(const std::string& text,
                                                    const std::string& name);
// Reads and parses a script file (`path` in UTF-8); throws std::runtime_error when it cannot be
// read.
std::vector<presentation::ScriptAction> ReadScript(const std::string& path);

// The number of a script word (decimal, or hexadecimal after "0x"); throws std::runtime_error.
long long ScriptNumber(const std::string& word);

}  // namespace orvhost
