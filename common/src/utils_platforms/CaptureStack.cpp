// CaptureStack.cpp: the caller's stack from the platform's walk, whatever the walk gives of the
// capture itself left out.
#include "Platform.h"

namespace platform {

__attribute__((noinline)) uint16_t CaptureStack(uint32_t skip, uint32_t limit, void** frames,
                                                uint32_t* hash) {
    constexpr uint32_t kMostFrames = 256;
    void* stack[kMostFrames];
    const uint32_t depth = WalkStack(stack, kMostFrames);
    // The innermost entries belong to the capture itself (the walk, this function, and an
    // interceptor in an instrumented build): the caller's frame is the one holding this call's
    // return address.
    void* const callerFrame = __builtin_return_address(0);
    uint32_t start = 0;
    while (start < depth && stack[start] != callerFrame) {
        ++start;
    }
    if (start == depth) {
        start = 1;
    }
    uint16_t count = 0;
    uint32_t sum = 0;
    for (uint64_t i = uint64_t(start) + skip; i < depth && count < limit; ++i, ++count) {
        frames[count] = stack[i];
        sum += static_cast<uint32_t>(reinterpret_cast<uintptr_t>(stack[i]));
    }
    *hash = sum;
    return count;
}

}  // namespace platform
