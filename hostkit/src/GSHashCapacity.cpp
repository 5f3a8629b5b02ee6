// GSHashCapacity.cpp: the bucket counts a GS::HashTable grows through.
#include "hostkit/GSHashTable.h"

#include <array>

namespace GS {

namespace {

// Each count is the first prime at or above twice the one before, plus one.
constexpr std::array<USize, 19> kCapacities = {
    17,    37,    79,    163,    331,    673,    1361,    2729,    5471,    10949,
    21911, 43853, 87719, 175447, 350899, 701819, 1403641, 2807303, 5614657,
};

// The largest prime below 2^32: the table cannot count further.
constexpr USize kLastCapacity = 4294967291u;

bool IsPrime(uint64_t n) {
    if (n < 2) {
        return false;
    }
    for (uint64_t divisor = 2; divisor * divisor <= n; ++divisor) {
        if (n % divisor == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

USize GetNextHashCapacity(USize capacity) {
    for (const USize candidate : kCapacities) {
        if (candidate > capacity) {
            return candidate;
        }
    }
    if (capacity >= kLastCapacity) {
        return MaxUSize;  // nothing larger fits; the caller gets the largest size there is
    }
    uint64_t next = kCapacities.back();
    while (next <= capacity) {
        next = 2 * next + 1;
        while (!IsPrime(next)) {
            ++next;
        }
        if (next > kLastCapacity) {
            return kLastCapacity;
        }
    }
    return static_cast<USize>(next);
}

}  // namespace GS
