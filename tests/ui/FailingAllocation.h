// FailingAllocation.h: makes the next non-throwing allocation of the test program fail.
#pragma once

namespace uitest {
// Set to make the next `new (std::nothrow)` give null; it resets itself.
extern bool failNextNothrowAllocation;
}  // namespace uitest
