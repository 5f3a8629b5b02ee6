// RijndaelEnginesTest.cpp: both engines of RijndaelTransformation, the processor's AES
// instructions and the table code, against mbed TLS on the same random keys and inputs, for every
// key size and mode. Each object is checked to run the engine it should on this processor.
#include "StreamTestSupport.h"
#include "streams/Transformation.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <mbedtls/aes.h>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>
#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace {

using Engine = RijndaelTransformation::Engine;
using streamtest::ReadAll;
using streamtest::RecordingOutputStream;
using streamtest::ScriptedInputStream;

// Asked of the processor here, apart from the code under test: AES-NI and SSE4.1.
bool processorHasAes() {
#if defined(__x86_64__)
    unsigned a = 0, b = 0, c = 0, d = 0;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_AES) != 0 && (c & bit_SSE4_1) != 0;
#else
    return false;
#endif
}

ByteBuffer randomBytes(size_t size, std::mt19937& generator) {
    ByteBuffer data(size);
    for (auto& byte : data)
        byte = static_cast<uint8_t>(generator());
    return data;
}

// ---- mbed TLS as the oracle --------------------------------------------------------------------

class MbedAes {
public:
    MbedAes(const ByteBuffer& key, bool encrypting) {
        mbedtls_aes_init(&context);
        const auto bits = static_cast<unsigned>(key.size() * 8);
        if (encrypting)
            mbedtls_aes_setkey_enc(&context, key.data(), bits);
        else
            mbedtls_aes_setkey_dec(&context, key.data(), bits);
    }
    ~MbedAes() { mbedtls_aes_free(&context); }
    MbedAes(const MbedAes&) = delete;
    MbedAes& operator=(const MbedAes&) = delete;

    void block(int direction, const uint8_t* in, uint8_t* out) {
        mbedtls_aes_crypt_ecb(&context, direction, in, out);
    }
    ByteBuffer plain(int direction, const ByteBuffer& data) {
        ByteBuffer out(data.size());
        for (size_t at = 0; at + 16 <= data.size(); at += 16)
            block(direction, data.data() + at, out.data() + at);
        return out;
    }
    ByteBuffer chained(int direction, const uint8_t* vector, const ByteBuffer& data) {
        uint8_t chain[16];
        std::memcpy(chain, vector, 16);
        ByteBuffer out(data.size());
        mbedtls_aes_crypt_cbc(&context, direction, data.size(), chain, data.data(), out.data());
        return out;
    }

private:
    mbedtls_aes_context context;
};

// Our counter mode from mbed TLS's single block: before each block, whole or part, the 16-byte
// counter is incremented as a little-endian number. `counter` is left at the last one used.
ByteBuffer oracleCounter(const ByteBuffer& key, uint8_t* counter, const ByteBuffer& data) {
    MbedAes aes(key, true);
    ByteBuffer out(data.size());
    uint8_t stream[16];
    for (size_t at = 0; at < data.size(); at += 16) {
        for (int i = 0; i < 16 && ++counter[i] == 0; ++i) {
        }
        aes.block(MBEDTLS_AES_ENCRYPT, counter, stream);
        for (size_t i = 0; i < 16 && at + i < data.size(); ++i)
            out[at + i] = data[at + i] ^ stream[i];
    }
    return out;
}

// Count-byte padding, as mbed TLS's callers add it themselves.
ByteBuffer countFilled(ByteBuffer data) {
    const size_t pad = 16 - data.size() % 16;
    data.insert(data.end(), pad, static_cast<uint8_t>(pad));
    return data;
}

// ---- our side ----------------------------------------------------------------------------------

ByteBuffer writeThrough(std::unique_ptr<RijndaelTransformation> aes, const ByteBuffer& data,
                        size_t piece) {
    auto sink = std::make_unique<RecordingOutputStream>();
    RecordingOutputStream& target = *sink;  // owned by the stream, which outlives the read below
    TransformationOutputStream stream(std::move(sink), std::move(aes));
    for (size_t at = 0; at < data.size(); at += piece)
        stream.write(data.data() + at, static_cast<int64_t>(std::min(piece, data.size() - at)));
    stream.flush();
    return target.data;
}

ByteBuffer readThrough(RijndaelTransformation& aes, const ByteBuffer& data, int64_t chunk,
                       int64_t sourceChunk) {
    TransformationInputStream stream(std::make_unique<ScriptedInputStream>(data, sourceChunk), aes);
    return ReadAll(stream, chunk);
}

