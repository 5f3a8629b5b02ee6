// HostErrors.h: English texts of the host's 32-bit error codes (0x81060001 to 0x810603EA).
//
// Two separate tables, as the host's documentation had them: the narrow one gives the message of
// the exception thrown when an undoable command fails, the wide one is the code description of
// OVException. Their wording differs in places ("[" where the other has a comma, "users" and
// "user's", ...); every such oddity is part of the texts.
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <map>
#include <string>

// The narrow table, built afresh for each lookup: 73 rows.
std::map<int32_t, std::string> BuildHostErrorTable();
// The narrow table's row for `code`, or "Unknown error code.".
std::string LookupHostError(int32_t code);
// The wide table's row for `code`, or empty text when it has none: 70 rows.
WString HostErrorDescription(uint32_t code);
