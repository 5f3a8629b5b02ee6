// source_location_shim.h: forced into the clang 14 fuzz build only. libstdc++ offers
// std::source_location solely with __builtin_source_location, which clang 14 lacks; this stand-in
// gives the same members from the older builtins so the library compiles unchanged.
#pragma once

#include <source_location>

#if !defined(__cpp_lib_source_location)
#include <cstdint>

namespace std {
struct source_location {
    static constexpr source_location current(uint_least32_t line = __builtin_LINE(),
                                             uint_least32_t column = __builtin_COLUMN(),
                                             const char* file = __builtin_FILE(),
                                             const char* function = __builtin_FUNCTION()) noexcept {
        source_location where;
        where.lineValue = line;
        where.columnValue = column;
        where.fileValue = file;
        where.functionValue = function;
        return where;
    }
    constexpr uint_least32_t line() const noexcept { return lineValue; }
    constexpr uint_least32_t column() const noexcept { return columnValue; }
    constexpr const char* file_name() const noexcept { return fileValue; }
    constexpr const char* function_name() const noexcept { return functionValue; }

private:
    uint_least32_t lineValue = 0;
    uint_least32_t columnValue = 0;
    const char* fileValue = "";
    const char* functionValue = "";
};
}  // namespace std
#endif
