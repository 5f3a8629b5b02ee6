// ZipMemberTest.cpp: member readers and writers: plain, AES and PKWARE chains, their checks at the
// end of the data, the password loop, and openMember over archives made by zip and 7z.
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "streams/Transformation.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <mbedtls/aes.h>
#include <mbedtls/md.h>
#include <mbedtls/pkcs5.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

// Answers every request with the next of its passwords (the last one repeated) and `status`.
class TestProvider : public MZipDataSecurityProvider {
public:
    TestProvider(std::vector<WString> answers, int32_t status)
        : answers(std::move(answers)), status(status) {}

    int32_t getPassword(ZipFile&, const WString& memberName, uint32_t index, bool,
                        WString& password) override {
        password = answers[std::min(calls, answers.size() - 1)];
        ++calls;
        names.push_back(memberName);
        indices.push_back(index);
        return status;
    }
    void confirmPassword(ZipFile&, const WString&, const WString& password) override {
        confirmed.push_back(password);
    }
    void fillSalt(ZipFile&, ByteBuffer& buffer) override {
        for (size_t i = 0; i < buffer.size(); ++i)
            buffer[i] = static_cast<uint8_t>(0xA0 + i);
    }

    std::vector<WString> answers;
    int32_t status;
    size_t calls = 0;
    std::vector<WString> names;
    std::vector<uint32_t> indices;
    std::vector<WString> confirmed;
};

ByteBuffer EmptyArchive() {
    ByteBuffer bytes(22, 0);
    CUtils::WriteLE32(bytes.data(), 0x06054B50u);
    return bytes;
}

// A provider and an empty in-memory archive for the reader's descriptor.
struct Harness {
    explicit Harness(std::vector<WString> answers = {u"secret"},
                     int32_t status = MZipDataSecurityProvider::kPasswordOnce)
        : provider(std::move(answers), status),
          zip(std::make_unique<MemoryInputStream>(EmptyArchive()), &provider) {}

    TestProvider provider;
    ZipFile zip;
};

ByteBuffer Bytes(const std::string& text) { return ByteBuffer(text.begin(), text.end()); }

ByteBuffer Sample(size_t length) {
    ByteBuffer bytes(length);
    for (size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<uint8_t>("the quick brown fox "[i % 20] + (i / 997) % 3);
    return bytes;
}

uint32_t CrcOf(const ByteBuffer& bytes) {
    Crc32 crc;
    crc.update(bytes.data(), static_cast<int64_t>(bytes.size()));
    return crc.result();
}

ByteBuffer Deflate(const ByteBuffer& plain) {
    auto sink = std::make_unique<MemoryOutputStream>();
    MemoryOutputStream* collected = sink.get();
    TransformationOutputStream deflating(std::move(sink),
                                         std::make_unique<ZlibTransformation>(true, true));
    deflating.write(plain);
    deflating.flush();
    return collected->getBytes();
}

// The AES member layout built with mbed TLS alone: salt, check, counter-mode data, HMAC code.
ByteBuffer OracleAesMember(const ByteBuffer& data, const std::string& password,
                           const ByteBuffer& salt) {
    uint8_t derived[66];
    mbedtls_md_context_t md;
    mbedtls_md_init(&md);
    mbedtls_md_setup(&md, mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), 1);
    mbedtls_pkcs5_pbkdf2_hmac(&md, reinterpret_cast<const unsigned char*>(password.data()),
                              password.size(), salt.data(), salt.size(), 1000, 66, derived);
    mbedtls_md_free(&md);

    ByteBuffer cipher(data.size());
    mbedtls_aes_context aes;
    mbedtls_aes_init(&aes);
    mbedtls_aes_setkey_enc(&aes, derived, 256);
    uint8_t counter[16] = {};
    uint8_t stream[16];
    for (size_t at = 0; at < data.size(); at += 16) {
        for (uint8_t& byte : counter)
            if (++byte != 0)
                break;
        mbedtls_aes_crypt_ecb(&aes, MBEDTLS_AES_ENCRYPT, counter, stream);
        for (size_t i = at; i < std::min(data.size(), at + 16); ++i)
            cipher[i] = data[i] ^ stream[i - at];
    }
    mbedtls_aes_free(&aes);

    uint8_t code[20];
    mbedtls_md_hmac(mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), derived + 32, 32, cipher.data(),
                    cipher.size(), code);
    ByteBuffer member(salt.begin(), salt.end());
    member.insert(member.end(), derived + 64, derived + 66);
    member.insert(member.end(), cipher.begin(), cipher.end());
    member.insert(member.end(), code, code + 10);
    return member;
}

ByteBuffer DefaultSalt() {
    ByteBuffer salt(16);
    for (size_t i = 0; i < salt.size(); ++i)
        salt[i] = static_cast<uint8_t>(3 * i + 1);
    return salt;
}

// A PKWARE member: a 12-byte header ending in `check`, then the data, all encrypted.
ByteBuffer PkwareMember(const ByteBuffer& data, const std::string& password, uint8_t check) {
    ByteBuffer plain = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0x55, check};
    plain.insert(plain.end(), data.begin(), data.end());
    PkwareKeys keys(password);
    for (uint8_t& byte : plain)
        byte = keys.encrypt(byte);
    return plain;
}

struct MemberSpec {
    int32_t kind = 0;
    uint16_t method = 0;
    uint64_t uncompressedSize = 0;
    bool hasCrc = false;
    uint32_t crc = 0;
    uint8_t pkwareCheck = 0;
};

std::unique_ptr<ZipFileMemberDataInputStream> Reader(ZipFile* zip, const ByteBuffer& data,
                                                     const MemberSpec& spec) {
    ZipMemberDescriptor descriptor;
    descriptor.zip = zip;
    descriptor.index = 0;
    descriptor.compressedSize = data.size();
    descriptor.uncompressedSize = spec.uncompressedSize;
    descriptor.method = spec.method;
    auto window = std::make_unique<PartialInputStream>(std::make_unique<MemoryInputStream>(data),
                                                       static_cast<int64_t>(data.size()), 0);
    return std::make_unique<ZipFileMemberDataInputStream>(std::move(window), descriptor, spec.kind,
                                                          spec.hasCrc, spec.crc, spec.pkwareCheck);
}

ByteBuffer ReadAll(InputStream& stream, int64_t chunk = 4096) {
    ByteBuffer all;
    ByteBuffer buffer(static_cast<size_t>(chunk));
    for (;;) {
        const int64_t got = stream.read(buffer.data(), chunk);
        if (got < 0)
            break;
        all.insert(all.end(), buffer.begin(), buffer.begin() + got);
    }
    return all;
}

// Runs `action` and gives the OVException it threw; fails the test when nothing was thrown.
template <typename Action> OVException Thrown(Action action) {
    try {
        action();
    } catch (const OVException& e) {
        return e;
    }
    ADD_FAILURE() << "no OVException";
    return OVException(0, "nothing thrown");
}

}  // namespace

