// LoopSupport.h: small helpers shared by the main loop, its backends and the message box.
#pragma once

#include <cstdint>
#include <json/json.h>
#include <string>

namespace hostkit::windowing {

// One JSON line for the trace sink: no indentation, UTF-8 left as it is.
std::string JsonLine(const Json::Value& value);
// The system clock as microseconds since 1 January 1601 UTC.
uint64_t SystemMicroseconds1601();
// Traces a script error of `line` and reports it on standard error, and counts it.
void ReportScriptError(int line, const std::string& message);

}  // namespace hostkit::windowing
