// FailingAllocation.cpp: a non-throwing operator new that a test can make fail once, to reach the
// path where the host's allocation gives null.
#include "FailingAllocation.h"

#include <cstddef>
#include <new>
#include <utility>

namespace uitest {
bool failNextNothrowAllocation = false;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (std::exchange(uitest::failNextNothrowAllocation, false)) {
        return nullptr;
    }
    // Through the ordinary operator new, so that the ordinary delete matches it.
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}
