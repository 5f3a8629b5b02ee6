// ResourcePort.h: where a module keeps its resource string lists. On Linux an ELF note of the
// module's image (ResourceNote.h); on Windows its "STR#" resources, one per list, each holding
// its entries as terminated UTF-8 texts in order from entry 1.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace hostkit::port {

using StringLists = std::map<std::pair<int32_t, int32_t>, std::string>;  // (list, index) -> UTF-8

// The string lists of the module whose image holds `address`; nothing when the address is in no
// module or the module has none.
std::optional<StringLists> ReadModuleStringLists(const void* address);

}  // namespace hostkit::port
