// FakeHost.h: a host table for in-process tests of the add-on's shell. Each of the 13 entries
// records its call and answers the status set for it (0 by default).
#pragma once

#include "hostkit/HostABI.h"

#include <map>
#include <string>
#include <vector>

namespace fakehost {

struct Call {
    std::string entry;
    API_Token token = nullptr;
    std::vector<long long> numbers;  // the call's numeric arguments, in order
};

struct Host {
    std::vector<Call> calls;
    std::map<std::string, int32_t> statuses;
    ProjectEventHandlerFn projectHandler = nullptr;
    ElementEventHandlerFn newElementHandler = nullptr;
    ElementEventHandlerFn observerHandler = nullptr;
    const int32_t* typeFilter = reinterpret_cast<const int32_t*>(1);
    ElementHeader lastHeader{};
    ElementMemo memoSeen{};
    bool guidFilterWasNull = false;
    void* reservedSeen = reinterpret_cast<void*>(1);
    std::function<int32_t()> lastCommand;
    // GetElementList: the identifiers of each type, and a status of its own for a type.
    std::map<int32_t, std::vector<API_Guid>> elementLists;
    std::map<int32_t, int32_t> elementListStatuses;

    std::vector<std::string> Entries() const;
};

// The host the entries record into; Reset empties it.
Host& Current();
void Reset();
// A table with the 13 entries at their positions and every other entry null.
HostFunctionTable MakeTable();
// The token the tests hand to AddOnStart.
inline API_Token const kToken = reinterpret_cast<API_Token>(0x70CE);

}  // namespace fakehost
