// GuidSet.h: a set of element identifiers in one flat table. A command may touch every element
// of a large project; a node-based set would allocate for each and chase pointers when it grows.
#pragma once

#include "hostkit/GSGuid.h"

#include <cstddef>
#include <vector>

namespace orvhost {

class GuidSet {
public:
    // Adds `guid`; false when the set held it already.
    bool Insert(const API_Guid& guid);
    bool Contains(const API_Guid& guid) const;
    void Clear();

private:
    // Open addressing with linear probing; the null identifier marks an empty slot and is held
    // apart. The table's size is 0 or a power of two, at most half full.
    std::vector<API_Guid> slots;
    std::size_t count = 0;  // identifiers in `slots`
    bool holdsNull = false;

    std::size_t FirstSlot(const API_Guid& guid) const;
    void Grow();
};

}  // namespace orvhost