// One process call over the whole of `data`, which must all be taken.
ByteBuffer processAll(RijndaelTransformation& aes, const ByteBuffer& data) {
    ByteBuffer out(std::max<size_t>(data.size(), 16));
    int32_t length = static_cast<int32_t>(out.size());
    EXPECT_EQ(aes.process(data.data(), static_cast<int32_t>(data.size()), out.data(), &length),
              static_cast<int32_t>(data.size()));
    EXPECT_EQ(length, static_cast<int32_t>(data.size()));
    out.resize(data.size());
    return out;
}

const int32_t kModes[] = {CipherTransformation::kChained, CipherTransformation::kCounter,
                          CipherTransformation::kFeedback, CipherTransformation::kPlainBlocks};

// Counter starts that carry far: into the high half inside a group of blocks, and through all 16
// bytes to zero.
std::vector<ByteBuffer> counterStarts(std::mt19937& generator) {
    ByteBuffer nearHalf(16, 0);
    std::fill(nearHalf.begin(), nearHalf.begin() + 8, 0xFF);
    nearHalf[0] = 0xFC;
    return {ByteBuffer(16, 0), randomBytes(16, generator), nearHalf, ByteBuffer(16, 0xFF)};
}

std::vector<size_t> counterLengths() {
    std::vector<size_t> lengths;
    for (size_t size = 0; size <= 300; ++size)
        lengths.push_back(size);
    lengths.insert(lengths.end(), {1023, 1024, 1025, 4096 + 7, 65536 + 13, (1 << 20) + 5});
    return lengths;
}

// Each test runs for one engine and one key size.
struct EngineCase {
    Engine engine;
    size_t keyBytes;
};

std::string caseName(const EngineCase& c) {
    return std::string(c.engine == Engine::kFastest ? "Fastest" : "Tables") +
           std::to_string(8 * c.keyBytes);
}

// How GoogleTest shows a case.
void PrintTo(const EngineCase& c, std::ostream* out) { *out << caseName(c); }

class RijndaelEngineTest : public ::testing::TestWithParam<EngineCase> {
protected:
    Engine engine() const { return GetParam().engine; }
    size_t keySize() const { return GetParam().keyBytes; }

    // A transformation on the engine under test; fails the test when it runs another.
    std::unique_ptr<RijndaelTransformation> make(bool encrypting, int32_t mode,
                                                 const ByteBuffer& key) {
        auto aes = std::make_unique<RijndaelTransformation>(
            encrypting, mode, key.data(), static_cast<int32_t>(key.size()), engine());
        const bool expected = engine() == Engine::kFastest && processorHasAes();
        EXPECT_EQ(aes->usesAesInstructions(), expected)
            << "encrypting " << encrypting << " mode " << mode;
        return aes;
    }

    // Seeded by the case, so that a failure repeats.
    std::mt19937 generator{
        static_cast<uint32_t>(2 * keySize() + (engine() == Engine::kTables ? 1 : 0))};
};

TEST(RijndaelEngineChoiceTest, FastestTakesTheInstructionsExactlyWhereTheProcessorHasThem) {
    EXPECT_EQ(RijndaelTransformation::aesInstructionsAvailable(), processorHasAes());
    const ByteBuffer key(32, 1);
    for (const bool encrypting : {true, false}) {
        for (const int32_t mode : kModes) {
            const RijndaelTransformation fastest(encrypting, mode, key.data(), 32);
            EXPECT_EQ(fastest.usesAesInstructions(), processorHasAes()) << encrypting << mode;
            const RijndaelTransformation tables(encrypting, mode, key.data(), 32, Engine::kTables);
            EXPECT_FALSE(tables.usesAesInstructions()) << encrypting << mode;
        }
    }
    std::printf("[          ] the processor's AES instructions are %s\n",
                processorHasAes() ? "present and in use" : "absent: the tables run");
}

TEST_P(RijndaelEngineTest, CounterModeMatchesMbedTlsInOneCall) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    for (const ByteBuffer& start : counterStarts(generator)) {
        for (const size_t size : counterLengths()) {
            const ByteBuffer data = randomBytes(size, generator);
            ByteBuffer counter = start;
            const ByteBuffer expected = oracleCounter(key, counter.data(), data);
            // Either direction encrypts the counter.
            auto aes = make(size % 2 == 0, CipherTransformation::kCounter, key);
            aes->setVector(start.data());
            ASSERT_EQ(processAll(*aes, data), expected) << size;
        }
    }
}