// --- reader over plain members -----------------------------------------------------------------

TEST(ZipMemberReader, StoredPlainMemberGivesItsBytes) {
    const ByteBuffer plain = Sample(5000);
    auto reader = Reader(nullptr, plain, {0, 0, plain.size()});
    EXPECT_EQ(ReadAll(*reader, 333), plain);
}

TEST(ZipMemberReader, StoredAndDeflatedMembersReadTheSameThroughTheSameChain) {
    Harness harness;
    const ByteBuffer plain = Sample(70000);
    const ByteBuffer deflated = Deflate(plain);
    ASSERT_LT(deflated.size(), plain.size());
    const uint32_t crc = CrcOf(plain);
    for (int32_t kind : {0, 4}) {
        ByteBuffer stored = plain;
        ByteBuffer packed = deflated;
        if (kind == 4) {
            stored = OracleAesMember(plain, "secret", DefaultSalt());
            packed = OracleAesMember(deflated, "secret", DefaultSalt());
        }
        auto a = Reader(&harness.zip, stored, {kind, 0, plain.size(), true, crc});
        auto b = Reader(&harness.zip, packed, {kind, 8, plain.size(), true, crc});
        EXPECT_EQ(ReadAll(*a, 1000), plain) << "kind " << kind;
        EXPECT_EQ(ReadAll(*b, 777), plain) << "kind " << kind;
    }
}

TEST(ZipMemberReader, MissingSourceThrowsSourceStreamIsRequied) {
    ZipMemberDescriptor descriptor;
    const OVException e =
        Thrown([&] { ZipFileMemberDataInputStream(nullptr, descriptor, 0, false, 0, 0); });
    EXPECT_STREQ(e.what(), "Source stream is requied");
}

TEST(ZipMemberReader, UnknownOrStrongKindThrowsUnsupportedEncryptionAlgorithm) {
    Harness harness;
    for (int32_t kind : {5, 6, -1}) {
        const OVException e = Thrown([&] { Reader(&harness.zip, Sample(100), {kind, 0, 100}); });
        EXPECT_STREQ(e.what(), "Unsupported encryption algorithm");
    }
}

TEST(ZipMemberReader, UnknownMethodThrowsUnsupportedCompressionAlgorithm) {
    const OVException e = Thrown([&] { Reader(nullptr, Sample(100), {0, 12, 100}); });
    EXPECT_EQ(e.GetCode(), kZipUnsupportedCompression);
    EXPECT_STREQ(e.what(), "Unsupported compression algorithm");
}

TEST(ZipMemberReader, AZeroSizeMemberVerifiesAtOnceOnTheFirstRead) {
    Harness harness;
    // An AES member with no data whose code is wrong fails on the very first read.
    ByteBuffer member = OracleAesMember({}, "secret", DefaultSalt());
    member.back() ^= 1;
    auto aes = Reader(&harness.zip, member, {4, 0, 0});
    uint8_t byte;
    const OVException e = Thrown([&] { aes->read(&byte, 1); });
    EXPECT_EQ(e.GetCode(), kZipAuthenticationFailed);

    // A PKWARE member is confirmed by that first read, which also reports the end.
    Harness other;
    auto pkware = Reader(&other.zip, PkwareMember({}, "secret", 0x42), {1, 0, 0, false, 0, 0x42});
    EXPECT_TRUE(other.provider.confirmed.empty());
    EXPECT_EQ(pkware->read(&byte, 1), -1);
    EXPECT_EQ(other.provider.confirmed.size(), 1u);
}

TEST(ZipMemberReader, MoreDataThanDeclaredThrowsAlreadyVerifiedWithTheLastDeclaredBytes) {
    const ByteBuffer plain = Sample(100);
    auto reader = Reader(nullptr, plain, {0, 0, 60});
    uint8_t buffer[50];
    EXPECT_EQ(reader->read(buffer, 50), 50);
    const OVException e = Thrown([&] { reader->read(buffer, 50); });
    EXPECT_EQ(e.GetCode(), kZipVerificationFailed);
    EXPECT_STREQ(e.what(), "Already verified and some data available");
}

// Reads `reader` with `chunk`-byte reads until it ends or throws; gives the bytes delivered and
// the exception, if any.
std::pair<uint64_t, std::optional<OVException>> Drain(InputStream& reader, int64_t chunk) {
    ByteBuffer buffer(static_cast<size_t>(chunk));
    uint64_t delivered = 0;
    try {
        for (int64_t got; (got = reader.read(buffer.data(), chunk)) >= 0;)
            delivered += static_cast<uint64_t>(got);
    } catch (const OVException& e) {
        return {delivered, e};
    }
    return {delivered, std::nullopt};
}

TEST(ZipMemberReader, AMemberThatInflatesPastItsDeclaredSizeIsStoppedThereWithAnError) {
    // 16 MB of zeros in about 16 KB, declared as 1,000 bytes: not a byte more may come out.
    const ByteBuffer bomb = Deflate(ByteBuffer(16 << 20, 0));
    auto reader = Reader(nullptr, bomb, {0, 8, 1000});
    const auto [delivered, failure] = Drain(*reader, 1 << 16);
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->GetCode(), kZipVerificationFailed);
    EXPECT_LE(delivered, 1000u);
}

TEST(ZipMemberReader, AnAesMemberLongerThanDeclaredIsStoppedAtItsSizeAndRefused) {
    // The authentication code covers every encrypted byte, so it passes; the size alone tells.
    Harness harness;
    const ByteBuffer plain = Sample(5000);
    auto reader =
        Reader(&harness.zip, OracleAesMember(plain, "secret", DefaultSalt()), {4, 0, 3000});
    const auto [delivered, failure] = Drain(*reader, 4096);
    ASSERT_TRUE(failure.has_value());
    EXPECT_STREQ(failure->what(), "Already verified and some data available");
    EXPECT_LE(delivered, 3000u);
}

TEST(ZipMemberReader, ShorterDataThanDeclaredEndsWithoutCheckForAPlainMember) {
    const ByteBuffer plain = Sample(100);
    auto reader = Reader(nullptr, plain, {0, 0, 500});
    EXPECT_EQ(ReadAll(*reader), plain);
}

TEST(ZipMemberReader, CorruptingAPlainDeflatedMemberFailsInInflateOrNotAtAllNeverByCrc) {
    const ByteBuffer plain = Sample(3000);
    const ByteBuffer deflated = Deflate(plain);
    // Built as openMember builds a plain member's reader: no CRC expected, though the member's
    // CRC is at hand. What inflate lets pass must then come out unnoticed.
    int failures = 0;
    int unnoticed = 0;
    for (size_t at = 0; at < deflated.size(); at += 7) {
        ByteBuffer broken = deflated;
        broken[at] ^= 0x5A;
        try {
            auto reader = Reader(nullptr, broken, {0, 8, plain.size(), false, CrcOf(plain)});
            if (ReadAll(*reader, 512) != plain)
                ++unnoticed;
        } catch (const OVException& e) {
            // Damage may make inflate give more than declared, which the size check catches.
            ++failures;
            EXPECT_STRNE(e.what(), "Verification failed");
        }
    }
    EXPECT_GT(failures, 0);
    EXPECT_GT(unnoticed, 0);
}

