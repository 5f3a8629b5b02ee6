// ZipTable.h: the ordering and hashing of the member table, shared by the directory reader, the
// save path and the walk.
#pragma once

#include "zip/ZipFile.h"

#include <algorithm>
#include <cstdint>
#include <tuple>
#include <vector>

namespace ziptable {

// The sum of each unit times 31 to the power of its distance from the end, in 32 bits.
inline int32_t HashText(const WString& text) {
    uint32_t hash = 0;
    for (const char16_t unit : text) {
        hash = hash * 31u + static_cast<uint32_t>(unit);
    }
    return static_cast<int32_t>(hash);
}

// Ascending by folder, name, then stamp; equal entries keep their order.
template <typename Member> void SortMembers(std::vector<Member>& table) {
    std::stable_sort(table.begin(), table.end(), [](const Member& a, const Member& b) {
        return std::tie(a.folder, a.name, a.stamp) < std::tie(b.folder, b.name, b.stamp);
    });
}

}  // namespace ziptable
