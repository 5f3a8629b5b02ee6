// Utf8Text.h: telling UTF-8 from other bytes, for the JSON the service reads and writes, which
// must be UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace orvservice {

// The length of the UTF-8 sequence that `text` starts with; 0 when it starts with none (or is
// empty). Overlong forms, surrogates and points past U+10FFFF are none.
std::size_t Utf8Length(std::string_view text);
bool IsUtf8(std::string_view text);

}  // namespace orvservice