TEST(ZipMemberReader, ResetReadsAStoredPlainMemberAgain) {
    const ByteBuffer plain = Sample(300);
    auto reader = Reader(nullptr, plain, {0, 0, plain.size()});
    EXPECT_EQ(ReadAll(*reader), plain);
    reader->reset();
    EXPECT_EQ(ReadAll(*reader), plain);
}

TEST(ZipMemberReader, ResetBehindInflateThrowsTheRootMessage) {
    const ByteBuffer plain = Sample(300);
    auto reader = Reader(nullptr, Deflate(plain), {0, 8, plain.size()});
    const OVException e = Thrown([&] { reader->reset(); });
    EXPECT_STREQ(e.what(), "Reset is not implemented by the subclass of InputStream");
}

// --- AES ---------------------------------------------------------------------------------------

TEST(ZipMemberReader, AesMemberDecryptsWithTheProvidersPasswordAndConfirmsIt) {
    Harness harness;
    const ByteBuffer plain = Sample(1001);
    auto reader =
        Reader(&harness.zip, OracleAesMember(plain, "secret", DefaultSalt()), {2, 0, plain.size()});
    EXPECT_EQ(harness.provider.calls, 1u);
    ASSERT_EQ(harness.provider.confirmed.size(), 1u);
    EXPECT_EQ(harness.provider.confirmed[0], u"secret");
    EXPECT_EQ(ReadAll(*reader, 100), plain);
}

TEST(ZipMemberReader, EveryAesStrengthRunsWithTheSameTwoHundredFiftySixBitParameters) {
    Harness harness;
    const ByteBuffer plain = Sample(64);
    for (int32_t kind : {2, 3, 4}) {
        auto reader = Reader(&harness.zip, OracleAesMember(plain, "secret", DefaultSalt()),
                             {kind, 0, plain.size()});
        EXPECT_EQ(ReadAll(*reader), plain) << "kind " << kind;
    }
}

TEST(ZipMemberReader, CorruptingOneByteOfAnAesMemberFailsAuthenticationOnTheLastReadAfterData) {
    Harness harness;
    const ByteBuffer plain = Sample(4000);
    ByteBuffer member = OracleAesMember(plain, "secret", DefaultSalt());
    member[18 + 2500] ^= 0x01;
    auto reader = Reader(&harness.zip, member, {4, 0, plain.size()});
    ByteBuffer buffer(1000);
    ByteBuffer delivered;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(reader->read(buffer.data(), 1000), 1000);
        delivered.insert(delivered.end(), buffer.begin(), buffer.end());
    }
    EXPECT_EQ(ByteBuffer(delivered.begin(), delivered.begin() + 2500),
              ByteBuffer(plain.begin(), plain.begin() + 2500));
    const OVException e = Thrown([&] { reader->read(buffer.data(), 1000); });
    EXPECT_EQ(e.GetCode(), kZipAuthenticationFailed);
    EXPECT_STREQ(e.what(), "Authentication failed");
}

TEST(ZipMemberReader, CorruptingTheCodeOfAnAesMemberFailsAuthentication) {
    Harness harness;
    const ByteBuffer plain = Sample(100);
    ByteBuffer member = OracleAesMember(plain, "secret", DefaultSalt());
    member[member.size() - 10] ^= 0x80;
    auto reader = Reader(&harness.zip, member, {4, 0, plain.size()});
    const OVException e = Thrown([&] { ReadAll(*reader); });
    EXPECT_EQ(e.GetCode(), kZipAuthenticationFailed);
}

TEST(ZipMemberReader, AnAesMemberWithoutCrcHasOnlyItsCodeChecked) {
    Harness harness;
    const ByteBuffer plain = Sample(500);
    const ByteBuffer member = OracleAesMember(plain, "secret", DefaultSalt());
    auto unchecked = Reader(&harness.zip, member, {4, 0, plain.size(), false, 0xDEADBEEF});
    EXPECT_EQ(ReadAll(*unchecked), plain);
    // The same member with the same wrong CRC expected fails once the CRC is checked.
    auto checked = Reader(&harness.zip, member, {4, 0, plain.size(), true, 0xDEADBEEF});
    const OVException e = Thrown([&] { ReadAll(*checked); });
    EXPECT_EQ(e.GetCode(), kZipVerificationFailed);
    EXPECT_STREQ(e.what(), "Verification failed");
}

TEST(ZipMemberReader, AWrongPasswordThatPassesTheTwoByteCheckFailsAuthenticationAtTheEnd) {
    // A one-in-65,536 coincidence, made certain: the member's check is the wrong password's.
    Harness harness({u"wrong"}, MZipDataSecurityProvider::kPasswordOnce);
    const ByteBuffer plain = Sample(300);
    ByteBuffer member = OracleAesMember(plain, "secret", DefaultSalt());
    const ByteBuffer wrong = OracleAesMember({}, "wrong", DefaultSalt());
    member[16] = wrong[16];
    member[17] = wrong[17];
    auto reader = Reader(&harness.zip, member, {4, 0, plain.size()});
    ByteBuffer buffer(100);
    EXPECT_EQ(reader->read(buffer.data(), 100), 100);
    const OVException e = Thrown([&] { ReadAll(*reader); });
    EXPECT_EQ(e.GetCode(), kZipAuthenticationFailed);
}

