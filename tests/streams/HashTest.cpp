// HashTest.cpp: CRC-32, SHA-1, HMAC and the hash stream filters, against zlib, mbed TLS and
// published test vectors.
#include "streams/Hash.h"

#include "StreamTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <mbedtls/md.h>
#include <random>
#include <string>
#include <vector>
#include <zlib.h>

namespace {

using streamtest::ScriptedInputStream;

const uint8_t* Bytes(const std::string& text) {
    return reinterpret_cast<const uint8_t*>(text.data());
}

int64_t Length(const std::string& text) { return static_cast<int64_t>(text.size()); }

std::string Hex(const uint8_t* bytes, size_t length) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t index = 0; index < length; ++index) {
        text += digits[bytes[index] >> 4];
        text += digits[bytes[index] & 0x0F];
    }
    return text;
}

std::string Hex(const ByteBuffer& bytes) { return Hex(bytes.data(), bytes.size()); }

ByteBuffer RandomBytes(size_t length, uint32_t seed) {
    std::mt19937 generator(seed);
    ByteBuffer bytes(length);
    for (auto& byte : bytes)
        byte = static_cast<uint8_t>(generator());
    return bytes;
}

uint32_t ZlibCrc(const uint8_t* data, size_t length) {
    return static_cast<uint32_t>(crc32(0L, data, static_cast<uInt>(length)));
}

// Feeds `data` to `hash` in pieces of random sizes, empty pieces included.
void FeedInPieces(MHash& hash, const uint8_t* data, size_t length, std::mt19937& generator) {
    size_t offset = 0;
    while (offset < length) {
        const size_t piece = std::min<size_t>(generator() % 97, length - offset);
        hash.update(data + offset, static_cast<int64_t>(piece));
        offset += piece;
    }
}

ByteBuffer Digest(MHash& hash) {
    ByteBuffer digest(static_cast<size_t>(hash.getHashSize()));
    hash.final(digest.data(), static_cast<int64_t>(digest.size()));
    return digest;
}

ByteBuffer OracleHmacSha1(const ByteBuffer& key, const ByteBuffer& data) {
    ByteBuffer digest(20);
    const int status = mbedtls_md_hmac(mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), key.data(),
                                       key.size(), data.data(), data.size(), digest.data());
    EXPECT_EQ(status, 0);
    return digest;
}

ByteBuffer HmacSha1(const ByteBuffer& key, const ByteBuffer& data) {
    HMAC hmac(std::make_unique<Sha1>(), key.data(), static_cast<int64_t>(key.size()));
    hmac.update(data.data(), static_cast<int64_t>(data.size()));
    return Digest(hmac);
}

ByteBuffer ToBuffer(const std::string& text) { return ByteBuffer(text.begin(), text.end()); }

// A hash that records what it is fed, to see what the streams pass on.
class RecordingHash : public MHash {
public:
    void update(const uint8_t* data, int64_t length) override {
        ++updates;
        fed.insert(fed.end(), data, data + length);
    }
    void final(uint8_t* output, int64_t) override { output[0] = static_cast<uint8_t>(fed.size()); }
    void reset() override {
        ++resets;
        fed.clear();
    }
    int32_t getBlockSize() override { return 1; }
    int32_t getHashSize() override { return 1; }

    ByteBuffer fed;
    int updates = 0;
    int resets = 0;
};

// ---- Crc32 ----

