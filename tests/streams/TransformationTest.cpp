// TransformationTest.cpp: zlib and AES transformations and the two streams that carry them.
#include "streams/Transformation.h"

#include "StreamTestSupport.h"
#include "TestFiles.h"
#include "common/OVException.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <mbedtls/aes.h>
#include <random>
#include <string>
#include <vector>
#include <zlib.h>

namespace {

using streamtest::ReadAll;
using streamtest::ScriptedInputStream;
using testfiles::Quote;
using testfiles::ReadFileBytes;
using testfiles::RunCommand;
using testfiles::WriteFileBytes;

ByteBuffer randomBytes(size_t size, uint32_t seed) {
    std::mt19937 generator(seed);
    ByteBuffer data(size);
    for (auto& byte : data)
        byte = static_cast<uint8_t>(generator());
    return data;
}

ByteBuffer compressibleBytes(size_t size) {
    ByteBuffer data;
    data.reserve(size + 64);
    for (int line = 0; data.size() < size; ++line) {
        const std::string text =
            "line " + std::to_string(line % 97) + " of a compressible sample\n";
        data.insert(data.end(), text.begin(), text.end());
    }
    data.resize(size);
    return data;
}

ByteBuffer hex(const std::string& text) {
    ByteBuffer bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

// A sink into a buffer the test keeps.
class BytesSink : public OutputStream {
public:
    BytesSink(ByteBuffer& target, int* flushes = nullptr) : target(target), flushes(flushes) {}

    void write(const uint8_t* buffer, int64_t length) override {
        target.insert(target.end(), buffer, buffer + length);
    }
    using OutputStream::write;
    void flush() override {
        if (flushes != nullptr)
            ++*flushes;
    }

private:
    ByteBuffer& target;
    int* flushes;
};

// Writes `data` through `transformation` in pieces of `piece` bytes; the stream's destructor
// finishes it.
ByteBuffer writeThrough(std::unique_ptr<MTransformation> transformation, const ByteBuffer& data,
                        size_t piece = 100000) {
    ByteBuffer result;
    {
        TransformationOutputStream stream(std::make_unique<BytesSink>(result),
                                          std::move(transformation));
        for (size_t at = 0; at < data.size(); at += piece)
            stream.write(data.data() + at, static_cast<int64_t>(std::min(piece, data.size() - at)));
    }
    return result;
}

ByteBuffer readThrough(MTransformation& transformation, const ByteBuffer& data,
                       int64_t chunk = 4096, int64_t sourceChunk = 0) {
    TransformationInputStream stream(std::make_unique<ScriptedInputStream>(data, sourceChunk),
                                     transformation);
    return ReadAll(stream, chunk);
}

// Reads `stream` to its end with read sizes taken in turn from `sizes`.
ByteBuffer readInTurns(InputStream& stream, const std::vector<int64_t>& sizes) {
    ByteBuffer all;
    for (size_t turn = 0;; ++turn) {
        const int64_t size = sizes[turn % sizes.size()];
        ByteBuffer buffer(static_cast<size_t>(size));
        const int64_t got = stream.read(buffer.data(), size);
        if (got < 0) {
            return all;
        }
        all.insert(all.end(), buffer.begin(), buffer.begin() + got);
    }
}

ByteBuffer deflateRaw(const ByteBuffer& data) {
    return writeThrough(std::make_unique<ZlibTransformation>(true, true), data);
}

ByteBuffer inflateRaw(const ByteBuffer& data, int64_t chunk = 4096) {
    ZlibTransformation inflater(false, true);
    return readThrough(inflater, data, chunk);
}

// Runs `body`, returning the OVException it throws; fails the test when it throws none.
OVException thrown(const std::function<void()>& body) {
    try {
        body();
    } catch (const OVException& e) {
        return e;
    }
    ADD_FAILURE() << "no OVException thrown";
    return OVException(0, "none");
}

const size_t kZlibSizes[] = {0, 1, 8, 16, 17, 1024, 1025};

// ---- zlib --------------------------------------------------------------------------------------

TEST(ZlibTransformationTest, RoundTripsEachSizeThroughBothStreams) {
    for (const size_t size : kZlibSizes) {
        for (const ByteBuffer& data : {compressibleBytes(size), randomBytes(size, 7)}) {
            const ByteBuffer packed = deflateRaw(data);
            EXPECT_FALSE(packed.empty()) << size;  // even empty data has a final block
            EXPECT_EQ(inflateRaw(packed), data) << size;
        }
    }
}

TEST(ZlibTransformationTest, RoundTripsTenMegabytesCompressibleAndRandom) {
    const size_t size = 10 * 1024 * 1024;
    const ByteBuffer text = compressibleBytes(size);
    const ByteBuffer packedText = deflateRaw(text);
    EXPECT_LT(packedText.size(), size / 10);
    EXPECT_EQ(inflateRaw(packedText, 65536), text);
    const ByteBuffer noise = randomBytes(size, 11);
    EXPECT_EQ(inflateRaw(deflateRaw(noise), 65536), noise);
}

TEST(ZlibTransformationTest, SmallWritesGiveTheSameStreamAsOneWrite) {
    const ByteBuffer data = compressibleBytes(50000);
    const ByteBuffer whole = deflateRaw(data);
    const ByteBuffer pieces =
        writeThrough(std::make_unique<ZlibTransformation>(true, true), data, 7);
    EXPECT_EQ(pieces, whole);
    EXPECT_EQ(inflateRaw(pieces), data);
}

TEST(ZlibTransformationTest, ReadsOfEverySizeDeliverTheSameBytes) {
    const ByteBuffer data = compressibleBytes(3000);
    ByteBuffer mixed = randomBytes(3000, 5);
    mixed.insert(mixed.begin(), data.begin(), data.end());
    const ByteBuffer packed = deflateRaw(mixed);
    for (int64_t chunk = 1; chunk <= 2100; ++chunk)
        ASSERT_EQ(inflateRaw(packed, chunk), mixed) << "read size " << chunk;
}

TEST(ZlibTransformationTest, ShortSourceReadsDeliverTheSameBytes) {
    const ByteBuffer data = compressibleBytes(20000);
    const ByteBuffer packed = deflateRaw(data);
    for (const int64_t sourceChunk : {1, 3, 16, 17, 1000}) {
        ZlibTransformation inflater(false, true);
        EXPECT_EQ(readThrough(inflater, packed, 777, sourceChunk), data) << sourceChunk;
    }
}

// Reads below and above the input window, taken in turn, meet the window's ends at every place.
TEST(ZlibTransformationTest, SmallAndLargeReadsInTurnOverMegabytesDeliverTheSameBytes) {
    ByteBuffer data = compressibleBytes(3 * 1024 * 1024);
    const ByteBuffer noise = randomBytes(700001, 9);
    data.insert(data.begin() + 1000000, noise.begin(), noise.end());
    const ByteBuffer packed = deflateRaw(data);
    const std::vector<std::vector<int64_t>> turns = {
        {100}, {65536}, {65537}, {300001}, {1, 70001, 1023, 1024, 131075}};
    for (const int64_t sourceChunk : {0, 999, 65537}) {
        for (const auto& sizes : turns) {
            ZlibTransformation inflater(false, true);
            TransformationInputStream stream(
                std::make_unique<ScriptedInputStream>(packed, sourceChunk), inflater);
            ASSERT_EQ(readInTurns(stream, sizes), data)
                << "source " << sourceChunk << ", first read " << sizes[0];
        }
    }
}

TEST(ZlibTransformationTest, CorruptInputFailsWithZlibCodeLessBase) {
    // Block type 3 does not exist: zlib answers Z_DATA_ERROR (-3).
    const ByteBuffer badType = {0xFF, 0x00, 0x11, 0x22};
    ZlibTransformation inflater(false, true);
    const OVException e = thrown([&] { readThrough(inflater, badType); });
    EXPECT_EQ(e.GetCode(), Z_DATA_ERROR - kTransformZlibBase);
    EXPECT_EQ(e.GetCode(), -4099);
}

TEST(ZlibTransformationTest, CorruptionAfterGoodDataFailsRatherThanEnding) {
    // Two stored blocks: the first, not final, is good; in the second the length and its
    // complement disagree.
    const ByteBuffer bad = {0x00, 0x05, 0x00, 0xFA, 0xFF, 'h', 'e', 'l', 'l', 'o',
                            0x01, 0x05, 0x00, 0x00, 0x00, 'w', 'o', 'r', 'l', 'd'};
    ZlibTransformation inflater(false, true);
    TransformationInputStream stream(std::make_unique<ScriptedInputStream>(bad), inflater);
    ByteBuffer got;
    uint8_t buffer[5];
    const OVException e = thrown([&] {
        for (int64_t n; (n = stream.read(buffer, 5)) >= 0;)
            got.insert(got.end(), buffer, buffer + n);
    });
    EXPECT_EQ(e.GetCode(), -4099);
    EXPECT_LE(got.size(), 5u);  // at most the good block came before the failure
}

TEST(ZlibTransformationTest, TruncatedStreamEndsWithWhatItHas) {
    const ByteBuffer data = randomBytes(20000, 9);  // stored-like: output tracks input closely
    ByteBuffer packed = deflateRaw(data);
    packed.resize(packed.size() / 2);
    ByteBuffer got;
    ASSERT_NO_THROW(got = inflateRaw(packed));
    ASSERT_GT(got.size(), 0u);
    ASSERT_LT(got.size(), data.size());
    EXPECT_TRUE(std::equal(got.begin(), got.end(), data.begin()));
}

TEST(ZlibTransformationTest, ProcessHoldsBackOneToEightBytesBeyondSixteen) {
    ZlibTransformation deflater(true, true);
    ByteBuffer input(100, 'a');
    ByteBuffer output(1024);
    const std::pair<int32_t, int32_t> cases[] = {{16, 16}, {17, 16}, {24, 16}, {25, 24},
                                                 {32, 24}, {33, 32}, {100, 96}};
    for (const auto& [given, consumed] : cases) {
        int32_t length = 1024;
        EXPECT_EQ(deflater.process(input.data(), given, output.data(), &length), consumed) << given;
    }
}

TEST(ZlibTransformationTest, ProcessRefusesCapacityBelowSixteen) {
    ZlibTransformation deflater(true, true);
    uint8_t input[4] = {};
    uint8_t output[15];
    int32_t length = 15;
    EXPECT_EQ(deflater.process(input, 4, output, &length), kTransformOutputTooSmall);
    EXPECT_EQ(length, 0);
}

TEST(ZlibTransformationTest, HeaderFormRoundTripsAndCarriesZlibHeader) {
    const ByteBuffer data = compressibleBytes(5000);
    const ByteBuffer packed = writeThrough(std::make_unique<ZlibTransformation>(true, false), data);
    ASSERT_GE(packed.size(), 2u);
    EXPECT_EQ(packed[0], 0x78);
    ZlibTransformation inflater(false, false);
    EXPECT_EQ(readThrough(inflater, packed), data);
}

TEST(ZlibTransformationTest, ResetStartsAFreshStream) {
    const ByteBuffer data = compressibleBytes(3000);
    const ByteBuffer packed = deflateRaw(data);
    ZlibTransformation inflater(false, true);
    EXPECT_EQ(readThrough(inflater, packed), data);
    inflater.reset();
    EXPECT_EQ(readThrough(inflater, packed), data);
}

TEST(ZlibTransformationTest, OutputStreamFlushFinishesOnceAndFlushesSink) {
    ByteBuffer packed;
    int flushes = 0;
    const ByteBuffer data = compressibleBytes(2000);
    {
        TransformationOutputStream stream(std::make_unique<BytesSink>(packed, &flushes),
                                          std::make_unique<ZlibTransformation>(true, true));
        stream.write(data.data(), static_cast<int64_t>(data.size()));
        stream.flush();
        EXPECT_EQ(flushes, 1);
        const size_t size = packed.size();
        stream.flush();  // nothing written since: no second finish
        EXPECT_EQ(packed.size(), size);
        EXPECT_EQ(flushes, 1);
    }
    EXPECT_EQ(flushes, 1);  // the destructor's flush finds the stream finished
    EXPECT_EQ(inflateRaw(packed), data);
}

// ---- zlib interoperation: zlib's own raw streams, and python3's --------------------------------

// `data` deflated by zlib itself, raw, with the defaults of python's zlib.compressobj(wbits=-15).
ByteBuffer zlibDeflated(const ByteBuffer& data) {
    z_stream zs{};
    EXPECT_EQ(deflateInit2(&zs, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY),
              Z_OK);
    ByteBuffer packed(deflateBound(&zs, static_cast<uLong>(data.size())));
    zs.next_in = const_cast<Bytef*>(data.data());
    zs.avail_in = static_cast<uInt>(data.size());
    zs.next_out = packed.data();
    zs.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&zs, Z_FINISH), Z_STREAM_END);
    packed.resize(zs.total_out);
    deflateEnd(&zs);
    return packed;
}

