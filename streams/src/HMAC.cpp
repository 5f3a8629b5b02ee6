// HMAC.cpp: the keyed authentication code of RFC 2104 over any MHash.
#include "common/OVException.h"
#include "streams/Hash.h"

#include <algorithm>
#include <cstring>
#include <mbedtls/platform_util.h>

namespace {

// Frees key-derived bytes only after wiping them, on every path out, exceptions included.
class WipedBytes {
public:
    explicit WipedBytes(int32_t size) : bytes(static_cast<size_t>(std::max(size, 0))) {}
    ~WipedBytes() { mbedtls_platform_zeroize(bytes.data(), bytes.size()); }
    WipedBytes(const WipedBytes&) = delete;
    WipedBytes& operator=(const WipedBytes&) = delete;

    uint8_t* data() { return bytes.data(); }
    int64_t size() const { return static_cast<int64_t>(bytes.size()); }

private:
    ByteBuffer bytes;
};

MHash& Required(const std::unique_ptr<MHash>& hash) {
    if (!hash) {
        throw OVException("HMAC needs a hash");
    }
    return *hash;
}

// One block of key: a key longer than a block is replaced by its hash; the rest is zeros.
ByteBuffer MakePaddedKey(MHash& hash, const uint8_t* key, int64_t keyLength) {
    const int32_t blockSize = hash.getBlockSize();
    ByteBuffer padded(static_cast<size_t>(std::max(blockSize, 0)), 0);
    if (keyLength > blockSize) {
        // A digest may be longer than a block (CRC-32 has one-byte blocks): a block of it is kept.
        WipedBytes digest(hash.getHashSize());
        hash.reset();
        hash.update(key, keyLength);
        hash.final(digest.data(), digest.size());
        std::copy_n(digest.data(), std::min<int64_t>(digest.size(), blockSize), padded.begin());
    } else if (key != nullptr && keyLength > 0) {
        std::memcpy(padded.data(), key, static_cast<size_t>(keyLength));
    }
    return padded;
}

}  // namespace

HMAC::HMAC(std::unique_ptr<MHash> innerHash, const uint8_t* key, int64_t keyLength)
    : ownedHash(std::move(innerHash)), hash(Required(ownedHash)),
      paddedKey(MakePaddedKey(hash, key, keyLength)), blockSize(hash.getBlockSize()) {
    reset();
}

HMAC::HMAC(MHash& innerHash, const uint8_t* key, int64_t keyLength)
    : hash(innerHash), paddedKey(MakePaddedKey(hash, key, keyLength)),
      blockSize(hash.getBlockSize()) {
    reset();
}

HMAC::~HMAC() { mbedtls_platform_zeroize(paddedKey.data(), paddedKey.size()); }

void HMAC::reset() {
    hash.reset();
    WipedBytes innerPad(blockSize);
    for (int64_t index = 0; index < innerPad.size(); ++index) {
        innerPad.data()[index] = paddedKey[static_cast<size_t>(index)] ^ 0x36u;
    }
    hash.update(innerPad.data(), innerPad.size());
}

void HMAC::update(const uint8_t* data, int64_t length) { hash.update(data, length); }

void HMAC::final(uint8_t* output, int64_t outputLength) {
    {
        // The key-derived temporaries are wiped at the end of this block, before the outer hash
        // finishes (and also if anything raises).
        WipedBytes innerDigest(hash.getHashSize());
        hash.final(innerDigest.data(), innerDigest.size());
        hash.reset();
        WipedBytes outerPad(blockSize);
        for (int64_t index = 0; index < outerPad.size(); ++index) {
            outerPad.data()[index] = paddedKey[static_cast<size_t>(index)] ^ 0x5Cu;
        }
        hash.update(outerPad.data(), outerPad.size());
        hash.update(innerDigest.data(), innerDigest.size());
    }
    hash.final(output, outputLength);
}
