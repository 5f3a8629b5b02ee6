// GSTypes.h: the host library's basic types, as the add-on and the host both see them.
#pragma once

#include <cstdint>

using GSErrCode = int32_t;
using GSSize = int64_t;
using GSPtr = char*;
using GSConstPtr = const char*;
// A movable block: a pointer to the pointer to its bytes, so the owner may grow it in place.
using GSHandle = char**;
using GSConstHandle = const char* const*;
using USize = uint32_t;

namespace GS {
using UniChar = char16_t;
using USize = ::USize;
// The library's "no such position" value: the maximum size, never 0.
constexpr USize MaxUSize = 0xFFFFFFFFu;
}  // namespace GS

// The character codes of 8-bit text. The default is Windows-1250, the code page of the Czech
// Windows the add-on is made for.
enum GSCharCode : int32_t {
    CC_Default = 0,
    CC_WinEE = 1250,
    CC_UTF8 = 65001,
};

constexpr GSErrCode NoError = 0;