// `packed` inflated by zlib itself, raw; the stream must come to its end.
ByteBuffer zlibInflated(const ByteBuffer& packed) {
    z_stream zs{};
    EXPECT_EQ(inflateInit2(&zs, -15), Z_OK);
    zs.next_in = const_cast<Bytef*>(packed.data());
    zs.avail_in = static_cast<uInt>(packed.size());
    ByteBuffer data;
    uint8_t buffer[65536];
    int status = Z_OK;
    while (status == Z_OK) {
        zs.next_out = buffer;
        zs.avail_out = sizeof buffer;
        status = inflate(&zs, Z_NO_FLUSH);
        data.insert(data.end(), buffer, buffer + (sizeof buffer - zs.avail_out));
    }
    EXPECT_EQ(status, Z_STREAM_END) << "stream not finished";
    inflateEnd(&zs);
    return data;
}

class PythonZlibTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteFileBytes(folder.At("zlibtool.py"), "import sys, zlib\n"
                                                 "src, dst = sys.argv[1:3]\n"
                                                 "data = open(src, 'rb').read()\n"
                                                 "d = zlib.decompressobj(-15)\n"
                                                 "out = d.decompress(data) + d.flush()\n"
                                                 "assert d.eof, 'stream not finished'\n"
                                                 "open(dst, 'wb').write(out)\n");
    }

    ByteBuffer pythonInflated(const ByteBuffer& data) {
        const std::string src = folder.At("in.bin");
        const std::string dst = folder.At("out.bin");
        WriteFileBytes(src, std::string(data.begin(), data.end()));
        std::filesystem::remove(dst);
        const std::string command = Quote(ORV_PYTHON3) + " " + Quote(folder.At("zlibtool.py")) +
                                    " " + Quote(src) + " " + Quote(dst);
        std::string output;
        EXPECT_EQ(RunCommand(command, &output), 0) << command << "\n" << output;
        const std::string bytes = ReadFileBytes(dst);
        return ByteBuffer(bytes.begin(), bytes.end());
    }

    testfiles::TempFolder folder;
};