TEST(ZipMemberReader, StatusOneWithAWrongPasswordThrowsInvalidPasswordAtOnce) {
    Harness harness({u"wrong", u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
    const OVException e = Thrown([&] {
        Reader(&harness.zip, OracleAesMember(Sample(10), "secret", DefaultSalt()), {4, 0, 10});
    });
    EXPECT_EQ(e.GetCode(), kZipInvalidPassword);
    EXPECT_STREQ(e.what(), "Invalid password");
    EXPECT_EQ(harness.provider.calls, 1u);
    EXPECT_TRUE(harness.provider.confirmed.empty());
}

TEST(ZipMemberReader, StatusTwoAsksAgainAndTakesALaterRightPassword) {
    Harness harness({u"wrong", u"secret"}, MZipDataSecurityProvider::kPasswordAskAgain);
    const ByteBuffer plain = Sample(10);
    auto reader = Reader(&harness.zip, OracleAesMember(plain, "secret", DefaultSalt()), {4, 0, 10});
    EXPECT_EQ(harness.provider.calls, 2u);
    EXPECT_EQ(ReadAll(*reader), plain);
}

TEST(ZipMemberReader, StatusTwoWithAWrongPasswordGivesUpAfterTheAttemptLimit) {
    Harness harness({u"wrong"}, MZipDataSecurityProvider::kPasswordAskAgain);
    const OVException e = Thrown([&] {
        Reader(&harness.zip, OracleAesMember(Sample(10), "secret", DefaultSalt()), {4, 0, 10});
    });
    EXPECT_EQ(e.GetCode(), kZipInvalidPassword);
    EXPECT_EQ(harness.provider.calls, static_cast<size_t>(kZipPasswordAttempts));
}

TEST(ZipMemberReader, StatusZeroThrowsPasswordNotSupplied) {
    Harness harness({u"secret"}, MZipDataSecurityProvider::kPasswordNone);
    const OVException e = Thrown([&] {
        Reader(&harness.zip, OracleAesMember(Sample(10), "secret", DefaultSalt()), {4, 0, 10});
    });
    EXPECT_EQ(e.GetCode(), kZipPasswordNotSupplied);
    EXPECT_STREQ(e.what(), "Password not supplied");
}

TEST(ZipMemberReader, StatusThreeThrowsPasswordIsTooLong) {
    Harness harness({u"secret"}, MZipDataSecurityProvider::kPasswordTooLong);
    const OVException e = Thrown([&] {
        Reader(&harness.zip, PkwareMember(Sample(10), "secret", 1), {1, 0, 10, false, 0, 1});
    });
    EXPECT_EQ(e.GetCode(), kZipPasswordTooLong);
    EXPECT_STREQ(e.what(), "Password is too long");
}

TEST(ZipMemberReader, AnAesHeaderCutShortThrowsFailedToReadAesEncryptionHeaders) {
    Harness harness;
    for (size_t length : {0u, 10u, 17u}) {
        const OVException e = Thrown([&] {
            Reader(&harness.zip, ByteBuffer(length, 1), {4, 0, 10});
        });
        EXPECT_STREQ(e.what(), "Failed to read AES encryption headers");
    }
}

TEST(ZipMemberReader, AnAesMemberShorterThanItsFramingThrowsAndNeverCrashes) {
    const ByteBuffer full = OracleAesMember(Sample(5), "secret", DefaultSalt());
    for (size_t length = 18; length < 28; ++length) {
        Harness harness;
        const ByteBuffer cut(full.begin(), full.begin() + static_cast<long>(length));
        const OVException e = Thrown([&] {
            auto reader = Reader(&harness.zip, cut, {4, 0, 5});
            ReadAll(*reader);
        });
        EXPECT_NE(std::string(e.what()), "") << length;
    }
}

// --- PKWARE ------------------------------------------------------------------------------------

TEST(ZipMemberReader, PkwareMemberDecryptsAndIsConfirmedOnlyAfterVerification) {
    Harness harness;
    const ByteBuffer plain = Sample(2000);
    const uint32_t crc = CrcOf(plain);
    auto reader = Reader(&harness.zip, PkwareMember(plain, "secret", crc >> 24),
                         {1, 0, plain.size(), true, crc, static_cast<uint8_t>(crc >> 24)});
    EXPECT_TRUE(harness.provider.confirmed.empty());
    EXPECT_EQ(ReadAll(*reader, 300), plain);
    ASSERT_EQ(harness.provider.confirmed.size(), 1u);
    EXPECT_EQ(harness.provider.confirmed[0], u"secret");
}

TEST(ZipMemberReader, PkwareMemberWithAnEmptyPasswordIsConfirmedAfterVerificationToo) {
    Harness harness({u""});
    const ByteBuffer plain = Sample(20);
    auto reader = Reader(&harness.zip, PkwareMember(plain, "", 0x17), {1, 0, 20, false, 0, 0x17});
    EXPECT_EQ(ReadAll(*reader), plain);
    ASSERT_EQ(harness.provider.confirmed.size(), 1u);
    EXPECT_EQ(harness.provider.confirmed[0], u"");
}

TEST(ZipMemberReader, DeflatedPkwareMemberInflatesBehindTheDecryption) {
    Harness harness;
    const ByteBuffer plain = Sample(9000);
    const uint32_t crc = CrcOf(plain);
    auto reader = Reader(&harness.zip, PkwareMember(Deflate(plain), "secret", 0x17),
                         {1, 8, plain.size(), true, crc, 0x17});
    EXPECT_EQ(ReadAll(*reader, 1000), plain);
}

TEST(ZipMemberReader, PkwareMemberWithAWrongCrcThrowsVerificationFailed) {
    Harness harness;
    const ByteBuffer plain = Sample(200);
    auto reader = Reader(&harness.zip, PkwareMember(plain, "secret", 0x17),
                         {1, 0, plain.size(), true, CrcOf(plain) ^ 1, 0x17});
    const OVException e = Thrown([&] { ReadAll(*reader); });
    EXPECT_EQ(e.GetCode(), kZipVerificationFailed);
    EXPECT_TRUE(harness.provider.confirmed.empty());
}

TEST(ZipMemberReader, PkwareHeaderCheckMismatchWithStatusOneThrowsInvalidPassword) {
    Harness harness({u"wrong"}, MZipDataSecurityProvider::kPasswordOnce);
    const OVException e = Thrown([&] {
        Reader(&harness.zip, PkwareMember(Sample(10), "secret", 0x17), {1, 0, 10, false, 0, 0x17});
    });
    EXPECT_EQ(e.GetCode(), kZipInvalidPassword);
    EXPECT_EQ(harness.provider.calls, 1u);
}

TEST(ZipMemberReader, PkwareHeaderCheckMismatchWithStatusTwoAsksAgain) {
    Harness harness({u"wrong", u"also wrong", u"secret"},
                    MZipDataSecurityProvider::kPasswordAskAgain);
    const ByteBuffer plain = Sample(10);
    auto reader =
        Reader(&harness.zip, PkwareMember(plain, "secret", 0x17), {1, 0, 10, false, 0, 0x17});
    EXPECT_EQ(harness.provider.calls, 3u);
    EXPECT_EQ(ReadAll(*reader), plain);
}

TEST(ZipMemberReader, PkwarePasswordIsTheUtf8OfTheWidePassword) {
    Harness harness({u"\u0161ifra"});
    const ByteBuffer plain = Sample(10);
    auto reader =
        Reader(&harness.zip, PkwareMember(plain, "\xc5\xa1ifra", 0x17), {1, 0, 10, false, 0, 0x17});
    EXPECT_EQ(ReadAll(*reader), plain);
}

TEST(ZipMemberReader, APkwareHeaderCutShortThrowsFailedToReadPkwareEncryptionHeader) {
    Harness harness;
    const OVException e = Thrown([&] { Reader(&harness.zip, ByteBuffer(11, 1), {1, 0, 0}); });
    EXPECT_STREQ(e.what(), "Failed to read PKWARE encryption header");
}

TEST(ZipMemberReader, ResetReadsAStoredPkwareMemberAgain) {
    Harness harness;
    const ByteBuffer plain = Sample(100);
    auto reader = Reader(&harness.zip, PkwareMember(plain, "secret", 0x17),
                         {1, 0, plain.size(), true, CrcOf(plain), 0x17});
    EXPECT_EQ(ReadAll(*reader, 30), plain);
    reader->reset();
    EXPECT_EQ(ReadAll(*reader, 30), plain);
}

// --- writer ------------------------------------------------------------------------------------

TEST(ZipMemberWriter, AMissingSinkThrowsOutputStreamMustBeSet) {
    const OVException e =
        Thrown([&] { ZipFileMemberDataOutputStream(nullptr, ZipMemberDescriptor{}, 0, {}); });
    EXPECT_STREQ(e.what(), "Output stream must be set");
}

TEST(ZipMemberWriter, StrongOrUnknownKindThrowsUnsupportedEncryption) {
    for (int32_t kind : {5, 9}) {
        MemoryOutputStream memory;
        CountingOutputStream sink(memory);
        const OVException e =
            Thrown([&] { ZipFileMemberDataOutputStream(&sink, ZipMemberDescriptor{}, kind, {}); });
        EXPECT_STREQ(e.what(), "Unsupported encryption");
    }
}

TEST(ZipMemberWriter, AnUnknownMethodThrowsNotSupportedCompression) {
    MemoryOutputStream memory;
    CountingOutputStream sink(memory);
    ZipMemberDescriptor descriptor;
    descriptor.method = 14;
    const OVException e = Thrown([&] { ZipFileMemberDataOutputStream(&sink, descriptor, 0, {}); });
    EXPECT_STREQ(e.what(), "Not supported compression");
}

TEST(ZipMemberWriter, PlainWriterPutsTheHeaderFirstAndCountsOnlyTheData) {
    MemoryOutputStream memory;
    CountingOutputStream sink(memory);
    const uint8_t before[] = {1, 2, 3};
    sink.write(before, 3);
    const ByteBuffer header = Bytes("HEADER");
    const ByteBuffer plain = Sample(1234);
    ZipFileMemberDataOutputStream writer(&sink, ZipMemberDescriptor{}, 0, header);
    writer.write(plain);
    EXPECT_EQ(writer.finish(), plain.size());
    EXPECT_EQ(writer.getCrc(), CrcOf(plain));
    ByteBuffer expected = {1, 2, 3};
    expected.insert(expected.end(), header.begin(), header.end());
    expected.insert(expected.end(), plain.begin(), plain.end());
    EXPECT_EQ(memory.getBytes(), expected);
}

TEST(ZipMemberWriter, DeflatingWriterOutputReadsBackThroughThePlainReader) {
    MemoryOutputStream memory;
    CountingOutputStream sink(memory);
    ZipMemberDescriptor descriptor;
    descriptor.method = 8;
    const ByteBuffer plain = Sample(50000);
    uint64_t written = 0;
    {
        ZipFileMemberDataOutputStream writer(&sink, descriptor, 0, {});
        writer.write(plain);
        written = writer.finish();
    }
    EXPECT_EQ(written, memory.getBytes().size());
    EXPECT_LT(written, plain.size());
    auto reader = Reader(nullptr, memory.getBytes(), {0, 8, plain.size()});
    EXPECT_EQ(ReadAll(*reader), plain);
}

TEST(ZipMemberWriter, AesWriterGivesTheMemberLayoutWithTheProvidersSaltAndCode) {
    Harness harness;
    MemoryOutputStream memory;
    CountingOutputStream sink(memory);
    const ByteBuffer header = Bytes("LOCAL");
    const ByteBuffer plain = Sample(777);
    uint64_t written = 0;
    {
        ZipFileMemberDataOutputStream writer(&sink, ZipMemberDescriptor{&harness.zip, 0, 0, 0, 0},
                                             4, header);
        writer.write(plain);
        written = writer.finish();
    }
    ByteBuffer salt(16);
    harness.provider.fillSalt(harness.zip, salt);
    ByteBuffer expected = header;
    const ByteBuffer member = OracleAesMember(plain, "secret", salt);
    expected.insert(expected.end(), member.begin(), member.end());
    EXPECT_EQ(memory.getBytes(), expected);
    EXPECT_EQ(written, member.size());
}

TEST(ZipMemberWriter, DeflatedAesWriterOutputReadsBackThroughTheReader) {
    Harness harness;
    MemoryOutputStream memory;
    CountingOutputStream sink(memory);
    const ByteBuffer plain = Sample(30000);
    {
        ZipFileMemberDataOutputStream writer(&sink, ZipMemberDescriptor{&harness.zip, 0, 0, 0, 8},
                                             2, {});
        writer.write(plain);
        writer.finish();
    }
    auto reader = Reader(&harness.zip, memory.getBytes(), {2, 8, plain.size(), true, CrcOf(plain)});
    EXPECT_EQ(ReadAll(*reader), plain);
}

TEST(ZipMemberWriter, AesWriterWithoutAPasswordThrowsPasswordNotSupplied) {
    Harness harness({u"x"}, MZipDataSecurityProvider::kPasswordNone);
    MemoryOutputStream memory;
    CountingOutputStream sink(memory);
    const OVException e = Thrown([&] {
        ZipFileMemberDataOutputStream(&sink, ZipMemberDescriptor{&harness.zip, 0, 0, 0, 0}, 4, {});
    });
    EXPECT_EQ(e.GetCode(), kZipPasswordNotSupplied);
}

// --- openMember over archives made by zip and 7z -----------------------------------------------

namespace {

std::string Text(const ByteBuffer& bytes) { return std::string(bytes.begin(), bytes.end()); }

std::string SampleText(size_t length) { return Text(Sample(length)); }

// Makes `archive` in `folder` by `command` run there, with `content` in f.txt beforehand.
void MakeArchive(const ziptest::TempFolder& folder, const std::string& content,
                 const std::string& command) {
    ASSERT_TRUE(ziptest::WriteFileBytes(folder.At("f.txt"), content));
    std::string output;
    ASSERT_EQ(ziptest::RunCommand("cd '" + folder.Path() + "' && " + command, &output), 0)
        << output;
}

int32_t IndexOf(const ZipFile& zip, const WString& name) {
    const auto& members = zip.getMembers();
    for (size_t i = 0; i < members.size(); ++i)
        if (members[i].folder + members[i].name == name)
            return static_cast<int32_t>(i);
    return -1;
}

std::string ReadMember(ZipFile& zip, const WString& name, bool standalone = false,
                       uint64_t* size = nullptr) {
    const int32_t index = IndexOf(zip, name);
    EXPECT_GE(index, 0);
    auto reader = zip.openMember(index, size, standalone);
    return Text(ReadAll(*reader, 1000));
}

// Patches every occurrence of `from` in the file at `path` with `to`; gives the count.
int Patch(const std::string& path, const std::string& from, const std::string& to) {
    std::string bytes = ziptest::ReadFileBytes(path);
    int count = 0;
    for (size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at + 1)) {
        bytes.replace(at, from.size(), to);
        ++count;
    }
    ziptest::WriteFileBytes(path, bytes);
    return count;
}

const std::string kAesBlock = std::string("\x01\x99\x07\x00\x02\x00\x41\x45", 8);

}  // namespace

TEST(ZipOpenMember, StoredAndDeflatedMembersReadTheirContentShared) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(20000);
    MakeArchive(folder, content, "zip -q -0 s.zip f.txt && zip -q -9 d.zip f.txt");
    for (const char* name : {"s.zip", "d.zip"}) {
        ZipFile zip(folder.WideAt(name), nullptr, false, false, false);
        uint64_t size = 0;
        EXPECT_EQ(ReadMember(zip, u"f.txt", false, &size), content) << name;
        EXPECT_EQ(size, content.size());
        EXPECT_EQ(ReadMember(zip, u"f.txt", true), content) << name;
    }
}