TEST_P(RijndaelEngineTest, CounterModeInOddPiecesStartsEachPieceOnAFreshBlock) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    const size_t pieces[] = {1, 7, 16, 13, 129, 333, 1000, 17, 128, 255, 3, 4096 + 9};
    for (const ByteBuffer& start : counterStarts(generator)) {
        auto aes = make(true, CipherTransformation::kCounter, key);
        aes->setVector(start.data());
        ByteBuffer counter = start;
        for (const size_t piece : pieces) {
            const ByteBuffer data = randomBytes(piece, generator);
            // A part block at the end of a call uses up its counter.
            ASSERT_EQ(processAll(*aes, data), oracleCounter(key, counter.data(), data)) << piece;
        }
    }
}

TEST_P(RijndaelEngineTest, CounterModeInPlaceAndOverlappingMatchTheTables) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    const ByteBuffer data = randomBytes(1000, generator);
    ByteBuffer counter(16, 0);
    const ByteBuffer expected = oracleCounter(key, counter.data(), data);
    ByteBuffer buffer = data;
    auto aes = make(true, CipherTransformation::kCounter, key);
    int32_t length = 1000;
    ASSERT_EQ(aes->process(buffer.data(), 1000, buffer.data(), &length), 1000);
    EXPECT_EQ(buffer, expected);
    // Buffers that overlap apart: whatever the table code gives, on either engine.
    for (const int shift : {-4, -16, -17, 4, 16, 17}) {
        ByteBuffer ours(1100, 0), tables(1100, 0);
        std::copy(data.begin(), data.end(), ours.begin() + 40);
        std::copy(data.begin(), data.end(), tables.begin() + 40);
        auto reference = std::make_unique<RijndaelTransformation>(
            true, CipherTransformation::kCounter, key.data(), static_cast<int32_t>(key.size()),
            Engine::kTables);
        aes = make(true, CipherTransformation::kCounter, key);
        int32_t oursLength = 1000, tablesLength = 1000;
        EXPECT_EQ(aes->process(ours.data() + 40, 1000, ours.data() + 40 + shift, &oursLength),
                  reference->process(tables.data() + 40, 1000, tables.data() + 40 + shift,
                                     &tablesLength));
        EXPECT_EQ(oursLength, tablesLength);
        EXPECT_EQ(ours, tables) << shift;
    }
}

TEST_P(RijndaelEngineTest, CounterModeThroughTheStreamsInOddPieces) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    for (const size_t size : {1, 15, 17, 1023, 1025, 5000 + 3, 70001}) {
        const ByteBuffer data = randomBytes(size, generator);
        ByteBuffer counter(16, 0);
        const ByteBuffer expected = oracleCounter(key, counter.data(), data);
        for (const size_t piece : {1, 7, 333, 1025}) {
            EXPECT_EQ(writeThrough(make(true, CipherTransformation::kCounter, key), data, piece),
                      expected)
                << size << " " << piece;
        }
        for (const int64_t sourceChunk : {1, 13, 1000}) {
            auto aes = make(false, CipherTransformation::kCounter, key);
            EXPECT_EQ(readThrough(*aes, expected, 77, sourceChunk), data)
                << size << " " << sourceChunk;
        }
    }
}

TEST_P(RijndaelEngineTest, CounterModeCapacityLimitsAndRefusals) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    const ByteBuffer data = randomBytes(300, generator);
    auto aes = make(true, CipherTransformation::kCounter, key);
    ByteBuffer out(300);
    int32_t length = 15;
    EXPECT_EQ(aes->process(data.data(), 300, out.data(), &length), kTransformInputTooShort);
    EXPECT_EQ(length, 0);
    length = 200;  // less than the input: only that much is taken
    EXPECT_EQ(aes->process(data.data(), 300, out.data(), &length), 200);
    EXPECT_EQ(length, 200);
    ByteBuffer counter(16, 0);
    const ByteBuffer head(data.begin(), data.begin() + 200);
    out.resize(200);
    EXPECT_EQ(out, oracleCounter(key, counter.data(), head));
}

