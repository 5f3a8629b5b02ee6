// HostOperations.cpp: the add-on's process-wide values, the wrappers around the host's function
// table, and the freeing of what the host hands over in a memo.
#include "HostOperations.h"

#include "AddOn.h"
#include "hostkit/GSMemory.h"

#include <cstring>

// The process-wide values of the add-on: written by its entry functions, read by every road to
// the host and by whatever shows the add-on's name.
HostFunctionTable HostTable{};
uint8_t HostTableLoaded = 0;
API_Token HostToken = nullptr;
GS::UniString AddOnName;

namespace {

// The entry at `position` as its function type, or null when the host lacks it.
template <typename Fn> Fn Entry(std::size_t position) {
    return reinterpret_cast<Fn>(HostTable[position]);
}

void* PointerField(const std::byte* bytes, std::size_t offset) {
    void* value;
    std::memcpy(&value, bytes + offset, sizeof(value));
    return value;
}

void KillHandleAt(std::byte* bytes, std::size_t offset) {
    GSHandle handle = static_cast<GSHandle>(PointerField(bytes, offset));
    BMKillHandle(&handle);
}

void DeleteObjectAt(std::byte* bytes, std::size_t offset) {
    delete static_cast<GS::Object*>(PointerField(bytes, offset));
}

// A handle of records of `recordSize` bytes, each holding one inner handle or object.
void DisposeRecordBlock(GSHandle block, const MemoFieldInfo& field) {
    const GSSize count = BMGetHandleSize(block) / field.recordSize;
    for (GSSize i = 0; i < count; ++i) {
        std::byte* record = reinterpret_cast<std::byte*>(*block) + i * field.recordSize;
        if (field.innerKind == MemoInnerKind::Handle) {
            KillHandleAt(record, field.innerOffset);
        } else if (field.innerKind == MemoInnerKind::Object) {
            DeleteObjectAt(record, field.innerOffset);
        }
    }
    BMKillHandle(&block);
}

}  // namespace

int32_t HostCallUndoable(const GS::UniString& title, const std::function<int32_t()>& command) {
    auto entry = Entry<HostEntry::CallUndoableFn>(HostEntry::CallUndoable);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, title, command);
}

int32_t HostCallUtility(int32_t code, void* first, void* second, void* third) {
    auto entry = Entry<HostEntry::CallUtilityFn>(HostEntry::CallUtility);
    return entry == nullptr ? HostError::NotSupported
                            : entry(HostToken, code, first, second, third);
}

int32_t HostGetLibPartCount(int32_t* count) {
    auto entry = Entry<HostEntry::GetLibPartCountFn>(HostEntry::GetLibPartCount);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, count);
}

int32_t HostGetLibPart(LibPartRecord* part) {
    auto entry = Entry<HostEntry::GetLibPartFn>(HostEntry::GetLibPart);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, part);
}

int32_t HostGetLibPartParams(int32_t index, double* a, double* b, int32_t* count,
                             GSHandle* params) {
    if (params != nullptr) {
        *params = nullptr;
    }
    auto entry = Entry<HostEntry::GetLibPartParamsFn>(HostEntry::GetLibPartParams);
    return entry == nullptr ? HostError::NotSupported
                            : entry(HostToken, index, a, b, count, params);
}

int32_t HostGetElementList(int32_t type, GS::Array<API_Guid>* list) {
    auto entry = Entry<HostEntry::GetElementListFn>(HostEntry::GetElementList);
    return entry == nullptr ? HostError::NotSupported
                            : entry(HostToken, type, list, 0, nullptr, GS::NULLGuid);
}

int32_t HostGetElement(ElementRecord* element) {
    auto entry = Entry<HostEntry::GetElementFn>(HostEntry::GetElement);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, element, 0);
}

int32_t HostGetElementMemo(const API_Guid& guid, ElementMemo* memo, uint64_t mask) {
    ZeroRecord(*memo);
    auto entry = Entry<HostEntry::GetElementMemoFn>(HostEntry::GetElementMemo);
    if (entry == nullptr) {
        return HostError::NotSupported;
    }
    ElementHeader header;
    ZeroRecord(header);
    SetField(header, ElementHeaderField::Guid, guid);
    return entry(HostToken, &header, memo, mask);
}

int32_t HostChangeElement(ElementRecord* element, const ElementRecord* mask,
                          const ElementMemo* memo, uint32_t memoMask, bool withDelete) {
    auto entry = Entry<HostEntry::ChangeElementFn>(HostEntry::ChangeElement);
    return entry == nullptr ? HostError::NotSupported
                            : entry(HostToken, element, mask, memo, memoMask, withDelete);
}

int32_t HostAttachObserver(const ElementHeader* header, int32_t flags) {
    auto entry = Entry<HostEntry::AttachObserverFn>(HostEntry::AttachObserver);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, header, flags);
}

int32_t HostCatchProjectEvent(int32_t mask, ProjectEventHandlerFn handler) {
    auto entry = Entry<HostEntry::CatchProjectEventFn>(HostEntry::CatchProjectEvent);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, mask, handler);
}

int32_t HostCatchNewElement(const int32_t* typeFilter, ElementEventHandlerFn handler) {
    auto entry = Entry<HostEntry::CatchNewElementFn>(HostEntry::CatchNewElement);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, typeFilter, handler);
}

int32_t HostInstallElementObserver(ElementEventHandlerFn handler) {
    auto entry = Entry<HostEntry::InstallElementObserverFn>(HostEntry::InstallElementObserver);
    return entry == nullptr ? HostError::NotSupported : entry(HostToken, handler);
}

void HostDisposeParameterBlock(GSHandle* params) {
    if (*params == nullptr) {
        return;
    }
    const GSSize count = BMGetHandleSize(*params) / ParameterRecord::kSize;
    for (GSSize i = 0; i < count; ++i) {
        std::byte* record = reinterpret_cast<std::byte*>(**params) + i * ParameterRecord::kSize;
        int16_t form;
        std::memcpy(&form, record + ParameterField::Form, sizeof(form));
        if (form == ParameterField::kFormArray) {
            KillHandleAt(record, ParameterField::ArrayDescriptions);
            KillHandleAt(record, ParameterField::ArrayValues);
        }
    }
    BMKillHandle(params);
}

void HostDisposeMemo(ElementMemo* memo) {
    for (std::size_t i = 0; i < MemoField::kFieldCount; ++i) {
        const MemoFieldInfo& field = kMemoFields[i];
        const std::size_t offset = i * sizeof(void*);
        void* value = PointerField(memo->bytes, offset);
        if (value == nullptr) {
            continue;
        }
        switch (field.kind) {
        case MemoFieldKind::Empty:
            break;
        case MemoFieldKind::Handle:
            KillHandleAt(memo->bytes, offset);
            break;
        case MemoFieldKind::Pointer: {
            GSPtr pointer = static_cast<GSPtr>(value);
            BMKillPtr(&pointer);
            break;
        }
        case MemoFieldKind::Object:
            delete static_cast<GS::Object*>(value);
            break;
        case MemoFieldKind::ParameterHandle: {
            GSHandle params = static_cast<GSHandle>(value);
            HostDisposeParameterBlock(&params);
            break;
        }
        case MemoFieldKind::RecordHandle:
            DisposeRecordBlock(static_cast<GSHandle>(value), field);
            break;
        }
    }
    ZeroRecord(*memo);
}