TEST_F(PythonZlibTest, ZlibAndPythonInflateWhatTheOutputStreamDeflates) {
    for (const size_t size : {0, 1, 8, 16, 17, 1024, 1025, 10 * 1024 * 1024}) {
        for (const ByteBuffer& data : {compressibleBytes(size), randomBytes(size, 21)}) {
            const ByteBuffer packed = deflateRaw(data);
            EXPECT_EQ(zlibInflated(packed), data) << size;
            // python3 as well, where this program can run it.
            if (testfiles::kLinuxTools) {
                EXPECT_EQ(pythonInflated(packed), data) << size;
            }
        }
    }
}

TEST(ZlibTransformationTest, InputStreamInflatesWhatZlibDeflates) {
    for (const size_t size : {0, 1, 8, 16, 17, 1024, 1025, 10 * 1024 * 1024}) {
        for (const ByteBuffer& data : {compressibleBytes(size), randomBytes(size, 23)})
            EXPECT_EQ(inflateRaw(zlibDeflated(data), 65536), data) << size;
    }
}

// ---- AES ---------------------------------------------------------------------------------------

struct Fips197Vector {
    const char* key;
    const char* cipher;
};

const Fips197Vector kFips197[] = {
    {"000102030405060708090a0b0c0d0e0f", "69c4e0d86a7b0430d8cdb78070b4c55a"},
    {"000102030405060708090a0b0c0d0e0f1011121314151617", "dda97ca4864cdfe06eaf70a0ec0d7191"},
    {"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
     "8ea2b7ca516745bfeafc49904b496089"},
};
const char* const kFipsPlain = "00112233445566778899aabbccddeeff";

