// Crc32Folding.h: CRC-32 over 16-byte blocks with the processor's carry-less multiply (x86
// PCLMULQDQ), for any reflected polynomial, and the constants it needs, derived here at compile
// time from the polynomial alone.
//
// The polynomial picture. A reflected 32-bit value holds the coefficient of x^(31-i) in bit i;
// a 16-byte block loaded little-endian holds x^(127-k) in bit k, so its low 64 bits are the
// high-order half H and its high 64 bits the low-order half L, each reflected in 64 bits. The
// running state S of the byte-wise table is such that feeding n more bytes M gives
// S*x^(8n) + M*x^32 mod P: XORing S into the first four bytes and folding the blocks gives the
// same value as the table.
//
// Multiplying a reflected 64-bit value by a 64-bit constant c gives a product whose bit m is
// the coefficient of x^(127-m) when c holds the coefficient of x^(64-j) in bit j. A remainder
// of degree below 32 cannot stand at x^0 there, so each constant is x^(n-1) mod P shifted into
// the upper half: the product carries the missing factor x and comes out as (value * x^n) in the
// block layout, ready to be XORed with another block.
#pragma once

#include <cstddef>
#include <cstdint>

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#define ORV_CRC32_FOLDING 1
#else
#define ORV_CRC32_FOLDING 0
#endif

namespace crc32fold {

// The multipliers of one polynomial. fold4* move a block 64 bytes on (x^512), fold1* 16 bytes on
// (x^128): *Low multiplies the block's low 64 bits (H, which stands 64 places higher), *High its
// high 64 bits. reduce96 and reduce64 bring 128 bits down to 64, and the Barrett pair (the
// quotient x^64 / P and P itself, both reflected in 33 bits) the last 64 to the 32-bit state.
struct Constants {
    uint64_t fold4Low;
    uint64_t fold4High;
    uint64_t fold1Low;
    uint64_t fold1High;
    uint64_t reduce96;
    uint64_t reduce64;
    uint64_t barrettQuotient;
    uint64_t barrettPolynomial;
};

// x^n mod P as a reflected 32-bit value. Multiplying by x moves every coefficient one bit down;
// what leaves bit 0 is x^32, which is P's lower terms: the table's own step.
constexpr uint32_t PowerOfX(uint32_t reversedPolynomial, unsigned n) {
    uint32_t remainder = 0x80000000u;  // x^0
    for (unsigned step = 0; step < n; ++step) {
        remainder = (remainder & 1u) ? (remainder >> 1) ^ reversedPolynomial : remainder >> 1;
    }
    return remainder;
}

// The multiplier that moves a reflected 64-bit half n places up (see above for the n-1).
constexpr uint64_t Multiplier(uint32_t reversedPolynomial, unsigned n) {
    return uint64_t{PowerOfX(reversedPolynomial, n - 1)} << 32;
}

// The lowest `bits` bits of `value` in reverse order.
constexpr uint64_t Reflect(uint64_t value, unsigned bits) {
    uint64_t reflected = 0;
    for (unsigned bit = 0; bit < bits; ++bit) {
        reflected |= ((value >> bit) & 1u) << (bits - 1 - bit);
    }
    return reflected;
}

// P with its x^32 term, in plain order (bit d holds x^d).
constexpr uint64_t PlainPolynomial(uint32_t reversedPolynomial) {
    return (uint64_t{1} << 32) | Reflect(reversedPolynomial, 32);
}

// floor(x^64 / P) in plain order, by long division: the dividend's 65 bits go in from the top,
// and P comes off whenever the window reaches x^32, leaving a quotient bit.
constexpr uint64_t QuotientOfX64(uint32_t reversedPolynomial) {
    const uint64_t divisor = PlainPolynomial(reversedPolynomial);
    uint64_t remainder = 0;
    uint64_t quotient = 0;
    for (int bit = 64; bit >= 0; --bit) {
        remainder = (remainder << 1) | (bit == 64 ? 1u : 0u);
        quotient <<= 1;
        if (remainder & (uint64_t{1} << 32)) {
            remainder ^= divisor;
            quotient |= 1u;
        }
    }
    return quotient;
}

constexpr Constants MakeConstants(uint32_t reversedPolynomial) {
    return Constants{
        Multiplier(reversedPolynomial, 512 + 64),
        Multiplier(reversedPolynomial, 512),
        Multiplier(reversedPolynomial, 128 + 64),
        Multiplier(reversedPolynomial, 128),
        Multiplier(reversedPolynomial, 96),
        Multiplier(reversedPolynomial, 64),
        Reflect(QuotientOfX64(reversedPolynomial), 33),
        Reflect(PlainPolynomial(reversedPolynomial), 33),
    };
}

#if ORV_CRC32_FOLDING
// Whether the processor has PCLMULQDQ and SSE4.1; asks it on every call.
bool ProcessorCanFold();

// The state after feeding `length` bytes (a multiple of 16, at least 64) to `state`. Only on a
// processor for which ProcessorCanFold() holds.
uint32_t FoldBlocks(uint32_t state, const uint8_t* data, size_t length, const Constants& constants);
#endif

}  // namespace crc32fold
