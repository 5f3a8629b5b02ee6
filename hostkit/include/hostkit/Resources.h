// Resources.h: the module's resource strings and the host's debug output.
//
// A module carries its string lists in its own image: on Windows as "STR#" resources numbered by
// list, each holding its entries as terminated UTF-8 texts in order (compiled by windres from the
// module's .rc file); on Linux in an ELF note named "OrvRes" that holds the same (ResourceNote.h
// has the layout and the macro that writes one). The cache finds them from any address inside
// the module.
#pragma once

#include <cstdint>

// A cache handle; -1 is "none".
using GSResModule = int32_t;
constexpr GSResModule kNoResourceModule = -1;

// `module` is any address inside the module's image. -1 when the module has no string lists.
GSResModule RSInitModuleImageCache(const void* module);
void RSRemoveModuleImageCache(GSResModule cache);
// Copies entry `index` (from 1) of list `listId` into `buffer` in the default character code,
// cut to 255 bytes and terminated; true when found. On failure the buffer holds empty text.
bool RSGetIndString_ParamAdapter(char* buffer, int32_t listId, int32_t index, GSResModule cache);
constexpr int32_t kResourceStringCapacity = 256;

// printf-style text to the host's debug channel (standard error here).
void DBPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
