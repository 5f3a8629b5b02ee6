// Hash.h: checksums and authentication codes computed while data passes.
#pragma once

#include "streams/OutputStream.h"

#include <cstdint>
#include <memory>

struct mbedtls_sha1_context;

class MHash {
public:
    virtual ~MHash() = default;

    virtual void update(const uint8_t* data, int64_t length) = 0;
    // Writes the digest to `output`, which holds `outputLength` bytes.
    virtual void final(uint8_t* output, int64_t outputLength) = 0;
    virtual void reset() = 0;
    virtual int32_t getBlockSize() = 0;
    virtual int32_t getHashSize() = 0;
};

// CRC-32 of the reversed polynomial 0xEDB88320, or CRC-32C when built with the selector
// 0x1EDC6F41 (its result byte-swapped). final writes the value most significant byte first.
//
// Where the processor has a carry-less multiply (x86 PCLMULQDQ, asked once), an update of 64
// bytes or more folds all its whole 16-byte blocks with it and takes the last 0 to 15 bytes through
// the byte-wise table; shorter updates, and every update elsewhere, use the table alone. Both
// give the same value.
class Crc32 : public MHash {
public:
    static constexpr uint32_t kStandard = 0xEDB88320u;
    static constexpr uint32_t kCastagnoliSelector = 0x1EDC6F41u;

    // The code every Crc32 of the process computes with. Automatic folds where the processor
    // can; Table only ever looks up the table, so that tests can set the two side by side on
    // one machine. Automatic unless set.
    enum class Engine { Automatic, Table };
    static void setEngine(Engine engine);
    static Engine getEngine();
    // Whether this build and processor can fold.
    static bool canFold();
    // How many bytes the process has folded so far, so that a test can tell which code ran.
    // Counts without a lock: not exact while several threads hash at once.
    static uint64_t foldedBytes();

    explicit Crc32(uint32_t polynomial = kStandard);

    void update(const uint8_t* data, int64_t length) override;
    void final(uint8_t* output, int64_t outputLength) override;
    void reset() override { value = 0xFFFFFFFFu; }
    int32_t getBlockSize() override { return 1; }
    int32_t getHashSize() override { return 4; }

    // The checksum of what was fed so far.
    uint32_t result() const;

private:
    uint32_t value = 0xFFFFFFFFu;
    bool swapped;
    const uint32_t* table;
};

class Sha1 : public MHash {
public:
    Sha1();
    ~Sha1() override;
    Sha1(const Sha1&) = delete;
    Sha1& operator=(const Sha1&) = delete;

    void update(const uint8_t* data, int64_t length) override;
    void final(uint8_t* output, int64_t outputLength) override;
    void reset() override;
    int32_t getBlockSize() override { return 64; }
    int32_t getHashSize() override { return 20; }

private:
    std::unique_ptr<mbedtls_sha1_context> context;
};

// HMAC over a hash, owned or borrowed, which does all the work. final leaves the hash finished:
// reset before feeding it again.
class HMAC : public MHash {
public:
    HMAC(MHash& hash, const uint8_t* key, int64_t keyLength);
    HMAC(std::unique_ptr<MHash> hash, const uint8_t* key, int64_t keyLength);
    // Wipes the padded key.
    ~HMAC() override;

    void update(const uint8_t* data, int64_t length) override;
    void final(uint8_t* output, int64_t outputLength) override;
    void reset() override;
    int32_t getBlockSize() override { return hash.getBlockSize(); }
    int32_t getHashSize() override { return hash.getHashSize(); }

private:
    std::unique_ptr<MHash> ownedHash;
    MHash& hash;
    ByteBuffer paddedKey;
    int32_t blockSize;
};

// Feeds every byte read to a hash. Owns its source and the hash.
class HashInputStream : public FilterInputStream {
public:
    HashInputStream(std::unique_ptr<InputStream> source, std::unique_ptr<MHash> hash);

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;
    void reset() override;

    void getHash(uint8_t* output, int64_t length) { hash->final(output, length); }
    MHash& getHashObject() { return *hash; }

private:
    std::unique_ptr<MHash> hash;
};

// Feeds every byte written to a hash. Owns its sink and the hash.
class HashOutputStream : public FilterOutputStream {
public:
    HashOutputStream(std::unique_ptr<OutputStream> sink, std::unique_ptr<MHash> hash);

    void write(const uint8_t* buffer, int64_t length) override;
    using OutputStream::write;

    void getHash(uint8_t* output, int64_t length) { hash->final(output, length); }
    MHash& getHashObject() { return *hash; }

private:
    std::unique_ptr<MHash> hash;
};
