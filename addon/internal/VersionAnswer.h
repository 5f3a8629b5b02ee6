// VersionAnswer.h: reading the version service's answer, a JSON object: "version" (text),
// "up_to_date", "test_version" and "update_available" (booleans), and "url" (text) when an update
// is available.
#pragma once

#include "addon/ObjectsMonitor.h"

#include <string>

namespace monitor {

// Reads the answer into `record` member by member: a member of a wrong type throws, and what was
// read before it stays. A body that is no JSON leaves the record as it was.
void ReadVersionAnswer(const std::string& body, VersionCheckState& record);

}  // namespace monitor