TEST(RijndaelTransformationTest, EncryptsTheKnownAnswerVectorsForEachKeySize) {
    for (const auto& vector : kFips197) {
        const ByteBuffer key = hex(vector.key);
        RijndaelTransformation aes(true, CipherTransformation::kPlainBlocks, key.data(),
                                   static_cast<int32_t>(key.size()));
        const ByteBuffer plain = hex(kFipsPlain);
        ByteBuffer out(16);
        int32_t length = 16;
        EXPECT_EQ(aes.process(plain.data(), 16, out.data(), &length), 16);
        EXPECT_EQ(length, 16);
        EXPECT_EQ(out, hex(vector.cipher)) << key.size();
    }
}

TEST(RijndaelTransformationTest, DecryptsTheKnownAnswerVectorsForEachKeySize) {
    for (const auto& vector : kFips197) {
        const ByteBuffer key = hex(vector.key);
        RijndaelTransformation aes(false, CipherTransformation::kPlainBlocks, key.data(),
                                   static_cast<int32_t>(key.size()));
        const ByteBuffer cipher = hex(vector.cipher);
        ByteBuffer out(16);
        int32_t length = 16;
        EXPECT_EQ(aes.process(cipher.data(), 16, out.data(), &length), 16);
        EXPECT_EQ(out, hex(kFipsPlain)) << key.size();
    }
}

