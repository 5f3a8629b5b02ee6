// CharCode.h: conversions between UTF-16 and the 8-bit character codes the host's libraries
// know (Windows-1250 and UTF-8), made alike wherever text crosses between them: the host kit's
// strings and resources, the window system's message box and the emulator's files.
#pragma once

#include <string>
#include <string_view>

namespace charcode {

// Windows-1250 bytes to UTF-16. Every byte has a value: the five that Windows-1250 leaves
// undefined become the C1 control of the same number, as Windows converts them.
std::u16string Cp1250ToUtf16(std::string_view bytes);
// UTF-16 to Windows-1250; a character without a byte becomes '?' (a surrogate pair is one
// character, so one '?').
std::string Utf16ToCp1250(std::u16string_view units);

// UTF-8 to UTF-16; each invalid sequence becomes U+FFFD.
std::u16string Utf8ToUtf16(std::string_view bytes);
// UTF-16 to UTF-8; a lone surrogate becomes '?'.
std::string Utf16ToUtf8(std::u16string_view units);

}  // namespace charcode
