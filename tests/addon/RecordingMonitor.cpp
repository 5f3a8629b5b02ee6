// RecordingMonitor.cpp: the recording stand-in of the monitor; see RecordingMonitor.h.
#include "RecordingMonitor.h"

#include "addon/ObjectsMonitor.h"

#include <cstdlib>
#include <fstream>

namespace {

ObjectsMonitor* instance = nullptr;

void Record(const std::string& call) {
    monitor_record::Calls().push_back(call);
    if (const char* file = std::getenv("ORV_MONITOR_RECORD")) {
        // Binary, so that a Windows build's record reads line by line as a Linux one.
        std::ofstream(file, std::ios::app | std::ios::binary) << call << '\n';
    }
}

}  // namespace

namespace monitor_record {

std::vector<std::string>& Calls() {
    static std::vector<std::string> calls;
    return calls;
}

bool MonitorExists() { return instance != nullptr; }

}  // namespace monitor_record

ObjectsMonitor::ObjectsMonitor() { Record("construct"); }
ObjectsMonitor::~ObjectsMonitor() { Record("destroy"); }

void ObjectsMonitor::OnProjectOpened() { Record("OnProjectOpened"); }
void ObjectsMonitor::ResetMonitor() { Record("ResetMonitor"); }
void ObjectsMonitor::OnLibPartChanged(uint32_t index) {
    Record("OnLibPartChanged " + std::to_string(index));
}
void ObjectsMonitor::OnElementEvent(int32_t type, API_Guid identifier) {
    Record("OnElementEvent " + std::to_string(type) + " " + GS::Guid(identifier).ToString());
}

ObjectsMonitor& MonitorInstance() {
    if (instance == nullptr) {
        instance = new ObjectsMonitor();
    }
    return *instance;
}

void MonitorDestroy() {
    delete instance;
    instance = nullptr;
}
