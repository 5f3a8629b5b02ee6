// LoopSupport.h: small helpers shared by the main loop and the message box.
#pragma once

#include <cstdint>
#include <json/json.h>
#include <string>

namespace winsys::detail {

// One JSON line for the trace sink: no indentation, UTF-8 left as it is.
std::string JsonLine(const Json::Value& value);

}  // namespace winsys::detail