TEST_P(RijndaelEngineTest, ChainedModeMatchesMbedTlsCbcWithEachPadding) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    const ByteBuffer vector = randomBytes(16, generator);
    MbedAes seal(key, true), open(key, false);
    for (const size_t size : {0, 1, 15, 16, 17, 31, 32, 1000, 1024, 1040, 4099}) {
        const ByteBuffer data = randomBytes(size, generator);
        for (const int32_t padding :
             {CipherTransformation::kNoPadding, CipherTransformation::kCountFill}) {
            if (padding == CipherTransformation::kNoPadding && size % 16 != 0)
                continue;
            const ByteBuffer plain =
                padding == CipherTransformation::kCountFill ? countFilled(data) : data;
            const ByteBuffer expected = seal.chained(MBEDTLS_AES_ENCRYPT, vector.data(), plain);
            ASSERT_EQ(open.chained(MBEDTLS_AES_DECRYPT, vector.data(), expected), plain);
            for (const size_t piece : {7, 100, 333}) {
                auto encrypt = make(true, CipherTransformation::kChained, key);
                encrypt->setPadding(padding);
                encrypt->setVector(vector.data());
                EXPECT_EQ(writeThrough(std::move(encrypt), data, piece), expected)
                    << size << " " << padding << " " << piece;
                auto decrypt = make(false, CipherTransformation::kChained, key);
                decrypt->setPadding(padding);
                decrypt->setVector(vector.data());
                EXPECT_EQ(readThrough(*decrypt, expected, static_cast<int64_t>(piece), 13), data)
                    << size << " " << padding << " " << piece;
            }
        }
    }
}

TEST_P(RijndaelEngineTest, PlainBlocksMatchMbedTlsBothWays) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    MbedAes seal(key, true), open(key, false);
    for (const size_t blocks : {1, 2, 7, 64, 65, 300}) {
        const ByteBuffer data = randomBytes(16 * blocks, generator);
        const ByteBuffer sealed = seal.plain(MBEDTLS_AES_ENCRYPT, data);
        EXPECT_EQ(writeThrough(make(true, CipherTransformation::kPlainBlocks, key), data, 7),
                  sealed)
            << blocks;
        EXPECT_EQ(writeThrough(make(false, CipherTransformation::kPlainBlocks, key), sealed, 333),
                  open.plain(MBEDTLS_AES_DECRYPT, sealed))
            << blocks;
        auto decrypt = make(false, CipherTransformation::kPlainBlocks, key);
        EXPECT_EQ(processAll(*decrypt, sealed), data) << blocks;
    }
}

TEST_P(RijndaelEngineTest, SingleBlocksMatchMbedTlsInEveryMode) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    MbedAes seal(key, true), open(key, false);
    for (const bool encrypting : {true, false}) {
        for (const int32_t mode : kModes) {
            auto aes = make(encrypting, mode, key);
            // Decrypting objects decrypt their blocks, save in counter mode.
            const bool decrypts = !encrypting && mode != CipherTransformation::kCounter;
            for (int i = 0; i < 20; ++i) {
                const ByteBuffer block = randomBytes(16, generator);
                uint8_t ours[16], theirs[16];
                ASSERT_EQ(aes->processBlock(block.data(), ours), 16);
                if (decrypts)
                    open.block(MBEDTLS_AES_DECRYPT, block.data(), theirs);
                else
                    seal.block(MBEDTLS_AES_ENCRYPT, block.data(), theirs);
                ASSERT_EQ(ByteBuffer(ours, ours + 16), ByteBuffer(theirs, theirs + 16))
                    << encrypting << " " << mode;
            }
        }
    }
}

TEST_P(RijndaelEngineTest, FeedbackModeAndOverlappingBlocksAreRefusedAlike) {
    const ByteBuffer key = randomBytes(keySize(), generator);
    auto feedback = make(false, CipherTransformation::kFeedback, key);
    uint8_t in[16] = {}, out[16];
    int32_t length = 16;
    EXPECT_EQ(feedback->process(in, 16, out, &length), kTransformNoProcess);
    EXPECT_EQ(length, 0);
    for (const bool encrypting : {true, false}) {
        auto aes = make(encrypting, CipherTransformation::kPlainBlocks, key);
        uint8_t buffer[40] = {};
        EXPECT_EQ(aes->processBlock(buffer + 4, buffer), kTransformNoProcess);
        EXPECT_EQ(aes->processBlock(buffer + 4, buffer + 4), 16);
        EXPECT_EQ(aes->processBlock(buffer + 20, buffer), 16);
    }
}

const EngineCase kCases[] = {{Engine::kFastest, 16}, {Engine::kFastest, 24}, {Engine::kFastest, 32},
                             {Engine::kTables, 16},  {Engine::kTables, 24},  {Engine::kTables, 32}};

INSTANTIATE_TEST_SUITE_P(EnginesAndKeySizes, RijndaelEngineTest, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return caseName(info.param); });

}  // namespace
