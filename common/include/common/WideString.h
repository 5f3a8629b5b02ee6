// WideString.h: the one name for the system's wide text.
//
// Wide text is UTF-16 on every platform, as the host's libraries hold it. std::wstring is 32 bits
// wide on Linux, so it is never used for this text; narrow text is UTF-8 in std::string.
#pragma once

#include <string>

using WString = std::u16string;
