// FakeHost.cpp: the recording host table of FakeHost.h.
#include "FakeHost.h"

namespace fakehost {

namespace {

Host host;

int32_t Answer(const std::string& entry, API_Token token, std::vector<long long> numbers = {}) {
    host.calls.push_back(Call{entry, token, std::move(numbers)});
    const auto status = host.statuses.find(entry);
    return status == host.statuses.end() ? 0 : status->second;
}

int32_t CallUndoable(API_Token token, const GS::UniString&,
                     const std::function<int32_t()>& command) {
    host.lastCommand = command;
    return Answer("CallUndoable", token);
}
int32_t CallUtility(API_Token token, int32_t code, void*, void*, void*) {
    return Answer("CallUtility", token, {code});
}
int32_t GetLibPartCount(API_Token token, int32_t* count) {
    *count = 3;
    return Answer("GetLibPartCount", token);
}
int32_t GetLibPart(API_Token token, LibPartRecord* part) {
    return Answer("GetLibPart", token, {GetField<int32_t>(*part, LibPartField::Index)});
}
int32_t GetLibPartParams(API_Token token, int32_t index, double*, double*, int32_t* count,
                         GSHandle*) {
    *count = 0;
    return Answer("GetLibPartParams", token, {index});
}
int32_t GetElement(API_Token token, ElementRecord*, int32_t mask) {
    return Answer("GetElement", token, {mask});
}
int32_t GetElementMemo(API_Token token, const ElementHeader* header, ElementMemo* memo,
                       uint64_t mask) {
    host.lastHeader = *header;
    host.memoSeen = *memo;
    return Answer("GetElementMemo", token, {static_cast<long long>(mask)});
}
int32_t GetElementList(API_Token token, int32_t type, GS::Array<API_Guid>* list, int32_t variation,
                       void* reserved, const GS::Guid& renovation) {
    host.guidFilterWasNull = renovation == GS::NULLGuid;
    host.reservedSeen = reserved;
    const int32_t status = Answer("GetElementList", token, {type, variation});
    if (const auto own = host.elementListStatuses.find(type);
        own != host.elementListStatuses.end()) {
        return own->second;
    }
    if (status == 0 && list != nullptr) {
        list->Clear();
        for (const API_Guid& guid : host.elementLists[type]) {
            list->Push(guid);
        }
    }
    return status;
}
int32_t ChangeElement(API_Token token, ElementRecord*, const ElementRecord*, const ElementMemo*,
                      uint32_t memoMask, bool withDelete) {
    return Answer("ChangeElement", token, {memoMask, withDelete ? 1 : 0});
}
int32_t AttachObserver(API_Token token, const ElementHeader* header, int32_t flags) {
    host.lastHeader = *header;
    return Answer("AttachObserver", token, {flags});
}
int32_t CatchProjectEvent(API_Token token, int32_t mask, ProjectEventHandlerFn handler) {
    host.projectHandler = handler;
    return Answer("CatchProjectEvent", token, {mask});
}
int32_t CatchNewElement(API_Token token, const int32_t* typeFilter, ElementEventHandlerFn handler) {
    host.typeFilter = typeFilter;
    host.newElementHandler = handler;
    return Answer("CatchNewElement", token);
}
int32_t InstallElementObserver(API_Token token, ElementEventHandlerFn handler) {
    host.observerHandler = handler;
    return Answer("InstallElementObserver", token);
}

}  // namespace

std::vector<std::string> Host::Entries() const {
    std::vector<std::string> entries;
    for (const Call& call : calls) {
        entries.push_back(call.entry);
    }
    return entries;
}

Host& Current() { return host; }

void Reset() { host = Host(); }

HostFunctionTable MakeTable() {
    HostFunctionTable table{};
    table[HostEntry::CallUndoable] = reinterpret_cast<void*>(&CallUndoable);
    table[HostEntry::CallUtility] = reinterpret_cast<void*>(&CallUtility);
    table[HostEntry::GetLibPartCount] = reinterpret_cast<void*>(&GetLibPartCount);
    table[HostEntry::GetLibPart] = reinterpret_cast<void*>(&GetLibPart);
    table[HostEntry::GetLibPartParams] = reinterpret_cast<void*>(&GetLibPartParams);
    table[HostEntry::GetElement] = reinterpret_cast<void*>(&GetElement);
    table[HostEntry::GetElementMemo] = reinterpret_cast<void*>(&GetElementMemo);
    table[HostEntry::GetElementList] = reinterpret_cast<void*>(&GetElementList);
    table[HostEntry::ChangeElement] = reinterpret_cast<void*>(&ChangeElement);
    table[HostEntry::AttachObserver] = reinterpret_cast<void*>(&AttachObserver);
    table[HostEntry::CatchProjectEvent] = reinterpret_cast<void*>(&CatchProjectEvent);
    table[HostEntry::CatchNewElement] = reinterpret_cast<void*>(&CatchNewElement);
    table[HostEntry::InstallElementObserver] = reinterpret_cast<void*>(&InstallElementObserver);
    return table;
}

}  // namespace fakehost
