// ZipMemberDecryptionTest.cpp: the member reader over AES and PKWARE members: decryption, the
// checks that authenticate the data, and the password loop with each provider status.
#include "ZipMemberTestSupport.h"
#include "common/OVException.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <gtest/gtest.h>
#include <string>

using namespace zipmembertest;

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
