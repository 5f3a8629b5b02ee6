// CipherTransformation.cpp: the block-cipher modes (chained, counter, plain blocks) and paddings
// over the single-block routine of a subclass.
#include "common/OVException.h"
#include "streams/Transformation.h"

#include <algorithm>
#include <cstring>
#include <mbedtls/platform_util.h>

CipherTransformation::CipherTransformation(int32_t blockSize, bool encrypting)
    : encrypting(encrypting), blockSize(blockSize), blockWords(blockSize / 8) {}

CipherTransformation::~CipherTransformation() {
    mbedtls_platform_zeroize(chain, sizeof chain);
    mbedtls_platform_zeroize(scratch, sizeof scratch);
    mbedtls_platform_zeroize(initialVector, sizeof initialVector);
}

int32_t CipherTransformation::getOutputBlockSize() {
    // A decrypting stream must hold one block back until it knows whether that block is the last.
    return (encrypting || padding == kNoPadding) ? blockSize : 2 * blockSize;
}

void CipherTransformation::setMode(int32_t newMode) { mode = newMode; }

void CipherTransformation::setPadding(int32_t newPadding) { padding = newPadding; }

void CipherTransformation::reset() { setVector(initialVector); }

void CipherTransformation::setVector(const uint8_t* vector) {
    if (vector == nullptr) {
        std::memset(initialVector, 0, sizeof initialVector);
    } else if (vector != initialVector) {
        std::memmove(initialVector, vector, static_cast<size_t>(blockSize));
    }
    switch (mode) {
    case kChained:
        if (vector != nullptr) {
            std::memcpy(chain, initialVector, static_cast<size_t>(blockSize));
        } else {
            std::memset(chain, 0, sizeof chain);
        }
        break;
    case kCounter:
        std::memcpy(chain, initialVector, static_cast<size_t>(blockSize));
        break;
    case kFeedback:
        std::memset(chain, 0, sizeof chain);
        if (encrypting) {
            if (vector == nullptr) {
                throw OVException("Source is required");
            }
            int32_t length = blockSize;
            if (process(initialVector, blockSize, chain, &length) != blockSize) {
                throw OVException("Failed to initialize CFB");
            }
        }
        break;
    default:
        break;
    }
}

int32_t CipherTransformation::process(const uint8_t* input, int32_t inputLength, uint8_t* output,
                                      int32_t* outputLength) {
    switch (mode) {
    case kChained:
    case kPlainBlocks:
        return encrypting ? encryptBlocks(input, inputLength, output, outputLength)
                          : decryptBlocks(input, inputLength, output, outputLength);
    case kCounter:
        return counterBlocks(input, inputLength, output, outputLength);
    default:
        *outputLength = 0;
        return kTransformNoProcess;
    }
}

int32_t CipherTransformation::encryptBlocks(const uint8_t* input, int32_t inputLength,
                                            uint8_t* output, int32_t* outputLength) {
    const size_t size = static_cast<size_t>(blockSize);
    int32_t blocks = std::min(inputLength, *outputLength) / blockSize;
    int32_t consumed = blocks * blockSize;
    if (blocks > 0) {
        *outputLength = consumed;
    } else {
        if (*outputLength < blockSize) {
            *outputLength = 0;
            return kTransformOutputTooSmall;
        }
        // A part block is the end of the data: it is padded to a whole block.
        const int32_t pad = blockSize - inputLength;
        if (pad == blockSize && padding != kCountFill) {
            *outputLength = 0;
            return 0;
        }
        blocks = 1;
        consumed = inputLength;
        *outputLength = blockSize;
    }
    for (int32_t b = 0; b < blocks; ++b) {
        const int32_t offset = b * blockSize;
        if (consumed - offset >= blockSize) {
            std::memcpy(scratch, input + offset, size);
        } else {
            const int32_t have = consumed - offset;
            std::memcpy(scratch, input + offset, static_cast<size_t>(have));
            const uint8_t fill = padding == kCountFill ? static_cast<uint8_t>(blockSize - have) : 0;
            std::memset(scratch + have, fill, size - static_cast<size_t>(have));
        }
        if (mode == kChained) {
            for (int32_t i = 0; i < blockSize; ++i) {
                scratch[i] ^= chain[i];
            }
        }
        const int32_t result = processBlock(scratch, output + offset);
        if (result < 0) {
            return result;
        }
        if (mode == kChained) {
            std::memcpy(chain, output + offset, size);
        }
    }
    return consumed;
}