TEST(RijndaelTransformationTest, KeyOfTwentyBytesIsRefused) {
    const ByteBuffer key(20, 1);
    const OVException e = thrown(
        [&] { RijndaelTransformation aes(true, CipherTransformation::kCounter, key.data(), 20); });
    EXPECT_STREQ(e.what(), "Invalid AES block size");
}

TEST(RijndaelTransformationTest, OverlappingBlockBelowItsSourceIsRefused) {
    const ByteBuffer key(16, 3);
    RijndaelTransformation aes(true, CipherTransformation::kPlainBlocks, key.data(), 16);
    uint8_t buffer[40] = {};
    EXPECT_EQ(aes.processBlock(buffer + 4, buffer), kTransformNoProcess);
    EXPECT_EQ(aes.processBlock(buffer + 4, buffer + 4), 16);  // in place is fine
    EXPECT_EQ(aes.processBlock(buffer + 20, buffer), 16);     // below but apart
    RijndaelTransformation back(false, CipherTransformation::kPlainBlocks, key.data(), 16);
    int32_t length = 16;
    EXPECT_EQ(back.process(buffer + 4, 16, buffer, &length), kTransformNoProcess);
}

// The key stream of our counter mode from mbed TLS's single-block encryption: counter i as a
// 16-byte little-endian number, starting one past `start`.
ByteBuffer oracleCounter(const ByteBuffer& key, const uint8_t* start, const ByteBuffer& data) {
    mbedtls_aes_context context;
    mbedtls_aes_init(&context);
    mbedtls_aes_setkey_enc(&context, key.data(), static_cast<unsigned>(key.size() * 8));
    uint8_t counter[16] = {};
    if (start != nullptr)
        std::memcpy(counter, start, 16);
    ByteBuffer out(data.size());
    uint8_t stream[16];
    for (size_t at = 0; at < data.size(); at += 16) {
        for (int i = 0; i < 16 && ++counter[i] == 0; ++i) {
        }
        mbedtls_aes_crypt_ecb(&context, MBEDTLS_AES_ENCRYPT, counter, stream);
        for (size_t i = 0; i < 16 && at + i < data.size(); ++i)
            out[at + i] = data[at + i] ^ stream[i];
    }
    mbedtls_aes_free(&context);
    return out;
}

ByteBuffer counterProcess(const ByteBuffer& key, bool encrypting, const ByteBuffer& data,
                          const uint8_t* vector = nullptr) {
    RijndaelTransformation aes(encrypting, CipherTransformation::kCounter, key.data(),
                               static_cast<int32_t>(key.size()));
    if (vector != nullptr)
        aes.setVector(vector);
    ByteBuffer out(std::max<size_t>(data.size(), 16));
    int32_t length = static_cast<int32_t>(out.size());
    const int32_t result =
        aes.process(data.data(), static_cast<int32_t>(data.size()), out.data(), &length);
    EXPECT_EQ(result, static_cast<int32_t>(data.size()));
    EXPECT_EQ(length, static_cast<int32_t>(data.size()));
    out.resize(data.size());
    return out;
}

TEST(RijndaelTransformationTest, CounterModeMatchesLittleEndianCountersFromOne) {
    for (const size_t keySize : {16, 24, 32}) {
        const ByteBuffer key = randomBytes(keySize, static_cast<uint32_t>(keySize));
        std::vector<size_t> sizes;
        for (size_t size = 0; size <= 100; ++size)
            sizes.push_back(size);
        sizes.insert(sizes.end(), {255 * 16, 4096 + 7, 100000, 1 << 20});
        for (const size_t size : sizes) {
            const ByteBuffer data = randomBytes(size, static_cast<uint32_t>(size));
            EXPECT_EQ(counterProcess(key, true, data), oracleCounter(key, nullptr, data))
                << keySize << " " << size;
        }
    }
}

TEST(RijndaelTransformationTest, CounterModeSingleBlockMatchesMbedTlsCounterMode) {
    const ByteBuffer key = randomBytes(32, 99);
    const ByteBuffer data = randomBytes(16, 98);
    mbedtls_aes_context context;
    mbedtls_aes_init(&context);
    mbedtls_aes_setkey_enc(&context, key.data(), 256);
    uint8_t nonceCounter[16] = {1};
    uint8_t streamBlock[16] = {};
    size_t offset = 0;
    ByteBuffer expected(16);
    mbedtls_aes_crypt_ctr(&context, 16, &offset, nonceCounter, streamBlock, data.data(),
                          expected.data());
    mbedtls_aes_free(&context);
    EXPECT_EQ(counterProcess(key, true, data), expected);
}

