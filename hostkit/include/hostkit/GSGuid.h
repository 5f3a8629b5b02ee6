// GSGuid.h: the host's identifiers. API_Guid is 16 bytes, compared as such; GS::Guid is the same
// value in the library's own type.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

struct API_Guid {
    uint32_t time_low = 0;
    uint16_t time_mid = 0;
    uint16_t time_hi_and_version = 0;
    uint8_t clock_seq_hi_and_reserved = 0;
    uint8_t clock_seq_low = 0;
    uint8_t node[6] = {};

    friend bool operator==(const API_Guid& a, const API_Guid& b) {
        return std::memcmp(&a, &b, sizeof(API_Guid)) == 0;
    }
    friend bool operator!=(const API_Guid& a, const API_Guid& b) { return !(a == b); }
};
static_assert(sizeof(API_Guid) == 16);

namespace GS {

class Guid {
public:
    Guid() = default;
    explicit Guid(const API_Guid& value) : value(value) {}

    const API_Guid& ToAPIGuid() const { return value; }
    bool IsNull() const;
    // "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", upper case.
    std::string ToString() const;
    // False, and the null identifier, when `text` is not of that form (either case).
    bool FromString(const std::string& text);
    static Guid Generate();

    friend bool operator==(const Guid& a, const Guid& b) { return a.value == b.value; }
    friend bool operator!=(const Guid& a, const Guid& b) { return a.value != b.value; }

private:
    API_Guid value;
};

extern const Guid NULLGuid;

}  // namespace GS

// Identifiers as keys of the standard unordered containers.
template <> struct std::hash<API_Guid> {
    std::size_t operator()(const API_Guid& guid) const noexcept {
        uint64_t low;
        uint64_t high;
        std::memcpy(&low, &guid, sizeof(low));
        std::memcpy(&high, reinterpret_cast<const char*>(&guid) + sizeof(low), sizeof(high));
        return std::hash<uint64_t>{}(low ^ (high * 0x9E3779B97F4A7C15ull));
    }
};