TEST(ZipOpenMember, AStandaloneReaderOutlivesItsArchiveObject) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(3000);
    MakeArchive(folder, content, "zip -q a.zip f.txt");
    std::unique_ptr<InputStream> reader;
    {
        ZipFile zip(folder.WideAt("a.zip"), nullptr, false, false, false);
        reader = zip.openMember(IndexOf(zip, u"f.txt"), nullptr, true);
    }
    EXPECT_EQ(Text(ReadAll(*reader)), content);
}

TEST(ZipOpenMember, InfoZipEncryptedMembersReadWithTheProvidersPassword) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(5000);
    MakeArchive(folder, content,
                "zip -q -e -P secret -0 s.zip f.txt && zip -q -e -P secret d.zip f.txt");
    for (const char* name : {"s.zip", "d.zip"}) {
        TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
        ZipFile zip(folder.WideAt(name), &provider, false, false, false);
        EXPECT_EQ(ReadMember(zip, u"f.txt"), content) << name;
        ASSERT_EQ(provider.confirmed.size(), 1u) << name;
        EXPECT_EQ(provider.names.at(0), u"f.txt");
    }
}

TEST(ZipOpenMember, InfoZipMemberFromAPipeIsCheckedByTheTimeByte) {
    ziptest::TempFolder folder;
    MakeArchive(folder, "", "echo data | zip -q -e -P pw p.zip -");
    TestProvider provider({u"pw"}, MZipDataSecurityProvider::kPasswordOnce);
    ZipFile zip(folder.WideAt("p.zip"), &provider, false, false, false);
    ASSERT_EQ(zip.getMembers().size(), 1u);
    EXPECT_NE(zip.getMembers()[0].flags & kZipSizesFollowData, 0);
    auto reader = zip.openMember(0, nullptr, false);
    EXPECT_EQ(Text(ReadAll(*reader)), "data\n");
    EXPECT_EQ(provider.confirmed.size(), 1u);
}