TEST(RijndaelTransformationTest, CounterCarriesAcrossBytesAndWrapsThroughAllSixteen) {
    const ByteBuffer key = randomBytes(32, 5);
    const ByteBuffer data = randomBytes(16 * 300 + 5, 6);
    uint8_t carry[16] = {0xFF, 0xFF};  // the first counter is 00 00 01 00 ...
    EXPECT_EQ(counterProcess(key, true, data, carry), oracleCounter(key, carry, data));
    uint8_t all[16];
    std::memset(all, 0xFF, sizeof all);  // the first counter wraps to all zeros
    EXPECT_EQ(counterProcess(key, true, data, all), oracleCounter(key, all, data));
    // Independent check of the first key-stream block: AES of the all-zero block.
    mbedtls_aes_context context;
    mbedtls_aes_init(&context);
    mbedtls_aes_setkey_enc(&context, key.data(), 256);
    const uint8_t zero[16] = {};
    uint8_t stream[16];
    mbedtls_aes_crypt_ecb(&context, MBEDTLS_AES_ENCRYPT, zero, stream);
    mbedtls_aes_free(&context);
    const ByteBuffer got = counterProcess(key, true, data, all);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(got[i], data[i] ^ stream[i]);
}

TEST(RijndaelTransformationTest, CounterModeBothDirectionsRestoreTheInput) {
    const ByteBuffer key = randomBytes(32, 8);
    for (const size_t size : {0, 1, 15, 16, 17, 1023, 1024, 1025, 70001}) {
        const ByteBuffer data = randomBytes(size, static_cast<uint32_t>(size) + 1);
        const ByteBuffer cipher = counterProcess(key, true, data);
        EXPECT_EQ(counterProcess(key, false, cipher), data) << size;
        if (size > 0) {
            EXPECT_NE(cipher, data);
        }
    }
}

TEST(RijndaelTransformationTest, CounterStreamEndsOnPartBlockWithExactlyTheInputLength) {
    const ByteBuffer key = randomBytes(16, 12);
    for (const size_t size : {1, 5, 1030, 5000 + 3}) {
        const ByteBuffer data = randomBytes(size, 13);
        const ByteBuffer cipher =
            writeThrough(std::make_unique<RijndaelTransformation>(
                             true, CipherTransformation::kCounter, key.data(), 16),
                         data, 333);
        EXPECT_EQ(cipher.size(), size);
        EXPECT_EQ(cipher, oracleCounter(key, nullptr, data));
        RijndaelTransformation decrypt(false, CipherTransformation::kCounter, key.data(), 16);
        const ByteBuffer plain = readThrough(decrypt, cipher, 100);
        EXPECT_EQ(plain.size(), size);
        EXPECT_EQ(plain, data);
    }
}

// A read that asks for a number of bytes that is no whole number of blocks must not end the
// counter stream at a part block in the middle of the data.
TEST(RijndaelTransformationTest, CounterStreamReadsOfOddSizesAcrossTheInputWindowDecryptAlike) {
    const ByteBuffer key = randomBytes(32, 21);
    const ByteBuffer data = randomBytes(300007, 22);
    const ByteBuffer cipher = oracleCounter(key, nullptr, data);
    const std::vector<std::vector<int64_t>> turns = {
        {65530}, {70001}, {131075}, {100, 65541, 1024, 1025, 99999}};
    for (const int64_t sourceChunk : {0, 4097}) {
        for (const auto& sizes : turns) {
            RijndaelTransformation decrypt(false, CipherTransformation::kCounter, key.data(), 32);
            TransformationInputStream stream(
                std::make_unique<ScriptedInputStream>(cipher, sourceChunk), decrypt);
            ASSERT_EQ(readInTurns(stream, sizes), data)
                << "source " << sourceChunk << ", first read " << sizes[0];
        }
    }
}

TEST(RijndaelTransformationTest, CounterCapacityBelowOneBlockIsRefused) {
    const ByteBuffer key(16, 1);
    RijndaelTransformation aes(true, CipherTransformation::kCounter, key.data(), 16);
    uint8_t in[8] = {};
    uint8_t out[15];
    int32_t length = 15;
    EXPECT_EQ(aes.process(in, 8, out, &length), kTransformInputTooShort);
    EXPECT_EQ(length, 0);
}