int32_t CipherTransformation::decryptBlocks(const uint8_t* input, int32_t inputLength,
                                            uint8_t* output, int32_t* outputLength) {
    const size_t size = static_cast<size_t>(blockSize);
    const bool padded = padding != kNoPadding;
    // With padding the last whole block in hand is kept back: only a call with exactly one block
    // knows that block is the last.
    const int32_t leastInput = padded ? blockSize + 1 : blockSize;
    if (*outputLength < blockSize) {
        *outputLength = 0;
        return kTransformOutputTooSmall;
    }
    int32_t blocks = 1;
    if (inputLength < leastInput) {
        if (inputLength < blockSize) {
            *outputLength = 0;
            return kTransformInputTooShort;
        }
    } else {
        blocks = std::min(inputLength / blockSize - (padded ? 1 : 0), *outputLength / blockSize);
    }
    *outputLength = blocks * blockSize;
    for (int32_t b = 0; b < blocks; ++b) {
        const int32_t offset = b * blockSize;
        if (mode == kChained) {
            std::memcpy(scratch, input + offset,
                        size);  // the cipher block, before out overwrites it
        }
        const int32_t result = processBlock(input + offset, output + offset);
        if (result < 0) {
            *outputLength = 0;
            return result;
        }
        if (mode == kChained) {
            for (int32_t i = 0; i < blockSize; ++i) {
                output[offset + i] ^= chain[i];
            }
            std::memcpy(chain, scratch, size);
        }
    }
    const int32_t consumed = blocks * blockSize;
    if (padded && inputLength == blockSize) {
        uint8_t* last = output + consumed - blockSize;
        if (padding == kZeroFill) {
            int32_t keep = blockSize;
            while (keep > 0 && last[keep - 1] == 0) {
                --keep;
            }
            *outputLength = consumed - blockSize + keep;
        } else {
            const int32_t count = last[blockSize - 1];
            if (count == 0 || count > blockSize) {
                *outputLength = 0;
                return kTransformBadPadding;
            }
            for (int32_t i = blockSize - count; i < blockSize; ++i) {
                if (last[i] != count) {
                    *outputLength = 0;
                    return kTransformBadPadding;
                }
            }
            *outputLength = consumed - count;
        }
    }
    return consumed;
}

int32_t CipherTransformation::counterBlocks(const uint8_t* input, int32_t inputLength,
                                            uint8_t* output, int32_t* outputLength) {
    if (*outputLength < blockSize) {
        *outputLength = 0;
        return kTransformInputTooShort;
    }
    inputLength = std::min(inputLength, *outputLength);
    const auto increment = [this] {
        for (int32_t i = 0; i < blockSize; ++i) {
            if (++chain[i] != 0) {
                break;
            }
        }
    };
    int32_t offset = 0;
    // The key stream goes to scratch first, so that input and output may be the same buffer.
    for (; inputLength - offset >= blockSize; offset += blockSize) {
        increment();
        const int32_t result = processBlock(chain, scratch);
        if (result < 0) {
            *outputLength = 0;
            return result;
        }
        for (int32_t w = 0; w < blockWords; ++w) {
            uint64_t data;
            uint64_t key;
            std::memcpy(&data, input + offset + 8 * w, 8);
            std::memcpy(&key, scratch + 8 * w, 8);
            data ^= key;
            std::memcpy(output + offset + 8 * w, &data, 8);
        }
    }
    if (offset < inputLength) {
        increment();
        const int32_t result = processBlock(chain, scratch);
        if (result < 0) {
            *outputLength = 0;
            return result;
        }
        for (int32_t i = 0; offset + i < inputLength; ++i) {
            output[offset + i] = input[offset + i] ^ scratch[i];
        }
    }
    *outputLength = inputLength;
    return inputLength;
}
