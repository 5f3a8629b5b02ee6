// RecordingMonitor.h: a stand-in for the monitor behind the add-on's shell, recording each call
// it gets. The calls are kept in memory for in-process tests and, when ORV_MONITOR_RECORD names a
// file, appended to it one line each for tests that run the shell inside the emulator.
#pragma once

#include <string>
#include <vector>

namespace monitor_record {

// "OnProjectOpened", "ResetMonitor", "OnLibPartChanged 5", "OnElementEvent 6 GUID",
// "construct", "destroy".
std::vector<std::string>& Calls();
bool MonitorExists();

}  // namespace monitor_record
