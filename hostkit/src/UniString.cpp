// UniString.cpp: GS::UniString, UTF-16 text with 8-bit conversions in a GSCharCode.
#include "hostkit/UniString.h"

#include "charcode/CharCode.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace GS {

namespace {

// CC_Default and every code not handled here are Windows-1250.
std::u16string ToUtf16(std::string_view bytes, GSCharCode charCode) {
    return charCode == CC_UTF8 ? charcode::Utf8ToUtf16(bytes) : charcode::Cp1250ToUtf16(bytes);
}

std::string FromUtf16(std::u16string_view units, GSCharCode charCode) {
    return charCode == CC_UTF8 ? charcode::Utf16ToUtf8(units) : charcode::Utf16ToCp1250(units);
}

std::u16string FromCString(const char* text, GSCharCode charCode) {
    return text == nullptr ? std::u16string() : ToUtf16(text, charCode);
}

std::u16string FromUString(const UniChar* text) {
    return text == nullptr ? std::u16string() : std::u16string(text);
}

// The end of [from, from + length) cut at `size`, without overflowing when length is MaxUSize.
std::size_t CutEnd(std::size_t from, USize length, std::size_t size) {
    return from + std::min<std::size_t>(length, size - from);
}

}  // namespace

UniString::UniString(const char* text, GSCharCode charCode) : units(FromCString(text, charCode)) {}

UniString::UniString(const UniChar* text) : units(FromUString(text)) {}

UniString::UniString(const UniChar* text, USize length)
    : units(text == nullptr ? std::u16string() : std::u16string(text, length)) {}

UniString::UniString(const UniString& source, USize start, USize length)
    : units(source.GetSubstring(start, length).units) {}

UniString& UniString::operator=(const char* text) {
    units = FromCString(text, CC_Default);
    return *this;
}

UniString& UniString::operator=(const UniChar* text) {
    units = FromUString(text);
    return *this;
}

UniString& UniString::Append(const UniString& text) {
    units += text.units;
    return *this;
}

UniString& UniString::Append(const char* text, GSCharCode charCode) {
    units += FromCString(text, charCode);
    return *this;
}

UniString& UniString::Append(UniChar character) {
    units.push_back(character);
    return *this;
}

USize UniString::FindFirst(const UniString& what, USize from, USize range) const {
    const std::size_t size = units.size();
    if (what.units.empty() || from >= size) {
        return MaxUSize;
    }
    const std::size_t lastStart = CutEnd(from, range, size);  // starts lie before this
    const std::size_t found = units.find(what.units, from);
    return found != std::u16string::npos && found < lastStart ? static_cast<USize>(found)
                                                              : MaxUSize;
}

USize UniString::FindFirst(UniChar what, USize from, USize range) const {
    return FindFirst(UniString(&what, 1), from, range);
}

USize UniString::FindLast(const UniString& what) const {
    if (what.units.empty()) {
        return MaxUSize;
    }
    const std::size_t found = units.rfind(what.units);
    return found != std::u16string::npos ? static_cast<USize>(found) : MaxUSize;
}

USize UniString::FindLast(UniChar what) const { return FindLast(UniString(&what, 1)); }

UniString UniString::GetSubstring(USize from, USize length) const {
    UniString result;
    if (from < units.size()) {
        result.units = units.substr(from, CutEnd(from, length, units.size()) - from);
    }
    return result;
}

UniString::CStr UniString::ToCStr(GSCharCode charCode) const {
    return CStr(FromUtf16(units, charCode));
}

UniString::UStr UniString::ToUStr() const { return UStr(units); }

bool UniString::operator==(const char* text) const {
    return units == FromCString(text, CC_Default);
}

}  // namespace GS