TEST(Crc32Test, NoBytesGivesZeroAndFinalGivesFourZeroBytes) {
    Crc32 crc;
    EXPECT_EQ(crc.result(), 0u);
    uint8_t out[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    crc.final(out, 4);
    EXPECT_EQ(Hex(out, 4), "00000000");
}

TEST(Crc32Test, CheckValueOfStandardTable) {
    Crc32 crc(Crc32::kStandard);
    crc.update(Bytes("123456789"), 9);
    EXPECT_EQ(crc.result(), 0xCBF43926u);
    uint8_t out[4];
    crc.final(out, 4);
    EXPECT_EQ(Hex(out, 4), "cbf43926");  // most significant byte first
}

TEST(Crc32Test, SelectorGivesCastagnoliCheckValueByteSwapped) {
    Crc32 crc(Crc32::kCastagnoliSelector);
    crc.update(Bytes("123456789"), 9);
    EXPECT_EQ(crc.result(), 0x839206E3u);  // 0xE3069283 byte-swapped
    uint8_t out[4];
    crc.final(out, 4);
    EXPECT_EQ(Hex(out, 4), "839206e3");
}

TEST(Crc32Test, OtherPolynomialValuesChooseTheStandardTable) {
    for (uint32_t polynomial : {0u, 0x04C11DB7u, 0x82F63B78u, 0xFFFFFFFFu}) {
        Crc32 crc(polynomial);
        crc.update(Bytes("123456789"), 9);
        EXPECT_EQ(crc.result(), 0xCBF43926u) << polynomial;
    }
}

TEST(Crc32Test, FinalTwiceGivesTheSameValue) {
    Crc32 crc;
    crc.update(Bytes("hello"), 5);
    uint8_t first[4];
    uint8_t second[4];
    crc.final(first, 4);
    crc.final(second, 4);
    EXPECT_EQ(Hex(first, 4), Hex(second, 4));
    // final does not end the checksum: feeding on continues it.
    crc.update(Bytes(" world"), 6);
    EXPECT_EQ(crc.result(), ZlibCrc(Bytes("hello world"), 11));
}

TEST(Crc32Test, FinalIntoFewerThanFourBytesThrows) {
    Crc32 crc;
    uint8_t out[3] = {1, 2, 3};
    try {
        crc.final(out, 3);
        FAIL() << "no exception";
    } catch (const OVException& error) {
        EXPECT_STREQ(error.what(), "Ivalid CRC output buffer length");
    }
    EXPECT_EQ(Hex(out, 3), "010203");
    uint8_t wide[8] = {};
    EXPECT_NO_THROW(crc.final(wide, 8));
}

TEST(Crc32Test, NullDataWithLengthChangesNothing) {
    Crc32 crc;
    crc.update(Bytes("abc"), 3);
    const uint32_t before = crc.result();
    crc.update(nullptr, 100);
    EXPECT_EQ(crc.result(), before);
}

TEST(Crc32Test, FixedVectorsMatchZlib) {
    const std::vector<std::string> vectors = {"a",
                                              "abc",
                                              "message digest",
                                              "abcdefghijklmnopqrstuvwxyz",
                                              "The quick brown fox jumps over the lazy dog",
                                              std::string(1, '\0'),
                                              std::string(32, '\xFF')};
    for (const auto& text : vectors) {
        Crc32 crc;
        crc.update(Bytes(text), Length(text));
        EXPECT_EQ(crc.result(), ZlibCrc(Bytes(text), text.size())) << text;
    }
}

TEST(Crc32Test, RandomDataMatchesZlibWholeAndInPieces) {
    std::mt19937 generator(7);
    std::vector<size_t> lengths;
    for (size_t length = 0; length <= 2000; ++length)
        lengths.push_back(length);
    lengths.insert(lengths.end(), {65536, 1000003, 4u << 20});
    for (size_t length : lengths) {
        const ByteBuffer data = RandomBytes(length, static_cast<uint32_t>(length));
        const uint32_t expected = ZlibCrc(data.data(), data.size());
        Crc32 whole;
        whole.update(data.data(), static_cast<int64_t>(data.size()));
        ASSERT_EQ(whole.result(), expected) << length;
        Crc32 pieces;
        FeedInPieces(pieces, data.data(), data.size(), generator);
        ASSERT_EQ(pieces.result(), expected) << length;
    }
}

TEST(Crc32Test, ResetStartsOver) {
    Crc32 crc;
    crc.update(Bytes("garbage"), 7);
    crc.reset();
    crc.update(Bytes("123456789"), 9);
    EXPECT_EQ(crc.result(), 0xCBF43926u);
}

TEST(Crc32Test, SizesAreOneByteBlocksAndFourByteDigest) {
    Crc32 crc;
    EXPECT_EQ(crc.getBlockSize(), 1);
    EXPECT_EQ(crc.getHashSize(), 4);
}

TEST(Crc32OfStringTest, EqualsZlibCrc) {
    for (const std::string text : {"", "123456789", "Příliš žluťoučký kůň", "a\0b"}) {
        EXPECT_EQ(CUtils::Crc32OfString(text), ZlibCrc(Bytes(text), text.size())) << text;
    }
    const std::string withZero("a\0b", 3);
    EXPECT_EQ(CUtils::Crc32OfString(withZero), ZlibCrc(Bytes(withZero), 3));
    EXPECT_EQ(CUtils::Crc32OfString("123456789"), 0xCBF43926u);
}

// ---- Sha1 ----

struct Sha1Vector {
    std::string message;
    std::string digest;
};

std::vector<Sha1Vector> FipsVectors() {
    return {
        {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
    };
}

TEST(Sha1Test, FipsVectorsFedWhole) {
    for (const auto& vector : FipsVectors()) {
        Sha1 sha;
        sha.update(Bytes(vector.message), Length(vector.message));
        EXPECT_EQ(Hex(Digest(sha)), vector.digest) << vector.message.substr(0, 60);
    }
}

TEST(Sha1Test, FipsVectorsFedInPieces) {
    std::mt19937 generator(11);
    for (const auto& vector : FipsVectors()) {
        Sha1 sha;
        FeedInPieces(sha, Bytes(vector.message), vector.message.size(), generator);
        EXPECT_EQ(Hex(Digest(sha)), vector.digest) << vector.message.substr(0, 60);
    }
}

TEST(Sha1Test, FinalIntoNineteenBytesThrows) {
    Sha1 sha;
    sha.update(Bytes("abc"), 3);
    uint8_t out[19];
    try {
        sha.final(out, 19);
        FAIL() << "no exception";
    } catch (const OVException& error) {
        EXPECT_STREQ(error.what(), "Too small output size for SHA1");
    }
}

TEST(Sha1Test, ResetRestartsTheHash) {
    Sha1 sha;
    sha.update(Bytes("something else"), 14);
    sha.reset();
    sha.update(Bytes("abc"), 3);
    EXPECT_EQ(Hex(Digest(sha)), "a9993e364706816aba3e25717850c26c9cd0d89d");
    // And after a final too.
    sha.reset();
    EXPECT_EQ(Hex(Digest(sha)), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
}

TEST(Sha1Test, NullDataWithLengthChangesNothing) {
    Sha1 sha;
    sha.update(Bytes("ab"), 2);
    sha.update(nullptr, 50);
    sha.update(Bytes("c"), 1);
    EXPECT_EQ(Hex(Digest(sha)), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST(Sha1Test, SizesAreSixtyFourByteBlocksAndTwentyByteDigest) {
    Sha1 sha;
    EXPECT_EQ(sha.getBlockSize(), 64);
    EXPECT_EQ(sha.getHashSize(), 20);
}

// ---- HMAC ----

struct HmacVector {
    ByteBuffer key;
    ByteBuffer data;
    std::string digest;
    size_t digestLength;
};

std::vector<HmacVector> Rfc2202Vectors() {
    ByteBuffer key4;
    for (uint8_t byte = 1; byte <= 25; ++byte)
        key4.push_back(byte);
    return {
        {ByteBuffer(20, 0x0B), ToBuffer("Hi There"), "b617318655057264e28bc0b6fb378c8ef146be00",
         20},
        {ToBuffer("Jefe"), ToBuffer("what do ya want for nothing?"),
         "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79", 20},
        {ByteBuffer(20, 0xAA), ByteBuffer(50, 0xDD), "125d7342b9ac11cd91a39af48aa17b4f63f175d3",
         20},
        {key4, ByteBuffer(50, 0xCD), "4c9007f4026250c6bc8414f9bf50c86c2d7235da", 20},
        // Truncated to 96 bits.
        {ByteBuffer(20, 0x0C), ToBuffer("Test With Truncation"), "4c1a03424b55e07fe7f27be1", 12},
        {ByteBuffer(80, 0xAA), ToBuffer("Test Using Larger Than Block-Size Key - Hash Key First"),
         "aa4ae5e15272d00e95705637ce8a3b55ed402112", 20},
        {ByteBuffer(80, 0xAA),
         ToBuffer("Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data"),
         "e8e99d0f45237d786d6bbaa7965c7808bbff1a91", 20},
    };
}

TEST(HmacTest, Rfc2202Sha1Vectors) {
    int number = 0;
    for (const auto& vector : Rfc2202Vectors()) {
        ++number;
        const ByteBuffer digest = HmacSha1(vector.key, vector.data);
        EXPECT_EQ(Hex(digest.data(), vector.digestLength), vector.digest) << "case " << number;
        EXPECT_EQ(digest, OracleHmacSha1(vector.key, vector.data)) << "case " << number;
    }
}

TEST(HmacTest, KeyOfOneBlockIsUsedUnhashedAndOneByteLongerIsHashed) {
    const ByteBuffer data = ToBuffer("message under a block-sized key");
    for (size_t keyLength : {size_t{64}, size_t{65}}) {
        const ByteBuffer key = RandomBytes(keyLength, 99);
        Sha1 keyHash;
        keyHash.update(key.data(), static_cast<int64_t>(key.size()));
        const ByteBuffer hashedKey = Digest(keyHash);

        const ByteBuffer withKey = HmacSha1(key, data);
        EXPECT_EQ(withKey, OracleHmacSha1(key, data)) << keyLength;
        if (keyLength == 64)
            EXPECT_NE(withKey, HmacSha1(hashedKey, data));
        else
            EXPECT_EQ(withKey, HmacSha1(hashedKey, data));
    }
}

TEST(HmacTest, ResetAllowsReuseWithTheSameKey) {
    const ByteBuffer key = ToBuffer("Jefe");
    HMAC hmac(std::make_unique<Sha1>(), key.data(), static_cast<int64_t>(key.size()));
    hmac.update(Bytes("something else entirely"), 23);
    hmac.reset();
    hmac.update(Bytes("what do ya want for nothing?"), 28);
    EXPECT_EQ(Hex(Digest(hmac)), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
    // final leaves the inner hash finished; reset makes the object ready again.
    hmac.reset();
    hmac.update(Bytes("what do ya want "), 16);
    hmac.update(Bytes("for nothing?"), 12);
    EXPECT_EQ(Hex(Digest(hmac)), "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79");
}

TEST(HmacTest, BorrowedHashIsUsedAndOutlivesTheHmac) {
    Sha1 sha;
    const ByteBuffer key(20, 0x0B);
    {
        HMAC hmac(sha, key.data(), static_cast<int64_t>(key.size()));
        hmac.update(Bytes("Hi There"), 8);
        EXPECT_EQ(Hex(Digest(hmac)), "b617318655057264e28bc0b6fb378c8ef146be00");
    }
    sha.reset();
    sha.update(Bytes("abc"), 3);
    EXPECT_EQ(Hex(Digest(sha)), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST(HmacTest, OwnedHashGivesTheSameAsBorrowed) {
    const ByteBuffer key = RandomBytes(33, 5);
    const ByteBuffer data = RandomBytes(1000, 6);
    Sha1 sha;
    HMAC borrowed(sha, key.data(), static_cast<int64_t>(key.size()));
    borrowed.update(data.data(), static_cast<int64_t>(data.size()));
    EXPECT_EQ(Digest(borrowed), HmacSha1(key, data));
    EXPECT_EQ(HmacSha1(key, data), OracleHmacSha1(key, data));
}

TEST(HmacTest, SizesForwardToTheInnerHash) {
    HMAC hmac(std::make_unique<Sha1>(), Bytes("k"), 1);
    EXPECT_EQ(hmac.getBlockSize(), 64);
    EXPECT_EQ(hmac.getHashSize(), 20);
}

TEST(HmacTest, FinalPassesOnWhatTheInnerHashRaises) {
    HMAC hmac(std::make_unique<Sha1>(), Bytes("k"), 1);
    uint8_t out[19];
    EXPECT_THROW(hmac.final(out, 19), OVException);
}

TEST(HmacTest, WorksOverAHashWhoseDigestIsLongerThanItsBlock) {
    // CRC-32 has one-byte blocks and four-byte digests: a long key keeps one byte of its CRC.
    HMAC hmac(std::make_unique<Crc32>(), Bytes("123456789"), 9);
    hmac.update(Bytes("x"), 1);
    uint8_t out[4];
    EXPECT_NO_THROW(hmac.final(out, 4));
    HMAC same(std::make_unique<Crc32>(), Bytes("\xCB"), 1);  // first byte of CRC("123456789")
    same.update(Bytes("x"), 1);
    uint8_t expected[4];
    same.final(expected, 4);
    EXPECT_EQ(Hex(out, 4), Hex(expected, 4));
}

// ---- Hash streams ----

TEST(HashInputStreamTest, BytesReadAreFedToTheHash) {
    const ByteBuffer data = RandomBytes(5000, 1);
    HashInputStream stream(std::make_unique<ScriptedInputStream>(data, 777),
                           std::make_unique<Crc32>());
    ByteBuffer got;
    uint8_t buffer[1000];
    int64_t count;
    while ((count = stream.read(buffer, sizeof buffer)) > 0)
        got.insert(got.end(), buffer, buffer + count);
    EXPECT_EQ(got, data);
    uint8_t digest[4];
    stream.getHash(digest, 4);
    const uint32_t expected = ZlibCrc(data.data(), data.size());
    EXPECT_EQ(CUtils::ReadBE32(digest), expected);
    EXPECT_EQ(static_cast<Crc32&>(stream.getHashObject()).result(), expected);
}

TEST(HashInputStreamTest, AtTheSourcesEndReturnsMinusOneAndFeedsNothing) {
    auto hash = std::make_unique<RecordingHash>();
    RecordingHash& recorder = *hash;
    HashInputStream stream(std::make_unique<MemoryInputStream>(ToBuffer("xy")), std::move(hash));
    uint8_t buffer[8];
    EXPECT_EQ(stream.read(buffer, 8), 2);
    EXPECT_EQ(recorder.updates, 1);
    EXPECT_EQ(stream.read(buffer, 8), -1);
    EXPECT_EQ(stream.read(buffer, 8), -1);
    EXPECT_EQ(recorder.updates, 1);
    EXPECT_EQ(recorder.fed, ToBuffer("xy"));
}

TEST(HashInputStreamTest, SkippedBytesAreHashed) {
    const ByteBuffer data = RandomBytes(200000, 2);
    HashInputStream stream(std::make_unique<MemoryInputStream>(data), std::make_unique<Crc32>());
    EXPECT_EQ(stream.skip(150000), 150000);
    uint8_t buffer[100000];
    EXPECT_EQ(stream.read(buffer, sizeof buffer), 50000);
    uint8_t digest[4];
    stream.getHash(digest, 4);
    EXPECT_EQ(CUtils::ReadBE32(digest), ZlibCrc(data.data(), data.size()));
}

TEST(HashInputStreamTest, ResetResetsTheHashAndTheSource) {
    auto source = std::make_unique<ScriptedInputStream>(ToBuffer("abcdef"), 0, true);
    ScriptedInputStream& scripted = *source;
    auto hash = std::make_unique<RecordingHash>();
    RecordingHash& recorder = *hash;
    HashInputStream stream(std::move(source), std::move(hash));
    uint8_t buffer[4];
    EXPECT_EQ(stream.read(buffer, 4), 4);
    stream.reset();
    EXPECT_EQ(recorder.resets, 1);
    EXPECT_EQ(scripted.resetCalls, 1);
    EXPECT_TRUE(recorder.fed.empty());
    EXPECT_EQ(stream.read(buffer, 2), 2);
    EXPECT_EQ(recorder.fed, ToBuffer("ab"));
}

TEST(HashOutputStreamTest, BytesWrittenAreFedAndPassedOn) {
    auto sink = std::make_unique<MemoryOutputStream>();
    const ByteBuffer& written = sink->getBytes();
    const ByteBuffer data = RandomBytes(3000, 3);
    HashOutputStream stream(std::move(sink), std::make_unique<Sha1>());
    stream.write(data.data(), 1000);
    stream.write(ByteBuffer(data.begin() + 1000, data.end()));
    EXPECT_EQ(written, data);
    ByteBuffer digest(20);
    stream.getHash(digest.data(), 20);
    Sha1 direct;
    direct.update(data.data(), static_cast<int64_t>(data.size()));
    EXPECT_EQ(digest, Digest(direct));
}

TEST(HashOutputStreamTest, HmacThroughTheStreamMatchesMbedTls) {
    const ByteBuffer key = RandomBytes(16, 4);
    const ByteBuffer data = RandomBytes(10000, 8);
    HashOutputStream stream(std::make_unique<MemoryOutputStream>(),
                            std::make_unique<HMAC>(std::make_unique<Sha1>(), key.data(),
                                                   static_cast<int64_t>(key.size())));
    stream.write(data);
    ByteBuffer digest(20);
    stream.getHash(digest.data(), 20);
    EXPECT_EQ(digest, OracleHmacSha1(key, data));
}

}  // namespace
