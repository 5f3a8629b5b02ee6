// ObjectsMonitor.h: the one object behind the add-on's events: its table of monitored library
// parts, the version check, the deferred writing of states, the summary.
//
// A library part is monitored when it declares check_url (text, not empty) and uptodate (a
// number), both plain values. A scan asks each monitored part's service, at most once in four
// hours, and arms a one-second timer on a hidden message-only window; the timer writes each state
// into the uptodate of the placed elements as one undoable command and opens the summary when a
// record offers a newer file.
#pragma once

#include "hostkit/GSGuid.h"
#include "hostkit/GSHashTable.h"
#include "hostkit/UniString.h"
#include "winsys/WindowSystem.h"

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

    // Host events.
    void OnProjectOpened();
    void ResetMonitor();
    void OnLibPartChanged(uint32_t index);
    void OnElementEvent(int32_t type, API_Guid identifier);

    // Reads the part's parameters and, for a monitored part, its record or the service's answer
    // into `result`. True when there is nothing to write into the elements.
    bool CheckLibPart(uint32_t index, VersionCheckState& result);
    // Checks every library part and arms the one-second timer when a monitored one was found.
    void CheckAllLibParts();
    // Writes a state into one element's uptodate: 0, a host error, or kNotConcerned.
    int32_t SyncElement(const API_Guid& identifier, uint32_t libIndexFilter,
                        const VersionCheckState* state, bool fetch);
    // SyncElement over the elements of types 6, 4, 5 and 7; the status of the last one.
    int32_t SyncAllElements(uint32_t libIndexFilter, const VersionCheckState* state);
    // Opens the summary when a record offers a file for a part that is not up to date.
    void ShowSummaryIfNeeded();

    // The version table, keyed by library part index; the summary dialog reads it.
    const GS::HashTable<int, VersionCheckState>& GetTable() const { return table; }
    GS::HashTable<int, VersionCheckState>& GetTable() { return table; }

    // SyncElement's answer for an element that has nothing to do with the write.
    static constexpr int32_t kNotConcerned = -1;  // 0xFFFFFFFF

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