TEST(ZipOpenMember, InfoZipMemberWithAWrongPasswordThrowsInvalidPassword) {
    ziptest::TempFolder folder;
    // Info-ZIP's encryption header is random, and one archive in 256 lets "other" through the
    // check byte (the data then fails instead). Make archives until python's zipfile, too,
    // refuses "other" by that byte.
    for (int attempt = 0; attempt < 16; ++attempt) {
        MakeArchive(folder, SampleText(100), "rm -f a.zip && zip -q -e -P secret a.zip f.txt");
        if (ziptest::RunPython("try:\n"
                               "    zipfile.ZipFile(path).open('f.txt', pwd=b'other')\n"
                               "except RuntimeError:\n"
                               "    sys.exit(0)\n"
                               "sys.exit(1)",
                               folder.At("a.zip"))) {
            break;
        }
    }
    TestProvider provider({u"other"}, MZipDataSecurityProvider::kPasswordOnce);
    ZipFile zip(folder.WideAt("a.zip"), &provider, false, false, false);
    const OVException e = Thrown([&] { ReadMember(zip, u"f.txt"); });
    EXPECT_EQ(e.GetCode(), kZipInvalidPassword);
}

TEST(ZipOpenMember, SevenZipAes256ArchivesReadStoredAndDeflated) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(40000);
    MakeArchive(folder, content,
                "7z a -tzip -mem=AES256 -psecret d.zip f.txt >/dev/null && "
                "7z a -tzip -mx0 -mem=AES256 -psecret s.zip f.txt >/dev/null");
    for (const char* name : {"d.zip", "s.zip"}) {
        TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordAskAgain);
        ZipFile zip(folder.WideAt(name), &provider, false, false, false);
        EXPECT_EQ(zip.getMembers().at(0).flags & kZipKindMask, kZipAes256);
        EXPECT_EQ(ReadMember(zip, u"f.txt"), content) << name;
        EXPECT_EQ(provider.calls, 1u);
    }
}

TEST(ZipOpenMember, SevenZipAes128And192ArchivesAreTriedWith256BitParametersAndRefused) {
    // Every strength runs with the 256-bit salt and key lengths, so a member really encrypted
    // with a shorter key never passes the password check.
    ziptest::TempFolder folder;
    MakeArchive(folder, SampleText(1000),
                "7z a -tzip -mem=AES128 -psecret a128.zip f.txt >/dev/null && "
                "7z a -tzip -mem=AES192 -psecret a192.zip f.txt >/dev/null");
    for (const char* name : {"a128.zip", "a192.zip"}) {
        TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
        ZipFile zip(folder.WideAt(name), &provider, false, false, false);
        EXPECT_NE(zip.getMembers().at(0).flags & kZipKindMask, kZipAes256) << name;
        const OVException e = Thrown([&] { ReadMember(zip, u"f.txt"); });
        EXPECT_EQ(e.GetCode(), kZipInvalidPassword) << name;
    }
}

TEST(ZipOpenMember, AZipFileWithoutProviderOpensArchivesMadeWithTheDefaultPassword) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(1000);
    const std::string password = ziptest::Narrow(kZipDefaultPassword);
    MakeArchive(folder, content,
                "7z a -tzip -mem=AES256 '-p" + password + "' a.zip f.txt >/dev/null && " +
                    "zip -q -e -P '" + password + "' p.zip f.txt");
    for (const char* name : {"a.zip", "p.zip"}) {
        ZipFile zip(folder.WideAt(name), nullptr, false, false, false);
        EXPECT_EQ(ReadMember(zip, u"f.txt"), content) << name;
    }
}

TEST(ZipOpenMember, AZipFileWithoutProviderGivesUpOnAnotherPassword) {
    ziptest::TempFolder folder;
    MakeArchive(folder, SampleText(100), "7z a -tzip -mem=AES256 -psecret a.zip f.txt >/dev/null");
    ZipFile zip(folder.WideAt("a.zip"), nullptr, false, false, false);
    const OVException e = Thrown([&] { ReadMember(zip, u"f.txt"); });
    EXPECT_EQ(e.GetCode(), kZipInvalidPassword);
    EXPECT_STREQ(e.what(), "Invalid password");
}

