// CharCode.cpp: conversions between UTF-16 and Windows-1250 (by table) and UTF-8 (via utfcpp).
#include "charcode/CharCode.h"

#include <array>
#include <cstdint>
#include <iterator>
#include <utf8.h>

namespace charcode {

namespace {

// The characters of Windows-1250 bytes 0x80 to 0xFF. The bytes 0x81, 0x83, 0x88, 0x90 and 0x98
// are undefined there; Windows maps them to the C1 control of the same value, and so do we.
constexpr std::array<char16_t, 128> kCp1250High = {
    0x20AC, 0x0081, 0x201A, 0x0083, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80
    0x0088, 0x2030, 0x0160, 0x2039, 0x015A, 0x0164, 0x017D, 0x0179,  // 0x88
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90
    0x0098, 0x2122, 0x0161, 0x203A, 0x015B, 0x0165, 0x017E, 0x017A,  // 0x98
    0x00A0, 0x02C7, 0x02D8, 0x0141, 0x00A4, 0x0104, 0x00A6, 0x00A7,  // 0xA0
    0x00A8, 0x00A9, 0x015E, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x017B,  // 0xA8
    0x00B0, 0x00B1, 0x02DB, 0x0142, 0x00B4, 0x00B5, 0x00B6, 0x00B7,  // 0xB0
    0x00B8, 0x0105, 0x015F, 0x00BB, 0x013D, 0x02DD, 0x013E, 0x017C,  // 0xB8
    0x0154, 0x00C1, 0x00C2, 0x0102, 0x00C4, 0x0139, 0x0106, 0x00C7,  // 0xC0
    0x010C, 0x00C9, 0x0118, 0x00CB, 0x011A, 0x00CD, 0x00CE, 0x010E,  // 0xC8
    0x0110, 0x0143, 0x0147, 0x00D3, 0x00D4, 0x0150, 0x00D6, 0x00D7,  // 0xD0
    0x0158, 0x016E, 0x00DA, 0x0170, 0x00DC, 0x00DD, 0x0162, 0x00DF,  // 0xD8
    0x0155, 0x00E1, 0x00E2, 0x0103, 0x00E4, 0x013A, 0x0107, 0x00E7,  // 0xE0
    0x010D, 0x00E9, 0x0119, 0x00EB, 0x011B, 0x00ED, 0x00EE, 0x010F,  // 0xE8
    0x0111, 0x0144, 0x0148, 0x00F3, 0x00F4, 0x0151, 0x00F6, 0x00F7,  // 0xF0
    0x0159, 0x016F, 0x00FA, 0x0171, 0x00FC, 0x00FD, 0x0163, 0x02D9,  // 0xF8
};

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

char EncodeCp1250Unit(char16_t unit) {
    if (unit < 0x80) {
        return static_cast<char>(unit);
    }
    // 128 entries: a search is cheaper to keep right than a second table.
    for (std::size_t i = 0; i < kCp1250High.size(); ++i) {
        if (kCp1250High[i] == unit) {
            return static_cast<char>(0x80 + i);
        }
    }
    return '?';
}

}  // namespace

std::u16string Cp1250ToUtf16(std::string_view bytes) {
    std::u16string result;
    result.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        result.push_back(value < 0x80 ? static_cast<char16_t>(value) : kCp1250High[value - 0x80]);
    }
    return result;
}

std::string Utf16ToCp1250(std::u16string_view units) {
    std::string result;
    result.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (IsHighSurrogate(units[i]) && i + 1 < units.size() && IsLowSurrogate(units[i + 1])) {
            ++i;  // a character beyond the BMP: never in Windows-1250
            result.push_back('?');
            continue;
        }
        result.push_back(EncodeCp1250Unit(units[i]));
    }
    return result;
}

std::u16string Utf8ToUtf16(std::string_view bytes) {
    std::string valid;
    valid.reserve(bytes.size());
    utf8::replace_invalid(bytes.begin(), bytes.end(), std::back_inserter(valid), 0xFFFDu);
    std::u16string result;
    result.reserve(valid.size());
    utf8::unchecked::utf8to16(valid.begin(), valid.end(), std::back_inserter(result));
    return result;
}

std::string Utf16ToUtf8(std::u16string_view units) {
    std::string result;
    result.reserve(units.size());
    auto out = std::back_inserter(result);
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char16_t unit = units[i];
        if (IsHighSurrogate(unit) && i + 1 < units.size() && IsLowSurrogate(units[i + 1])) {
            const uint32_t codePoint = 0x10000u + ((static_cast<uint32_t>(unit) - 0xD800u) << 10) +
                                       (units[i + 1] - 0xDC00u);
            ++i;
            utf8::unchecked::append(codePoint, out);
        } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
            result.push_back('?');
        } else {
            utf8::unchecked::append(static_cast<uint32_t>(unit), out);
        }
    }
    return result;
}

}  // namespace charcode
