// ZipCryptoTest.cpp: key derivation and the PKWARE cipher, against published vectors, mbed TLS
// and archives encrypted by Info-ZIP zip.
#include "zip/ZipCrypto.h"

#include "ZipMemberTestSupport.h"
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "streams/MemoryStreams.h"

#include <gtest/gtest.h>
#include <mbedtls/md.h>
#include <mbedtls/pkcs5.h>
#include <string>
#include <vector>

namespace {

std::string Hex(const uint8_t* bytes, size_t length) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xF];
    }
    return text;
}

// PBKDF2-HMAC-SHA1 straight from mbed TLS, as the oracle.
std::vector<uint8_t> OraclePbkdf2(const std::string& password, const std::vector<uint8_t>& salt,
                                  unsigned iterations, uint32_t length) {
    std::vector<uint8_t> out(length);
    mbedtls_md_context_t context;
    mbedtls_md_init(&context);
    mbedtls_md_setup(&context, mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), 1);
    mbedtls_pkcs5_pbkdf2_hmac(&context, reinterpret_cast<const unsigned char*>(password.data()),
                              password.size(), salt.data(), salt.size(), iterations, length,
                              out.data());
    mbedtls_md_free(&context);
    return out;
}

std::vector<uint8_t> Encrypt(const std::string& password, const std::vector<uint8_t>& plain) {
    PkwareKeys keys(password);
    std::vector<uint8_t> cipher;
    for (uint8_t byte : plain)
        cipher.push_back(keys.encrypt(byte));
    return cipher;
}

}  // namespace

TEST(DeriveKey, MatchesThePublishedPbkdf2HmacSha1Vectors) {
    const uint8_t salt[] = {'s', 'a', 'l', 't'};
    uint8_t out[20];
    deriveKey(out, u"password", salt, 4, 1, 20);
    EXPECT_EQ(Hex(out, 20), "0c60c80f961f0e71f3a9b524af6012062fe037a6");
    deriveKey(out, u"password", salt, 4, 2, 20);
    EXPECT_EQ(Hex(out, 20), "ea6c014dc72d6f8ccd1ed92ace1d41f0d8de8957");
    deriveKey(out, u"password", salt, 4, 4096, 20);
    EXPECT_EQ(Hex(out, 20), "4b007901b765489abead49d926f721d065a429c1");
}

TEST(DeriveKey, GivesTheSixtySixBytesOfAnAesMemberFromTheUtf8Password) {
    const std::vector<uint8_t> salt = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    uint8_t out[kZipAesDerivedLength];
    deriveKey(out, u"\u017elu\u0165ou\u010dk\u00fd k\u016f\u0148", salt.data(), kZipAesSaltLength,
              kZipAesIterations, kZipAesDerivedLength);
    const std::vector<uint8_t> expected =
        OraclePbkdf2("\xc5\xbelu\xc5\xa5ou\xc4\x8dk\xc3\xbd k\xc5\xaf\xc5\x88", salt, 1000, 66);
    EXPECT_EQ(std::vector<uint8_t>(out, out + kZipAesDerivedLength), expected);
}

TEST(DeriveKey, DifferentSaltsGiveDifferentKeys) {
    const uint8_t saltA[16] = {0};
    const uint8_t saltB[16] = {1};
    uint8_t a[kZipAesDerivedLength];
    uint8_t b[kZipAesDerivedLength];
    deriveKey(a, u"secret", saltA, 16, kZipAesIterations, kZipAesDerivedLength);
    deriveKey(b, u"secret", saltB, 16, kZipAesIterations, kZipAesDerivedLength);
    EXPECT_NE(std::vector<uint8_t>(a, a + 66), std::vector<uint8_t>(b, b + 66));
}

TEST(PkwareKeys, EncryptionThenDecryptionGivesThePlainBytesBack) {
    std::vector<uint8_t> plain;
    for (int i = 0; i < 1000; ++i)
        plain.push_back(static_cast<uint8_t>(i * 7));
    const std::vector<uint8_t> cipher = Encrypt("pw", plain);
    EXPECT_NE(cipher, plain);
    PkwareKeys keys("pw");
    std::vector<uint8_t> back;
    for (uint8_t byte : cipher)
        back.push_back(keys.decrypt(byte));
    EXPECT_EQ(back, plain);
}

