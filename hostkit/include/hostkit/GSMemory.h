// GSMemory.h: the host's memory and 8-bit text calls, and the allocator of what crosses into the
// host's libraries.
//
// Handles and pointers made here may be freed by either side of the host boundary. A handle keeps
// its size; BMReallocHandle may move the bytes, never the handle.
#pragma once

#include "hostkit/GSTypes.h"

#include <cstddef>

// Flags of BMAllocateHandle and BMAllocatePtr.
constexpr int32_t ALLOCATE_CLEAR = 1;

GSHandle BMAllocateHandle(GSSize size, int32_t flags, GSSize reserved);
GSHandle BMReallocHandle(GSHandle handle, GSSize newSize, int32_t flags, GSSize reserved);
void BMKillHandle(GSHandle* handle);
GSSize BMGetHandleSize(GSConstHandle handle);
GSPtr BMAllocatePtr(GSSize size, int32_t flags, GSSize reserved);
void BMKillPtr(GSPtr* pointer);
GSSize BMGetPtrSize(GSConstPtr pointer);
// Handles and pointers alive now; lets a test see that a block handed over was freed.
GSSize BMLiveBlockCount();
// Calls of BMKillHandle and BMKillPtr so far, those given nothing to free included; lets a test see
// that a caller skips what is empty instead of relying on the calls accepting null.
GSSize BMKillCallCount();

void BNFillMemory(void* destination, GSSize count, unsigned char value);
void BNCopyMemory(void* destination, const void* source, GSSize count);
// Copies the 8-bit text with its terminator.
void CHCopyC(const char* source, char* destination);

namespace GS {
// Throw OutOfMemoryException when nothing is left.
void* NewOperator(std::size_t size);
void DeleteOperator(void* pointer);
void* NewArrayOperator(std::size_t size);
void DeleteArrayOperator(void* pointer);
}  // namespace GS
