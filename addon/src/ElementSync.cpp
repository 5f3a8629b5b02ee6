// ElementSync.cpp: writing a version state into the uptodate parameter of placed elements,
// through the host's parameter session (open, change, get, close) and an element change.
#include "HostOperations.h"
#include "addon/ObjectsMonitor.h"
#include "hostkit/GSMemory.h"

namespace {

constexpr uint32_t kChangeMemoMask = 4;

}  // namespace

int32_t ObjectsMonitor::SyncElement(const API_Guid& identifier, uint32_t libIndexFilter,
                                    const VersionCheckState* state, bool fetch) {
    ElementRecord element;
    ZeroRecord(element);
    SetField(element, ElementField::Guid, identifier);
    int32_t status = HostGetElement(&element);
    if (status != 0) {
        return status;
    }

    VersionCheckState local;
    if (state != nullptr) {
        local = *state;
    }
    const auto type = GetField<int32_t>(element, ElementField::Type);
    const std::size_t indexOffset = ElementField::LibIndexOffset(type);
    const auto libIndex =
        indexOffset != 0 ? static_cast<uint32_t>(GetField<int32_t>(element, indexOffset)) : 0u;

    if (libIndexFilter != 0) {
        if (libIndexFilter != libIndex) {
            return kNotConcerned;
        }
    } else if (fetch) {
        if (CheckLibPart(libIndex, local)) {
            return kNotConcerned;
        }
    } else {
        const VersionCheckState* record = table.GetPtr(static_cast<int>(libIndex));
        if (record == nullptr) {
            return kNotConcerned;
        }
        local = *record;
    }

    ElementMemo memo;
    ZeroRecord(memo);
    status = HostGetElementMemo(identifier, &memo, kMemoAllMask);
    if (status != 0) {
        return status;
    }
    GSHandle params = GetField<GSHandle>(memo, MemoField::Params);

    OpenParametersRecord open;
    ZeroRecord(open);
    SetField(open, OpenParametersField::Guid, identifier);
    SetField(open, OpenParametersField::Type, type);
    status = HostCallUtility(UtilityCode::OpenParameters, &open, nullptr, nullptr);
    if (status != 0) {
        // Only the parameter block goes on this path, not the rest of the memo.
        HostDisposeParameterBlock(&params);
        return status;
    }

    ChangeParameterRecord change;
    ZeroRecord(change);
    CHCopyC("uptodate", reinterpret_cast<char*>(change.bytes + ChangeParameterField::Name));
    SetField(change, ChangeParameterField::RealValue, static_cast<double>(local.state));
    status = HostCallUtility(UtilityCode::ChangeParameter, &change, nullptr, nullptr);
    if (status != 0) {
        // The opened parameters stay open: the next opening replaces them.
        HostDisposeParameterBlock(&params);
        return status;
    }

    GetParametersRecord result;
    ZeroRecord(result);
    if (HostCallUtility(UtilityCode::GetParameters, &result, nullptr, nullptr) == 0) {
        HostDisposeParameterBlock(&params);
        SetField(memo, MemoField::Params, GetField<GSHandle>(result, GetParametersField::Params));
    }

    status = HostCallUtility(UtilityCode::CloseParameters, nullptr, nullptr, nullptr);
    if (status == 0) {
        ElementRecord mask;
        ZeroRecord(mask);
        status = HostChangeElement(&element, &mask, &memo, kChangeMemoMask, true);
    }
    HostDisposeMemo(&memo);
    return status;
}

int32_t ObjectsMonitor::SyncAllElements(uint32_t libIndexFilter, const VersionCheckState* state) {
    GS::Array<API_Guid> elements;
    HostGetElementList(ElementType::Object, &elements);
    // One list for the other types, not cleared between the calls.
    GS::Array<API_Guid> more;
    if (HostGetElementList(ElementType::Window, &more) == 0) {
        elements.Append(more);
    }
    if (HostGetElementList(ElementType::Door, &more) == 0) {
        elements.Append(more);
    }
    int32_t status = HostGetElementList(ElementType::Lamp, &more);
    if (status != 0) {
        // Nothing is written when the lamps cannot be listed, not even the others.
        return status;
    }
    elements.Append(more);
    for (const API_Guid& identifier : elements) {
        status = SyncElement(identifier, libIndexFilter, state, false);
    }
    return status;
}
