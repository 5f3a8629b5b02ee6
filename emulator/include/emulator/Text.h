// Text.h: the emulator's conversions between UTF-8 (files, the trace) and UTF-16 (the records the
// add-on reads), through the host kit's string class so that both sides convert alike. An invalid
// UTF-8 sequence becomes U+FFFD, a lone surrogate "?".
#pragma once

#include "hostkit/UniString.h"

#include <string>
#include <string_view>

namespace orvhost {

inline std::u16string Utf16FromUtf8(std::string_view text) {
    const GS::UniString wide(std::string(text).c_str(), CC_UTF8);
    return std::u16string(wide.ToUStr().Get(), wide.GetLength());
}

inline std::string Utf8FromUtf16(std::u16string_view text) {
    return GS::UniString(text.data(), static_cast<USize>(text.size())).ToCStr(CC_UTF8).Get();
}

}  // namespace orvhost
