// Trace.h: the emulator's trace, one JSON object a line, in the order things happen.
//
// Kinds of line: "call" (a host operation the add-on made: entry name, brief arguments, status),
// "event" (an event fired at the add-on), "dialog" and "messagebox" (what the user was shown),
// "command" (an undoable command: title, status), "script" (a script action), "exception" (an
// exception that left the add-on), "warning".
#pragma once

#include <fstream>
#include <json/value.h>
#include <string>

namespace orvhost {

class Trace {
public:
    // Opens the trace file (`path` in UTF-8), emptied; throws std::runtime_error when it cannot.
    void Open(const std::string& path);
    bool IsOpen() const { return file.is_open(); }
    // Writes `line` with "t", the loop's clock in milliseconds, added.
    void Write(const Json::Value& line);
    void WriteRaw(const std::string& jsonLine);

    static Trace& Instance();

private:
    std::ofstream file;
};

}  // namespace orvhost
