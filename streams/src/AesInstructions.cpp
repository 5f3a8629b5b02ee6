// AesInstructions.cpp: the AES rounds on AES-NI. Only these functions are compiled for AES-NI and
// SSE4.1 (a target attribute), so the rest of the program stays baseline x86-64 and runs on any
// processor.
#include "AesInstructions.h"

#if ORV_AES_INSTRUCTIONS
#include <cstring>
#include <immintrin.h>
#include <mbedtls/platform_util.h>
#include <wmmintrin.h>

#define ORV_AES_TARGET __attribute__((target("aes,sse4.1")))
#endif

namespace aesinstructions {

#if ORV_AES_INSTRUCTIONS

namespace {

// Blocks in flight in counter mode: each round's instruction has a latency of several cycles but
// a new one can start every cycle, so independent blocks fill the pipeline.
constexpr int kLanes = 8;
constexpr size_t kBlock = 16;

// Round key `round` in the byte order the instructions want: the schedule holds big-endian words.
ORV_AES_TARGET inline __m128i RoundKey(const uint32_t* schedule, int32_t round) {
    const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(schedule + 4 * round));
    return _mm_shuffle_epi8(words,
                            _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3));
}

ORV_AES_TARGET inline __m128i Load(const uint8_t* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

ORV_AES_TARGET inline void Store(uint8_t* bytes, __m128i block) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), block);
}

// The counter as two little-endian halves, incremented with the carry into the high half.
struct Counter {
    uint64_t low;
    uint64_t high;

    ORV_AES_TARGET __m128i Next() {
        high += ++low == 0 ? 1 : 0;
        return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
    }
};

ORV_AES_TARGET inline __m128i EncryptOne(const __m128i* keys, int32_t rounds, __m128i block) {
    block = _mm_xor_si128(block, keys[0]);
    for (int32_t r = 1; r < rounds; ++r) {
        block = _mm_aesenc_si128(block, keys[r]);
    }
    return _mm_aesenclast_si128(block, keys[rounds]);
}

}  // namespace

bool Available() {
    static const bool present = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("aes") && __builtin_cpu_supports("sse4.1");
    }();
    return present;
}

ORV_AES_TARGET void EncryptBlock(const uint32_t* schedule, int32_t rounds, const uint8_t* input,
                                 uint8_t* output) {
    __m128i state = _mm_xor_si128(Load(input), RoundKey(schedule, 0));
    for (int32_t r = 1; r < rounds; ++r) {
        state = _mm_aesenc_si128(state, RoundKey(schedule, r));
    }
    Store(output, _mm_aesenclast_si128(state, RoundKey(schedule, rounds)));
}

ORV_AES_TARGET void DecryptBlock(const uint32_t* schedule, int32_t rounds, const uint8_t* input,
                                 uint8_t* output) {
    // The decryption schedule already has the equivalent inverse cipher's round keys, which are
    // what aesdec expects.
    __m128i state = _mm_xor_si128(Load(input), RoundKey(schedule, 0));
    for (int32_t r = 1; r < rounds; ++r) {
        state = _mm_aesdec_si128(state, RoundKey(schedule, r));
    }
    Store(output, _mm_aesdeclast_si128(state, RoundKey(schedule, rounds)));
}

ORV_AES_TARGET void CounterXor(const uint32_t* schedule, int32_t rounds, uint8_t* counter,
                               const uint8_t* input, uint8_t* output, size_t length) {
    __m128i keys[15];
    for (int32_t r = 0; r <= rounds; ++r) {
        keys[r] = RoundKey(schedule, r);
    }
    Counter count;
    std::memcpy(&count.low, counter, 8);
    std::memcpy(&count.high, counter + 8, 8);
    size_t at = 0;
    for (; length - at >= kLanes * kBlock; at += kLanes * kBlock) {
        __m128i blocks[kLanes];
        for (int i = 0; i < kLanes; ++i) {
            blocks[i] = _mm_xor_si128(count.Next(), keys[0]);
        }
        for (int32_t r = 1; r < rounds; ++r) {
            const __m128i key = keys[r];
            for (int i = 0; i < kLanes; ++i) {
                blocks[i] = _mm_aesenc_si128(blocks[i], key);
            }
        }
        for (int i = 0; i < kLanes; ++i) {
            const __m128i stream = _mm_aesenclast_si128(blocks[i], keys[rounds]);
            const size_t offset = at + kBlock * static_cast<size_t>(i);
            Store(output + offset, _mm_xor_si128(Load(input + offset), stream));
        }
    }
    for (; length - at >= kBlock; at += kBlock) {
        const __m128i stream = EncryptOne(keys, rounds, count.Next());
        Store(output + at, _mm_xor_si128(Load(input + at), stream));
    }
    if (at < length) {
        uint8_t stream[kBlock];
        Store(stream, EncryptOne(keys, rounds, count.Next()));
        for (size_t i = 0; at + i < length; ++i) {
            output[at + i] = input[at + i] ^ stream[i];
        }
        mbedtls_platform_zeroize(stream, sizeof stream);
    }
    std::memcpy(counter, &count.low, 8);
    std::memcpy(counter + 8, &count.high, 8);
    // The round keys are as secret as the schedule they came from.
    mbedtls_platform_zeroize(keys, sizeof keys);
}

#else

bool Available() { return false; }

#endif

}  // namespace aesinstructions