TEST(RijndaelTransformationTest, ResetRestartsTheCounterFromTheVector) {
    const ByteBuffer key = randomBytes(16, 30);
    const ByteBuffer data = randomBytes(64, 31);
    RijndaelTransformation aes(true, CipherTransformation::kCounter, key.data(), 16);
    const uint8_t vector[16] = {9, 8, 7};
    aes.setVector(vector);
    ByteBuffer first(64), second(64);
    int32_t length = 64;
    aes.process(data.data(), 64, first.data(), &length);
    aes.reset();
    length = 64;
    aes.process(data.data(), 64, second.data(), &length);
    EXPECT_EQ(first, second);
    EXPECT_EQ(first, oracleCounter(key, vector, data));
}

// ---- chained and plain blocks, paddings -------------------------------------------------------

std::unique_ptr<RijndaelTransformation> cipher(bool encrypting, int32_t mode, int32_t padding,
                                               const ByteBuffer& key, const uint8_t* vector) {
    auto aes = std::make_unique<RijndaelTransformation>(encrypting, mode, key.data(),
                                                        static_cast<int32_t>(key.size()));
    aes->setPadding(padding);
    aes->setVector(vector);
    return aes;
}

TEST(CipherTransformationTest, ChainedAndPlainModesRoundTripWithEachPadding) {
    const ByteBuffer key = randomBytes(24, 40);
    const uint8_t vector[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    for (const int32_t mode :
         {CipherTransformation::kChained, CipherTransformation::kPlainBlocks}) {
        for (const int32_t padding : {0, 1, 2}) {
            for (const size_t size : {0, 1, 15, 16, 17, 32, 1000, 1024, 1040, 5000}) {
                if (padding == CipherTransformation::kNoPadding && size % 16 != 0)
                    continue;
                ByteBuffer data = randomBytes(size, static_cast<uint32_t>(size));
                if (!data.empty())
                    data.back() |= 1;  // zero fill cannot tell trailing zeros from its own
                const ByteBuffer sealed =
                    writeThrough(cipher(true, mode, padding, key, vector), data, 100);
                const size_t expected = padding == CipherTransformation::kCountFill
                                            ? (size / 16 + 1) * 16
                                            : (size + 15) / 16 * 16;
                EXPECT_EQ(sealed.size(), expected) << mode << padding << " " << size;
                auto opener = cipher(false, mode, padding, key, vector);
                EXPECT_EQ(readThrough(*opener, sealed, 77), data)
                    << mode << " " << padding << " " << size;
                const ByteBuffer reopened =
                    writeThrough(cipher(false, mode, padding, key, vector), sealed, 50);
                EXPECT_EQ(reopened, data) << mode << " " << padding << " " << size;
            }
        }
    }
}

TEST(CipherTransformationTest, ChainedModeMatchesMbedTlsCbc) {
    const ByteBuffer key = randomBytes(32, 41);
    uint8_t vector[16] = {0xA0, 1, 2};
    const ByteBuffer data = randomBytes(16 * 100, 42);
    const ByteBuffer ours = writeThrough(
        cipher(true, CipherTransformation::kChained, CipherTransformation::kNoPadding, key, vector),
        data, 100);
    mbedtls_aes_context context;
    mbedtls_aes_init(&context);
    mbedtls_aes_setkey_enc(&context, key.data(), 256);
    ByteBuffer expected(data.size());
    mbedtls_aes_crypt_cbc(&context, MBEDTLS_AES_ENCRYPT, data.size(), vector, data.data(),
                          expected.data());
    mbedtls_aes_free(&context);
    EXPECT_EQ(ours, expected);
}

TEST(CipherTransformationTest, CountFillPadsAWholeBlockAfterBlockAlignedData) {
    const ByteBuffer key = randomBytes(16, 43);
    const ByteBuffer data = randomBytes(32, 44);
    const ByteBuffer sealed = writeThrough(cipher(true, CipherTransformation::kPlainBlocks,
                                                  CipherTransformation::kCountFill, key, nullptr),
                                           data);
    ASSERT_EQ(sealed.size(), 48u);
    RijndaelTransformation plain(false, CipherTransformation::kPlainBlocks, key.data(), 16);
    ByteBuffer last(16);
    int32_t length = 16;
    plain.process(sealed.data() + 32, 16, last.data(), &length);
    EXPECT_EQ(last, ByteBuffer(16, 16));
}

// Decrypts one block whose plain text is `block` with count-byte padding in force.
int32_t openPadded(const ByteBuffer& block, int32_t* length) {
    const ByteBuffer key(16, 7);
    RijndaelTransformation seal(true, CipherTransformation::kPlainBlocks, key.data(), 16);
    ByteBuffer sealed(16);
    int32_t sealedLength = 16;
    seal.process(block.data(), 16, sealed.data(), &sealedLength);
    RijndaelTransformation open(false, CipherTransformation::kPlainBlocks, key.data(), 16);
    open.setPadding(CipherTransformation::kCountFill);
    ByteBuffer out(32);
    *length = 32;
    return open.process(sealed.data(), 16, out.data(), length);
}

TEST(CipherTransformationTest, CountFillWithLastByteZeroOrAboveSixteenIsBadPadding) {
    int32_t length = 0;
    ByteBuffer block(16, 0);
    EXPECT_EQ(openPadded(block, &length), kTransformBadPadding);
    block[15] = 17;
    EXPECT_EQ(openPadded(block, &length), kTransformBadPadding);
    block[15] = 0xFF;
    EXPECT_EQ(openPadded(block, &length), kTransformBadPadding);
    block = ByteBuffer(16, 3);
    block[13] = 4;  // one padding byte differs from the count
    EXPECT_EQ(openPadded(block, &length), kTransformBadPadding);
    block[13] = 3;
    EXPECT_EQ(openPadded(block, &length), 16);
    EXPECT_EQ(length, 13);
    block = ByteBuffer(16, 16);  // a whole block of padding is valid
    EXPECT_EQ(openPadded(block, &length), 16);
    EXPECT_EQ(length, 0);
}

TEST(CipherTransformationTest, ZeroFillDropsTrailingZerosOfTheLastBlock) {
    const ByteBuffer key(16, 8);
    ByteBuffer data = {'a', 'b', 0, 'c', 0, 0};
    const ByteBuffer sealed = writeThrough(cipher(true, CipherTransformation::kPlainBlocks,
                                                  CipherTransformation::kZeroFill, key, nullptr),
                                           data);
    ASSERT_EQ(sealed.size(), 16u);
    auto open = cipher(false, CipherTransformation::kPlainBlocks, CipherTransformation::kZeroFill,
                       key, nullptr);
    EXPECT_EQ(readThrough(*open, sealed), ByteBuffer({'a', 'b', 0, 'c'}));
}

TEST(CipherTransformationTest, DecryptingRefusesShortInputAndSmallCapacity) {
    const ByteBuffer key(16, 9);
    RijndaelTransformation open(false, CipherTransformation::kPlainBlocks, key.data(), 16);
    uint8_t in[32] = {};
    uint8_t out[32];
    int32_t length = 32;
    EXPECT_EQ(open.process(in, 15, out, &length), kTransformInputTooShort);
    EXPECT_EQ(length, 0);
    length = 15;
    EXPECT_EQ(open.process(in, 16, out, &length), kTransformOutputTooSmall);
    EXPECT_EQ(length, 0);
    RijndaelTransformation seal(true, CipherTransformation::kPlainBlocks, key.data(), 16);
    length = 15;
    EXPECT_EQ(seal.process(in, 16, out, &length), kTransformOutputTooSmall);
}

TEST(CipherTransformationTest, BlockSizesDoubleOnlyForPaddedDecryption) {
    const ByteBuffer key(16, 1);
    RijndaelTransformation seal(true, CipherTransformation::kChained, key.data(), 16);
    seal.setPadding(CipherTransformation::kCountFill);
    EXPECT_EQ(seal.getInputBlockSize(), 16);
    EXPECT_EQ(seal.getOutputBlockSize(), 16);
    RijndaelTransformation open(false, CipherTransformation::kChained, key.data(), 16);
    EXPECT_EQ(open.getOutputBlockSize(), 16);
    open.setPadding(CipherTransformation::kZeroFill);
    EXPECT_EQ(open.getOutputBlockSize(), 32);
}

TEST(CipherTransformationTest, FeedbackModeHasNoProcess) {
    const ByteBuffer key(16, 2);
    RijndaelTransformation aes(false, CipherTransformation::kFeedback, key.data(), 16);
    uint8_t in[16] = {};
    uint8_t out[16];
    int32_t length = 16;
    EXPECT_EQ(aes.process(in, 16, out, &length), kTransformNoProcess);
    EXPECT_EQ(length, 0);
}

TEST(CipherTransformationTest, FeedbackVectorWhileEncryptingFailsToInitialise) {
    const ByteBuffer key(16, 2);
    RijndaelTransformation aes(true, CipherTransformation::kFeedback, key.data(), 16);
    const uint8_t vector[16] = {1};
    EXPECT_STREQ(thrown([&] { aes.setVector(vector); }).what(), "Failed to initialize CFB");
    EXPECT_STREQ(thrown([&] { aes.setVector(nullptr); }).what(), "Source is required");
    RijndaelTransformation open(false, CipherTransformation::kFeedback, key.data(), 16);
    EXPECT_NO_THROW(open.setVector(vector));
}

}  // namespace
