// ObjectsMonitor.h: the one object behind the add-on's events: its table of monitored library
// parts, the version check, the deferred writing of states, the summary.
//
// The event routing calls only what is declared here; the monitor's own work stands behind it.
#pragma once

#include "hostkit/GSGuid.h"
#include "hostkit/GSHashTable.h"
#include "hostkit/UniString.h"
#include "hostkit/WindowSystem.h"

#include <cstdint>

// One monitored part's record.
struct VersionCheckState {
    GS::UniString url;          // the part's check_url, as it stands in the part
    GS::UniString version;      // from the service; "unknown" until one arrives
    GS::UniString name;         // the part's document name
    GS::UniString downloadUrl;  // the new file's address; empty unless one was offered
    int32_t state;              // a VersionState
    int64_t checkTime;          // microseconds since 1 January 1601 UTC
};

enum VersionState : int32_t {
    StateUnknown = 0,
    StateUpToDate = 1,
    StateUpdateAvailable = 2,
    StateTestVersion = 3,
};

class ObjectsMonitor {
public:
    // Makes the hidden message-only window; throws OVException when it cannot.
    ObjectsMonitor();
    ~ObjectsMonitor();
    ObjectsMonitor(const ObjectsMonitor&) = delete;
    ObjectsMonitor& operator=(const ObjectsMonitor&) = delete;

    void OnProjectOpened();
    void ResetMonitor();
    void OnLibPartChanged(uint32_t index);
    void OnElementEvent(int32_t type, API_Guid identifier);

    // The version table, keyed by library part index; the summary dialog reads it.
    const GS::HashTable<int, VersionCheckState>& GetTable() const { return table; }
    GS::HashTable<int, VersionCheckState>& GetTable() { return table; }

private:
    GS::HashTable<int, VersionCheckState> table;
    uint8_t pendingFullScan = 0;
    uint8_t summaryOpen = 0;
};

// The single monitor, made at the first call.
ObjectsMonitor& MonitorInstance();
// Closes the download session, kills timer 1, destroys the hidden window, unregisters its class
// and frees the monitor; nothing when there is none.
void MonitorDestroy();
