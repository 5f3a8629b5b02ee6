// Crc32Folding.cpp: the carry-less multiply folding of Crc32Folding.h. Only the functions marked
// with the target attribute use PCLMULQDQ and SSE4.1, so the rest of the build stays baseline
// x86-64 and these run only after ProcessorCanFold() said yes.
#include "Crc32Folding.h"

#if ORV_CRC32_FOLDING

#include <immintrin.h>

#define ORV_FOLD_TARGET __attribute__((target("pclmul,sse4.1")))

namespace crc32fold {

bool ProcessorCanFold() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
}

namespace {

ORV_FOLD_TARGET inline __m128i Load(const uint8_t* data) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
}

ORV_FOLD_TARGET inline __m128i Pair(uint64_t high, uint64_t low) {
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

// block * x^n + next, with `by` holding the multipliers of n for the block's two halves.
ORV_FOLD_TARGET inline __m128i Fold(__m128i block, __m128i by, __m128i next) {
    const __m128i upper = _mm_clmulepi64_si128(block, by, 0x00);  // H, in the low 64 bits
    const __m128i lower = _mm_clmulepi64_si128(block, by, 0x11);  // L, in the high 64 bits
    return _mm_xor_si128(_mm_xor_si128(upper, lower), next);
}

// block * x^32 mod P: the state that the table would leave after the block's 16 bytes from 0.
ORV_FOLD_TARGET uint32_t Reduce(__m128i block, const Constants& constants) {
    const __m128i by = Pair(constants.reduce64, constants.reduce96);
    // H*x^96 + L*x^32, below x^96: H by its multiplier, L moved 32 places into the block layout.
    const __m128i lowShifted = _mm_slli_si128(_mm_srli_si128(block, 8), 4);
    const __m128i t = _mm_xor_si128(_mm_clmulepi64_si128(block, by, 0x00), lowShifted);
    // Its x^64..x^95 part (bits 32..63) times x^64 lands in the high half, below x^64.
    const __m128i v = _mm_srli_si128(_mm_xor_si128(_mm_clmulepi64_si128(t, by, 0x10), t), 8);
    // Barrett: the quotient from the upper 32 bits alone, then the value less quotient * P.
    const __m128i barrett = Pair(constants.barrettPolynomial, constants.barrettQuotient);
    const __m128i low32 = _mm_set_epi32(0, 0, 0, -1);
    const __m128i product = _mm_clmulepi64_si128(_mm_and_si128(v, low32), barrett, 0x00);
    const __m128i quotient = _mm_and_si128(product, low32);
    const __m128i remainder = _mm_xor_si128(v, _mm_clmulepi64_si128(quotient, barrett, 0x10));
    return static_cast<uint32_t>(_mm_extract_epi32(remainder, 1));
}

}  // namespace

ORV_FOLD_TARGET uint32_t FoldBlocks(uint32_t state, const uint8_t* data, size_t length,
                                    const Constants& constants) {
    // Four lanes of 16 bytes, each folded 64 bytes on per step, keep four multiplies in flight.
    __m128i lane0 = _mm_xor_si128(Load(data), _mm_cvtsi32_si128(static_cast<int>(state)));
    __m128i lane1 = Load(data + 16);
    __m128i lane2 = Load(data + 32);
    __m128i lane3 = Load(data + 48);
    data += 64;
    length -= 64;
    const __m128i by64Bytes = Pair(constants.fold4High, constants.fold4Low);
    while (length >= 64) {
        lane0 = Fold(lane0, by64Bytes, Load(data));
        lane1 = Fold(lane1, by64Bytes, Load(data + 16));
        lane2 = Fold(lane2, by64Bytes, Load(data + 32));
        lane3 = Fold(lane3, by64Bytes, Load(data + 48));
        data += 64;
        length -= 64;
    }
    // The lanes into one, then the 16-byte blocks left over.
    const __m128i by16Bytes = Pair(constants.fold1High, constants.fold1Low);
    __m128i block = Fold(lane0, by16Bytes, lane1);
    block = Fold(block, by16Bytes, lane2);
    block = Fold(block, by16Bytes, lane3);
    while (length >= 16) {
        block = Fold(block, by16Bytes, Load(data));
        data += 16;
        length -= 16;
    }
    return Reduce(block, constants);
}

}  // namespace crc32fold

#endif
