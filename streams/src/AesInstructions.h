// AesInstructions.h: the AES rounds on the processor's own instructions (AES-NI), over the same
// big-endian schedules as the table code (AesTables.h). Built for x86-64 only; there they may run
// only after Available() said yes.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__)
#define ORV_AES_INSTRUCTIONS 1
#else
#define ORV_AES_INSTRUCTIONS 0
#endif

namespace aesinstructions {

// True when this processor has the instructions; asked of it once. False where they are not built.
bool Available();

#if ORV_AES_INSTRUCTIONS
// One block, as aestables::EncryptBlock and aestables::DecryptBlock, over the same schedules.
void EncryptBlock(const uint32_t* schedule, int32_t rounds, const uint8_t* input, uint8_t* output);
void DecryptBlock(const uint32_t* schedule, int32_t rounds, const uint8_t* input, uint8_t* output);
// Counter mode over `length` bytes: before each block, whole or part, the 16-byte `counter` is
// incremented as a little-endian number and encrypted, and the result xored with the input.
// `output` may be `input`, but must not overlap it otherwise.
void CounterXor(const uint32_t* schedule, int32_t rounds, uint8_t* counter, const uint8_t* input,
                uint8_t* output, size_t length);
#endif

}  // namespace aesinstructions