TEST(ZipOpenMember, AnAesMemberWithCrcZeroHasOnlyItsCodeChecked) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(100);
    MakeArchive(folder, content, "7z a -tzip -mem=AES256 -psecret a.zip f.txt >/dev/null");
    {
        TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
        ZipFile zip(folder.WideAt("a.zip"), &provider, false, false, false);
        ASSERT_EQ(zip.getMembers().at(0).crc, 0u) << "7z wrote a CRC; the case needs none";
        EXPECT_EQ(ReadMember(zip, u"f.txt"), content);
    }
    // A wrong CRC in the directory is then checked, which shows the reader reads that field.
    std::string bytes = ziptest::ReadFileBytes(folder.At("a.zip"));
    const size_t central = bytes.find("PK\x01\x02");
    ASSERT_NE(central, std::string::npos);
    bytes[central + 16] = 0x33;
    ASSERT_TRUE(ziptest::WriteFileBytes(folder.At("a.zip"), bytes));
    TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
    ZipFile zip(folder.WideAt("a.zip"), &provider, false, false, false);
    const OVException e = Thrown([&] { ReadMember(zip, u"f.txt"); });
    EXPECT_EQ(e.GetCode(), kZipVerificationFailed);
}

TEST(ZipOpenMember, StrengthBytesOutsideOneToThreeGiveKindZeroAndNotSupportedAesBits) {
    for (char strength : {'\x00', '\x04', '\x7f'}) {
        ziptest::TempFolder folder;
        MakeArchive(folder, SampleText(100),
                    "7z a -tzip -mem=AES256 -psecret a.zip f.txt >/dev/null");
        ASSERT_EQ(Patch(folder.At("a.zip"), kAesBlock + "\x03", kAesBlock + strength), 2);
        TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
        ZipFile zip(folder.WideAt("a.zip"), &provider, false, false, false);
        EXPECT_EQ(zip.getMembers().at(0).flags & kZipKindMask, kZipNotEncrypted);
        const OVException e = Thrown([&] { zip.openMember(0, nullptr, false); });
        EXPECT_STREQ(e.what(), "Not supported AES bits");
    }
}

TEST(ZipOpenMember, AnAesMemberWithoutAnAesBlockInItsLocalHeaderThrowsMissingAesHeader) {
    ziptest::TempFolder folder;
    MakeArchive(folder, SampleText(100), "7z a -tzip -mem=AES256 -psecret a.zip f.txt >/dev/null");
    std::string bytes = ziptest::ReadFileBytes(folder.At("a.zip"));
    const size_t local = bytes.find(kAesBlock);
    ASSERT_LT(local, bytes.find("PK\x01\x02"));
    bytes[local + 1] = '\x98';
    ASSERT_TRUE(ziptest::WriteFileBytes(folder.At("a.zip"), bytes));
    TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
    ZipFile zip(folder.WideAt("a.zip"), &provider, false, false, false);
    const OVException e = Thrown([&] { zip.openMember(0, nullptr, false); });
    EXPECT_EQ(e.GetCode(), kZipBadStructure);
    EXPECT_STREQ(e.what(), "Missing AES encryption header");
}

TEST(ZipOpenMember, CorruptingAPlainDeflatedMemberNeverFailsByCrc) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(4000);
    MakeArchive(folder, content, "zip -q -9 a.zip f.txt");
    const std::string original = ziptest::ReadFileBytes(folder.At("a.zip"));
    const size_t data =
        30 + 5 + CUtils::ReadLE16(reinterpret_cast<const uint8_t*>(original.data() + 28));
    const size_t end = original.find("PK\x01\x02");
    int unnoticed = 0;
    for (size_t at = data; at < end; at += 5) {
        std::string broken = original;
        broken[at] = static_cast<char>(broken[at] ^ 0x21);
        ASSERT_TRUE(ziptest::WriteFileBytes(folder.At("a.zip"), broken));
        ZipFile zip(folder.WideAt("a.zip"), nullptr, false, false, false);
        try {
            if (ReadMember(zip, u"f.txt") != content)
                ++unnoticed;
        } catch (const OVException& e) {
            EXPECT_STRNE(e.what(), "Verification failed") << "byte " << at;
        }
    }
    // Damage that inflate lets pass is what a CRC check would have caught.
    EXPECT_GT(unnoticed, 0);
}

TEST(ZipOpenMember, ANegativeOrTooLargeIndexThrowsCodeMinusSix) {
    ziptest::TempFolder folder;
    MakeArchive(folder, "x", "zip -q a.zip f.txt");
    ZipFile zip(folder.WideAt("a.zip"), nullptr, false, false, false);
    for (int32_t index : {-1, 1, 1000}) {
        const OVException e = Thrown([&] { zip.openMember(index, nullptr, false); });
        EXPECT_EQ(e.GetCode(), kZipBadIndex) << index;
    }
    const OVException pending =
        Thrown([&] { zip.openMember(static_cast<int32_t>(kZipPendingBit | 3), nullptr, false); });
    EXPECT_EQ(pending.GetCode(), kZipBadIndex);
}

TEST(ZipOpenMember, APendingMemberHasNoSourceAndThrowsSourceStreamIsRequied) {
    ziptest::TempFolder folder;
    MakeArchive(folder, "x", "zip -q a.zip f.txt");
    const std::string before = ziptest::ReadFileBytes(folder.At("a.zip"));
    {
        ZipFile zip(folder.WideAt("a.zip"), nullptr, false, false, false);
        ZipPendingMember member;
        member.name = u"new.txt";
        member.uncompressedSize = 3;
        member.data = {1, 2, 3};
        zip.addPendingMember(member);
        const OVException e = Thrown(
            [&] { zip.openMember(static_cast<int32_t>(kZipPendingBit | 0), nullptr, false); });
        EXPECT_STREQ(e.what(), "Source stream is requied");
        // The refused read touched nothing: the file is as it was, the member still pending.
        EXPECT_EQ(ziptest::ReadFileBytes(folder.At("a.zip")), before);
        EXPECT_EQ(zip.getPendingMembers().size(), 1u);
    }
    // And the close wrote it.
    EXPECT_NE(ziptest::ReadFileBytes(folder.At("a.zip")), before);
    ZipFile again(folder.WideAt("a.zip"), nullptr, false, false, false);
    EXPECT_EQ(IndexOf(again, u"f.txt"), 0);
    EXPECT_EQ(IndexOf(again, u"new.txt"), 1);
}

TEST(ZipOpenMember, AStandaloneReaderOfAStreamArchiveIsRefused) {
    ziptest::TempFolder folder;
    MakeArchive(folder, "x", "zip -q a.zip f.txt");
    const std::string bytes = ziptest::ReadFileBytes(folder.At("a.zip"));
    ZipFile zip(std::make_unique<MemoryInputStream>(ByteBuffer(bytes.begin(), bytes.end())),
                nullptr);
    const OVException e = Thrown([&] { zip.openMember(0, nullptr, true); });
    EXPECT_STREQ(e.what(), "Standalone file data stream is not possible for readonly zip");
    auto reader = zip.openMember(0, nullptr, false);
    EXPECT_EQ(Text(ReadAll(*reader)), "x");
}