TEST(PkwareKeys, TheKeyStreamDependsOnThePassword) {
    const std::vector<uint8_t> zeros(32, 0);
    EXPECT_NE(Encrypt("pw", zeros), Encrypt("pX", zeros));
    EXPECT_NE(Encrypt("", zeros), Encrypt("pw", zeros));
}

TEST(PkwareKeys, TheFirstKeyStreamByteOfAnEmptyPasswordIsTheApplicationNotesValue) {
    // key2 starts at 0x34567890, so the first byte is (0x7892 * 0x7893) >> 8 = 0x38C9AB, low byte.
    PkwareKeys keys("");
    EXPECT_EQ(keys.encrypt(0), 0xAB);
}

TEST(PkwareKeys, DecryptsTheHeaderAndDataOfAnInfoZipEncryptedMember) {
    const ByteBuffer sample = zipmembertest::Sample(4000);
    const std::string content(sample.begin(), sample.end());
    const std::string archive = ziptest::Fixture("infozip-pkware-stored.zip");
    ASSERT_GT(archive.size(), 30u);
    const auto* bytes = reinterpret_cast<const uint8_t*>(archive.data());
    const uint16_t flags = CUtils::ReadLE16(bytes + 6);
    ASSERT_EQ(flags & 1, 1);
    const uint16_t time = CUtils::ReadLE16(bytes + 10);
    const uint32_t crc = CUtils::ReadLE32(bytes + 14);
    const size_t data = 30u + CUtils::ReadLE16(bytes + 26) + CUtils::ReadLE16(bytes + 28);
    ASSERT_GE(archive.size(), data + 12 + content.size());

    PkwareKeys keys("secret");
    uint8_t header[12];
    for (int i = 0; i < 12; ++i)
        header[i] = keys.decrypt(bytes[data + i]);
    const uint8_t check =
        (flags & 8) != 0 ? static_cast<uint8_t>(time >> 8) : static_cast<uint8_t>(crc >> 24);
    EXPECT_EQ(header[11], check);
    std::string plain;
    for (size_t i = 0; i < content.size(); ++i)
        plain += static_cast<char>(keys.decrypt(bytes[data + 12 + i]));
    EXPECT_EQ(plain, content);
}

TEST(PkwareDecryptingInputStream, DecryptsWhatTheKeysEncryptedFromTheUtf8Password) {
    std::vector<uint8_t> plain(3000);
    for (size_t i = 0; i < plain.size(); ++i)
        plain[i] = static_cast<uint8_t>(i % 251);
    const std::vector<uint8_t> cipher = Encrypt("\xc5\xa1pw", plain);
    PkwareDecryptingInputStream stream(std::make_unique<MemoryInputStream>(cipher), u"\u0161pw");
    std::vector<uint8_t> back(plain.size() + 10);
    int64_t total = 0;
    // Odd chunk sizes: the keys run on across reads.
    while (true) {
        const int64_t got = stream.read(back.data() + total, 77);
        if (got < 0)
            break;
        total += got;
    }
    back.resize(static_cast<size_t>(total));
    EXPECT_EQ(back, plain);
}

TEST(PkwareDecryptingInputStream, ResetStartsTheKeysOverFromThePassword) {
    const std::vector<uint8_t> plain = {'a', 'b', 'c', 'd', 'e', 'f'};
    PkwareDecryptingInputStream stream(std::make_unique<MemoryInputStream>(Encrypt("k", plain)),
                                       u"k");
    uint8_t first[6];
    ASSERT_EQ(stream.read(first, 6), 6);
    stream.reset();
    uint8_t again[6];
    ASSERT_EQ(stream.read(again, 6), 6);
    EXPECT_EQ(std::vector<uint8_t>(again, again + 6), plain);
}

TEST(PkwareDecryptingInputStream, PassesTheEndOfItsSourceOn) {
    PkwareDecryptingInputStream stream(std::make_unique<MemoryInputStream>(ByteBuffer{}), u"k");
    uint8_t byte;
    EXPECT_EQ(stream.read(&byte, 1), -1);
}
