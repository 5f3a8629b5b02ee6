// RijndaelTransformation.cpp: AES with 128, 192 and 256-bit keys over the modes of
// CipherTransformation. The key schedule is always the table code's; the rounds run on the
// processor's AES instructions where it has them, else on the tables.
#include "AesInstructions.h"
#include "AesTables.h"
#include "common/OVException.h"
#include "streams/Transformation.h"

#include <algorithm>
#include <cstdint>
#include <mbedtls/platform_util.h>

namespace {

// The routine of one direction for the engine chosen.
auto chooseRoutine(bool decrypt, bool instructions) {
#if ORV_AES_INSTRUCTIONS
    if (instructions) {
        return decrypt ? aesinstructions::DecryptBlock : aesinstructions::EncryptBlock;
    }
#else
    (void)instructions;
#endif
    return decrypt ? aestables::DecryptBlock : aestables::EncryptBlock;
}

// True when the `length` bytes at `a` and at `b` share some but not all of their bytes.
bool overlapsApart(const uint8_t* a, const uint8_t* b, int32_t length) {
    const auto x = reinterpret_cast<uintptr_t>(a);
    const auto y = reinterpret_cast<uintptr_t>(b);
    const auto n = static_cast<uintptr_t>(length);
    return x != y && x < y + n && y < x + n;
}

}  // namespace

RijndaelTransformation::RijndaelTransformation(bool encrypting, int32_t mode, const uint8_t* key,
                                               int32_t keyLength, Engine engine)
    : CipherTransformation(16, encrypting), keyWords(keyLength / 4), rounds(keyLength / 4 + 6),
      scheduleWords((keyLength & ~3) + 28) {
    if (keyLength != 16 && keyLength != 24 && keyLength != 32) {
        throw OVException("Invalid AES block size");
    }
    setMode(mode);
    const bool instructions = engine == Engine::kFastest && aesInstructionsAvailable();
    if (!encrypting && mode != kCounter) {
        uint32_t forward[kMaxScheduleWords];
        aestables::ExpandKey(key, keyWords, scheduleWords, forward);
        // Round keys in reverse order; the inner ones pass through InvMixColumns so that the
        // decryption rounds have the same shape as the encryption rounds.
        for (int32_t r = 0; r <= rounds; ++r) {
            for (int32_t j = 0; j < 4; ++j) {
                const uint32_t w = forward[4 * (rounds - r) + j];
                schedule[4 * r + j] = (r == 0 || r == rounds) ? w : aestables::InverseMixColumn(w);
            }
        }
        mbedtls_platform_zeroize(forward, sizeof forward);
        blockRoutine = chooseRoutine(true, instructions);
    } else {
        aestables::ExpandKey(key, keyWords, scheduleWords, schedule);
        blockRoutine = chooseRoutine(false, instructions);
    }
}

RijndaelTransformation::~RijndaelTransformation() {
    mbedtls_platform_zeroize(schedule, sizeof schedule);
}

bool RijndaelTransformation::aesInstructionsAvailable() { return aesinstructions::Available(); }

bool RijndaelTransformation::usesAesInstructions() const {
#if ORV_AES_INSTRUCTIONS
    return blockRoutine == aesinstructions::EncryptBlock ||
           blockRoutine == aesinstructions::DecryptBlock;
#else
    return false;
#endif
}

int32_t RijndaelTransformation::process(const uint8_t* input, int32_t inputLength, uint8_t* output,
                                        int32_t* outputLength) {
#if ORV_AES_INSTRUCTIONS
    if (mode == kCounter && blockRoutine == aesinstructions::EncryptBlock) {
        // The same contract as the base class's counter routine, several blocks at a time.
        if (*outputLength < blockSize) {
            *outputLength = 0;
            return kTransformInputTooShort;
        }
        inputLength = std::min(inputLength, *outputLength);
        // Buffers that overlap apart give the base class's block-by-block result.
        if (!overlapsApart(input, output, inputLength)) {
            if (inputLength > 0) {
                aesinstructions::CounterXor(schedule, rounds, chain, input, output,
                                            static_cast<size_t>(inputLength));
            }
            *outputLength = inputLength;
            return inputLength;
        }
    }
#endif
    return CipherTransformation::process(input, inputLength, output, outputLength);
}

int32_t RijndaelTransformation::processBlock(const uint8_t* input, uint8_t* output) {
    // A block written below its source and reaching into it would be overwritten while read.
    const auto in = reinterpret_cast<uintptr_t>(input);
    const auto out = reinterpret_cast<uintptr_t>(output);
    if (out < in && out + 16 > in) {
        return kTransformNoProcess;
    }
    blockRoutine(schedule, rounds, input, output);
    return 16;
}
