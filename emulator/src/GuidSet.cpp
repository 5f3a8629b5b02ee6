// GuidSet.cpp: a set of element identifiers in one flat table.
#include "emulator/GuidSet.h"

#include <cstdint>
#include <cstring>

namespace orvhost {

namespace {

const API_Guid kEmpty{};

// A 64-bit mix (MurmurHash3's finalizer): identifiers that differ in a few bytes anywhere spread
// over the whole table.
uint64_t Mix(uint64_t value) {
    value ^= value >> 33;
    value *= 0xFF51AFD7ED558CCDull;
    value ^= value >> 33;
    value *= 0xC4CEB9FE1A85EC53ull;
    value ^= value >> 33;
    return value;
}

}  // namespace

std::size_t GuidSet::FirstSlot(const API_Guid& guid) const {
    uint64_t low;
    uint64_t high;
    std::memcpy(&low, &guid, sizeof low);
    std::memcpy(&high, reinterpret_cast<const char*>(&guid) + sizeof low, sizeof high);
    return static_cast<std::size_t>(Mix(low ^ Mix(high))) & (slots.size() - 1);
}

bool GuidSet::Contains(const API_Guid& guid) const {
    if (guid == kEmpty) {
        return holdsNull;
    }
    if (slots.empty()) {
        return false;
    }
    for (std::size_t slot = FirstSlot(guid);; slot = (slot + 1) & (slots.size() - 1)) {
        if (slots[slot] == guid) {
            return true;
        }
        if (slots[slot] == kEmpty) {
            return false;
        }
    }
}

bool GuidSet::Insert(const API_Guid& guid) {
    if (guid == kEmpty) {
        const bool added = !holdsNull;
        holdsNull = true;
        return added;
    }
    if (2 * (count + 1) > slots.size()) {
        Grow();
    }
    for (std::size_t slot = FirstSlot(guid);; slot = (slot + 1) & (slots.size() - 1)) {
        if (slots[slot] == guid) {
            return false;
        }
        if (slots[slot] == kEmpty) {
            slots[slot] = guid;
            ++count;
            return true;
        }
    }
}

void GuidSet::Clear() {
    slots.clear();
    count = 0;
    holdsNull = false;
}

void GuidSet::Grow() {
    std::vector<API_Guid> old(slots.empty() ? 16 : 2 * slots.size());
    old.swap(slots);
    for (const API_Guid& guid : old) {
        if (guid != kEmpty) {
            for (std::size_t slot = FirstSlot(guid);; slot = (slot + 1) & (slots.size() - 1)) {
                if (slots[slot] == kEmpty) {
                    slots[slot] = guid;
                    break;
                }
            }
        }
    }
}

}  // namespace orvhost
