// HostOperations.h: the add-on's only road to the host's function table.
//
// Each wrapper calls one fixed entry of HostTable with HostToken first and returns its status
// unchanged. A null entry (a host without the operation) gives HostError::NotSupported and calls
// nothing. Two wrappers clear their out values first, even when the entry is null:
// HostGetLibPartParams its out handle, HostGetElementMemo the whole memo.
#pragma once

#include "hostkit/GSArray.h"
#include "hostkit/GSGuid.h"
#include "hostkit/HostABI.h"
#include "hostkit/UniString.h"

#include <cstdint>
#include <functional>

// Runs `command` as one undoable command titled `title`.
int32_t HostCallUndoable(const GS::UniString& title, const std::function<int32_t()>& command);
// The general entry by four-letter code (UtilityCode).
int32_t HostCallUtility(int32_t code, void* first, void* second, void* third);
int32_t HostGetLibPartCount(int32_t* count);
// `part` has its index set; the host fills its name and location.
int32_t HostGetLibPart(LibPartRecord* part);
// The part's parameters as `count` records in a block the caller frees (HostDisposeMemo's rules).
int32_t HostGetLibPartParams(int32_t index, double* a, double* b, int32_t* count, GSHandle* params);
int32_t HostGetElementList(int32_t type, GS::Array<API_Guid>* list);
// `element` has its identifier set; the host fills type and library index.
int32_t HostGetElement(ElementRecord* element);
int32_t HostGetElementMemo(const API_Guid& guid, ElementMemo* memo, uint64_t mask);
int32_t HostChangeElement(ElementRecord* element, const ElementRecord* mask,
                          const ElementMemo* memo, uint32_t memoMask, bool withDelete);
int32_t HostAttachObserver(const ElementHeader* header, int32_t flags);
int32_t HostCatchProjectEvent(int32_t mask, ProjectEventHandlerFn handler);
int32_t HostCatchNewElement(const int32_t* typeFilter, ElementEventHandlerFn handler);
int32_t HostInstallElementObserver(ElementEventHandlerFn handler);

// Frees every block and object the memo holds, by the host kit's table of memo fields, and
// zero-fills it. Empty fields are skipped.
void HostDisposeMemo(ElementMemo* memo);
// Frees a block of parameter records: each array record's two handles, then the block.
void HostDisposeParameterBlock(GSHandle* params);