TEST(ZipOpenMember, ABrokenLocalSignatureThrowsLocalFileSignatureDoesntMatch) {
    ziptest::TempFolder folder;
    MakeArchive(folder, "x", "zip -q a.zip f.txt");
    std::string bytes = ziptest::ReadFileBytes(folder.At("a.zip"));
    bytes[2] = 'X';
    ASSERT_TRUE(ziptest::WriteFileBytes(folder.At("a.zip"), bytes));
    ZipFile zip(folder.WideAt("a.zip"), nullptr, false, false, false);
    const OVException e = Thrown([&] { zip.openMember(0, nullptr, false); });
    EXPECT_STREQ(e.what(), "Local file signature doesn't match");
}

TEST(ZipOpenMember, StampOnReadStoresThePresentTimeAndMarksTheArchiveModified) {
    ziptest::TempFolder folder;
    // A member stamped in 2001 cannot carry the present time.
    MakeArchive(folder, "x", "touch -d '2001-02-03 04:05:06' f.txt && zip -q a.zip f.txt");
    ZipFile zip(folder.WideAt("a.zip"), nullptr, false, false, true);
    const uint64_t old = zip.getMembers().at(0).stamp;
    EXPECT_FALSE(zip.isModified());
    zip.openMember(0, nullptr, false);
    EXPECT_TRUE(zip.isModified());
    EXPECT_NE(zip.getMembers().at(0).stamp, old);
    // Year of the stamp's date: 1980 + bits 25-31.
    EXPECT_GE(((zip.getMembers().at(0).stamp >> 25) & 0x7F) + 1980, 2024u);
}

// Reads every member of the archive `bytes` to its end with the password "secret", and gives
// what each delivered. A reader must end within a bound and never give more than the directory
// declares.
std::vector<std::string> ReadEveryMember(const std::string& bytes) {
    TestProvider provider({u"secret"}, MZipDataSecurityProvider::kPasswordOnce);
    ZipFile zip(std::make_unique<MemoryInputStream>(ByteBuffer(bytes.begin(), bytes.end())),
                &provider);
    std::vector<std::string> contents;
    for (size_t i = 0; i < zip.getMembers().size(); ++i) {
        uint64_t declared = 0;
        auto reader = zip.openMember(static_cast<int32_t>(i), &declared, false);
        ByteBuffer buffer(4096);
        std::string data;
        int reads = 0;
        for (int64_t got; (got = reader->read(buffer.data(), 4096)) >= 0;) {
            data.append(buffer.begin(), buffer.begin() + got);
            if (++reads == 10000) {
                ADD_FAILURE() << "a reader that does not end";
                break;
            }
        }
        EXPECT_LE(data.size(), declared);
        contents.push_back(std::move(data));
    }
    return contents;
}

TEST(ZipOpenMember, DamagedArchivesThrowOnlyOVExceptionsAndNeverCrash) {
    ziptest::TempFolder folder;
    const std::string content = SampleText(300);
    MakeArchive(folder, content,
                "zip -q -e -P secret p.zip f.txt && zip -q d.zip f.txt && "
                "7z a -tzip -mem=AES256 -psecret a.zip f.txt >/dev/null");
    for (const char* name : {"p.zip", "d.zip", "a.zip"}) {
        const std::string original = ziptest::ReadFileBytes(folder.At(name));
        EXPECT_EQ(ReadEveryMember(original), std::vector<std::string>{content}) << name;
        ziptest::DamageTally tally;
        for (size_t at = 0; at < original.size(); ++at) {
            for (uint8_t value : {0x00, 0xFF, 0x80}) {
                std::string broken = original;
                if (static_cast<uint8_t>(broken[at]) == value)
                    continue;
                broken[at] = static_cast<char>(value);
                tally.Run(std::string(name) + " byte " + std::to_string(at) + " = " +
                              std::to_string(value),
                          [&] { ReadEveryMember(broken); });
            }
        }
        // Both outcomes occur: damage is noticed, and some (a time, a comment) is harmless.
        EXPECT_GT(tally.refused, 0) << name;
        EXPECT_GT(tally.taken, 0) << name;
    }
}

namespace {

// An archive with one member flagged for strong encryption (bits 0 and 6), whose data begins
// with a strong encryption header of `vector` bytes of vector and `remaining` declared bytes.
bool MakeStrongArchive(const std::string& path, int vector, long remaining, int restPresent) {
    const std::string script =
        "import struct\n"
        "header = struct.pack('<H', " +
        std::to_string(vector) + ") + b'v' * " + std::to_string(vector) +
        " + struct.pack('<IHH', " + std::to_string(remaining) + ", 3, 0x6610) + b'r' * " +
        std::to_string(restPresent) +
        "\n"
        "with zipfile.ZipFile(path, 'w') as z:\n"
        "    z.writestr('s.bin', header + b'payload')\n"
        // The module clears flag bits of its own accord, so they are set afterwards.
        "data = bytearray(open(path, 'rb').read())\n"
        "data[6] = 0x41\n"
        "data[data.find(b'PK\\x01\\x02') + 8] = 0x41\n"
        "open(path, 'wb').write(data)\n";
    return ziptest::RunPython(script, path);
}

}  // namespace

TEST(ZipOpenMember, AStronglyEncryptedMemberPassesItsHeaderAndStopsAtTheKindCheck) {
    ziptest::TempFolder folder;
    ASSERT_TRUE(MakeStrongArchive(folder.At("s.zip"), 16, 8, 4));
    ZipFile zip(folder.WideAt("s.zip"), nullptr, false, false, false);
    ASSERT_EQ(zip.getMembers().size(), 1u);
    const OVException e = Thrown([&] { zip.openMember(0, nullptr, false); });
    EXPECT_STREQ(e.what(), "Unsupported encryption algorithm");
}

TEST(ZipOpenMember, AStrongEncryptionHeaderBeyondItsLimitThrowsCodeMinusEight) {
    ziptest::TempFolder folder;
    ASSERT_TRUE(MakeStrongArchive(folder.At("s.zip"), 16, 5000, 4));
    ZipFile zip(folder.WideAt("s.zip"), nullptr, false, false, false);
    const OVException e = Thrown([&] { zip.openMember(0, nullptr, false); });
    EXPECT_EQ(e.GetCode(), -8);
    EXPECT_STREQ(e.what(), "");
}

TEST(ZipOpenMember, AStrongEncryptionHeaderCutShortThrowsRestOfEncHeaderReadFailed) {
    ziptest::TempFolder folder;
    // The declared rest runs past the end of the file.
    ASSERT_TRUE(MakeStrongArchive(folder.At("s.zip"), 2, 4000, 0));
    ZipFile zip(folder.WideAt("s.zip"), nullptr, false, false, false);
    const OVException e = Thrown([&] { zip.openMember(0, nullptr, false); });
    EXPECT_STREQ(e.what(), "Rest of enc header read failed");
}
