// UniString.h: GS::UniString, the host's UTF-16 text.
//
// 8-bit text comes in and goes out in a GSCharCode; CC_Default is Windows-1250. A character that
// the code cannot hold becomes "?" on the way out; an invalid UTF-8 sequence becomes U+FFFD on the
// way in. Positions and lengths count UTF-16 units; MaxUSize means "not found" and, as a length,
// "to the end".
#pragma once

#include "hostkit/GSTypes.h"

#include <string>

namespace GS {

class UniString {
public:
    // The 8-bit text of ToCStr, alive as long as this object.
    class CStr {
    public:
        explicit CStr(std::string text) : text(std::move(text)) {}
        const char* Get() const { return text.c_str(); }
        operator const char*() const { return text.c_str(); }

    private:
        std::string text;
    };
    // The terminated UTF-16 text of ToUStr, alive as long as this object.
    class UStr {
    public:
        explicit UStr(std::u16string text) : text(std::move(text)) {}
        const UniChar* Get() const { return text.c_str(); }
        operator const UniChar*() const { return text.c_str(); }

    private:
        std::u16string text;
    };

    UniString() = default;
    UniString(const char* text, GSCharCode charCode = CC_Default);
    UniString(const UniChar* text);
    UniString(const UniChar* text, USize length);
    UniString(const UniString& source, USize start, USize length);
    UniString(const UniString&) = default;
    UniString(UniString&&) noexcept = default;

    UniString& operator=(const UniString&) = default;
    UniString& operator=(UniString&&) noexcept = default;
    UniString& operator=(const char* text);
    UniString& operator=(const UniChar* text);

    UniString& Append(const UniString& text);
    UniString& Append(const char* text, GSCharCode charCode = CC_Default);
    UniString& Append(UniChar character);

    USize GetLength() const { return static_cast<USize>(units.size()); }
    bool IsEmpty() const { return units.empty(); }
    UniChar operator[](USize index) const { return units[index]; }

    // The first or last occurrence of `what` that starts inside [from, from + range); a range
    // running past the end is cut at the end.
    USize FindFirst(const UniString& what, USize from = 0, USize range = MaxUSize) const;
    USize FindFirst(UniChar what, USize from = 0, USize range = MaxUSize) const;
    USize FindLast(const UniString& what) const;
    USize FindLast(UniChar what) const;
    // The units from `from`, at most `length` of them; empty when `from` is past the end.
    UniString GetSubstring(USize from, USize length) const;

    CStr ToCStr(GSCharCode charCode = CC_Default) const;
    UStr ToUStr() const;

    bool operator==(const UniString& other) const { return units == other.units; }
    bool operator!=(const UniString& other) const { return units != other.units; }
    // Compares with 8-bit text in the default character code.
    bool operator==(const char* text) const;
    bool operator!=(const char* text) const { return !(*this == text); }

private:
    std::u16string units;
};

}  // namespace GS
