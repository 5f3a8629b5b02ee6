// GSArray.h: GS::Array, the host's growable array, instantiated where it is used.
#pragma once

#include "hostkit/GSTypes.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace GS {

template <typename T> class Array {
public:
    Array() = default;

    void Push(const T& item) { items.push_back(item); }
    void Push(T&& item) { items.push_back(std::move(item)); }
    void Append(const Array& other) { items.insert(items.end(), other.begin(), other.end()); }
    void Delete(USize index) { items.erase(items.begin() + index); }
    void Clear() { items.clear(); }

    USize GetSize() const { return static_cast<USize>(items.size()); }
    bool IsEmpty() const { return items.empty(); }
    bool Contains(const T& item) const {
        return std::find(items.begin(), items.end(), item) != items.end();
    }

    T& operator[](USize index) { return items[index]; }
    const T& operator[](USize index) const { return items[index]; }

    auto begin() { return items.begin(); }
    auto end() { return items.end(); }
    auto begin() const { return items.begin(); }
    auto end() const { return items.end(); }

private:
    std::vector<T> items;
};

}  // namespace GS
