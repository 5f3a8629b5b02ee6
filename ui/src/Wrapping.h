// Wrapping.h: the 32-bit and 16-bit arithmetic of the layout passes.
//
// Layout coordinates are 32-bit sums and products that wrap, as the host's integers do. Signed
// overflow is undefined in C++, so each operation is made in 64 bits and narrowed explicitly;
// since C++20 the narrowing is modular.
#pragma once

#include <cstdint>

namespace layout_math {

inline int32_t Add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<int64_t>(a) + b);
}

inline int32_t Sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<int64_t>(a) - b);
}

inline int32_t Mul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<int64_t>(a) * b);
}

// Truncates toward zero. Never called with a divisor of -1, so INT32_MIN / -1 cannot occur: the
// divisors are 100 and a count of children.
inline int32_t Div(int32_t a, int32_t b) { return a / b; }

// A preferred size or an item coordinate: the low 16 bits.
inline int16_t Cut16(int32_t value) { return static_cast<int16_t>(value); }

}  // namespace layout_math
