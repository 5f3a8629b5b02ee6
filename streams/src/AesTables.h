// AesTables.h: the portable AES code: key expansion and the rounds as word-wise table look-ups on
// big-endian words. Runs everywhere; the processor's instructions (AesInstructions.h) take over
// the rounds where present, over the same schedules.
#pragma once

#include <cstdint>

namespace aestables {

// Expands `key` of `keyWords` 32-bit words into `totalWords` round-key words, big-endian.
void ExpandKey(const uint8_t* key, int32_t keyWords, int32_t totalWords, uint32_t* schedule);
// InvMixColumns of one big-endian word: turns an inner encryption round key into the round key
// of the equivalent inverse cipher.
uint32_t InverseMixColumn(uint32_t word);
// One block over an encryption schedule of `rounds` + 1 round keys.
void EncryptBlock(const uint32_t* schedule, int32_t rounds, const uint8_t* input, uint8_t* output);
// One block through the equivalent inverse cipher, over a decryption schedule: the round keys in
// reverse order, the inner ones through InverseMixColumn.
void DecryptBlock(const uint32_t* schedule, int32_t rounds, const uint8_t* input, uint8_t* output);

}  // namespace aestables
