// ZipMemberWriterTest.cpp: the member writer: plain, deflating and AES chains, and the member
// layout each writes.
#include "ZipMemberTestSupport.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <gtest/gtest.h>
#include <string>

using namespace zipmembertest;

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
