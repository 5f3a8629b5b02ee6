// Crc32EngineTest.cpp: the folded CRC-32 (carry-less multiply) and the byte-wise table give the
// same values, for both polynomials, at every length, start alignment and division into pieces;
// and where the processor can fold, the folding is what ran.
#include "streams/Hash.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>
#include <random>
#include <string>
#include <vector>
#include <zlib.h>

// Names the engine in test names and messages; global like Crc32, so that lookup finds it.
void PrintTo(Crc32::Engine engine, std::ostream* out) {
    *out << (engine == Crc32::Engine::Automatic ? "Automatic" : "Table");
}

namespace {

using Engine = Crc32::Engine;

constexpr uint32_t kCastagnoliReversed = 0x82F63B78u;

// Sets the engine for one scope and puts the one before back.
class EngineScope {
public:
    explicit EngineScope(Engine engine) : previous(Crc32::getEngine()) { Crc32::setEngine(engine); }
    ~EngineScope() { Crc32::setEngine(previous); }
    EngineScope(const EngineScope&) = delete;
    EngineScope& operator=(const EngineScope&) = delete;

private:
    Engine previous;
};

// Asked of the processor here, not of the code under test.
bool MachineHasCarrylessMultiply() {
#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
#else
    return false;
#endif
}

std::vector<uint8_t> RandomBytes(size_t length, uint32_t seed) {
    std::mt19937 generator(seed);
    std::vector<uint8_t> bytes(length);
    for (auto& byte : bytes)
        byte = static_cast<uint8_t>(generator());
    return bytes;
}

uint32_t ZlibCrc(const uint8_t* data, size_t length) {
    return static_cast<uint32_t>(crc32(0L, data, static_cast<uInt>(length)));
}

// One bit at a time, as the polynomial is defined: a reference that shares nothing with the
// code under test.
uint32_t BitwiseCrc(uint32_t reversedPolynomial, const uint8_t* data, size_t length) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t index = 0; index < length; ++index) {
        crc ^= data[index];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) ? (crc >> 1) ^ reversedPolynomial : crc >> 1;
    }
    return ~crc;
}

uint32_t ByteSwapped(uint32_t value) {
    return (value >> 24) | ((value >> 8) & 0xFF00u) | ((value << 8) & 0xFF0000u) | (value << 24);
}

uint32_t Checksum(uint32_t selector, Engine engine, const uint8_t* data, size_t length) {
    EngineScope scope(engine);
    Crc32 crc(selector);
    crc.update(data, static_cast<int64_t>(length));
    return crc.result();
}

// What a single update of `length` bytes folds: all its whole 16-byte blocks from 64 bytes on.
uint64_t ExpectedFolded(Engine engine, size_t length) {
    if (engine == Engine::Table || !MachineHasCarrylessMultiply() || length < 64)
        return 0;
    return length - length % 16;
}

// Checks one input at one start pointer with one engine against the references: zlib for the
// standard polynomial, the table for CRC-32C (and the bitwise reference where it is cheap).
void CheckBothPolynomials(Engine engine, const uint8_t* data, size_t length) {
    const uint64_t before = Crc32::foldedBytes();
    const uint32_t standard = Checksum(Crc32::kStandard, engine, data, length);
    ASSERT_EQ(standard, ZlibCrc(data, length)) << "length " << length;
    const uint32_t castagnoli = Checksum(Crc32::kCastagnoliSelector, engine, data, length);
    ASSERT_EQ(castagnoli, Checksum(Crc32::kCastagnoliSelector, Engine::Table, data, length))
        << "length " << length;
    if (length <= 4096) {
        ASSERT_EQ(castagnoli, ByteSwapped(BitwiseCrc(kCastagnoliReversed, data, length)))
            << "length " << length;
    }
    // Two folded updates (the table reference folds nothing).
    ASSERT_EQ(Crc32::foldedBytes() - before, 2 * ExpectedFolded(engine, length))
        << "length " << length;
}

class Crc32EngineTest : public testing::TestWithParam<Engine> {};

TEST(Crc32EngineChoiceTest, CanFoldWhereTheProcessorHasCarrylessMultiply) {
    EXPECT_EQ(Crc32::canFold(), MachineHasCarrylessMultiply());
    EXPECT_EQ(Crc32::getEngine(), Engine::Automatic);
    {
        EngineScope scope(Engine::Table);
        EXPECT_EQ(Crc32::getEngine(), Engine::Table);
    }
    EXPECT_EQ(Crc32::getEngine(), Engine::Automatic);
}

TEST(Crc32EngineChoiceTest, AutomaticFoldsWhereItCanAndTableNever) {
    const std::vector<uint8_t> data = RandomBytes(1000, 3);
    uint64_t before = Crc32::foldedBytes();
    Checksum(Crc32::kStandard, Engine::Automatic, data.data(), data.size());
    EXPECT_EQ(Crc32::foldedBytes() - before, MachineHasCarrylessMultiply() ? 992u : 0u);
    before = Crc32::foldedBytes();
    Checksum(Crc32::kStandard, Engine::Table, data.data(), data.size());
    Checksum(Crc32::kStandard, Engine::Automatic, data.data(), 63);
    EXPECT_EQ(Crc32::foldedBytes(), before);
}

TEST_P(Crc32EngineTest, KnownAnswers) {
    EngineScope scope(GetParam());
    Crc32 standard(Crc32::kStandard);
    Crc32 castagnoli(Crc32::kCastagnoliSelector);
    const std::string check = "123456789";
    // The check values, then 263 bytes more (folded where the engine folds), which continue them.
    for (Crc32* crc : {&standard, &castagnoli})
        crc->update(reinterpret_cast<const uint8_t*>(check.data()), 9);
    EXPECT_EQ(standard.result(), 0xCBF43926u);
    EXPECT_EQ(castagnoli.result(), ByteSwapped(0xE3069283u));
    std::vector<uint8_t> longer(64 * 4 + 7, 0x5A);
    standard.update(longer.data(), static_cast<int64_t>(longer.size()));
    castagnoli.update(longer.data(), static_cast<int64_t>(longer.size()));
    longer.insert(longer.begin(), check.begin(), check.end());
    EXPECT_EQ(standard.result(), ZlibCrc(longer.data(), longer.size()));
    EXPECT_EQ(castagnoli.result(),
              ByteSwapped(BitwiseCrc(kCastagnoliReversed, longer.data(), longer.size())));
}

TEST_P(Crc32EngineTest, EveryLengthUpTo300AtEveryAlignment) {
    const std::vector<uint8_t> buffer = RandomBytes(300 + 16, 11);
    for (size_t alignment = 0; alignment < 16; ++alignment) {
        for (size_t length = 0; length <= 300; ++length) {
            CheckBothPolynomials(GetParam(), buffer.data() + alignment, length);
            if (testing::Test::HasFatalFailure()) {
                FAIL() << "alignment " << alignment;
            }
        }
    }
}

TEST_P(Crc32EngineTest, LargeAndOddLengthsAtEveryAlignment) {
    const std::vector<size_t> lengths = {511,  512,  513,        1000,           4095,
                                         4096, 4097, 65536 + 13, (1u << 20) - 1, (1u << 20) + 7};
    const std::vector<uint8_t> buffer = RandomBytes((1u << 20) + 7 + 16, 12);
    for (size_t length : lengths) {
        for (size_t alignment = 0; alignment < 16; ++alignment) {
            CheckBothPolynomials(GetParam(), buffer.data() + alignment, length);
            if (testing::Test::HasFatalFailure()) {
                FAIL() << "alignment " << alignment;
            }
        }
    }
}

TEST_P(Crc32EngineTest, PiecesOfOddSizesGiveTheWholeValue) {
    EngineScope scope(GetParam());
    const std::vector<uint8_t> data = RandomBytes((1u << 20) + 7, 13);
    const std::vector<size_t> pieces = {1, 3, 15, 17, 63, 64, 65, 127, 129, 1023, 4097, 7, 333};
    for (uint32_t selector : {Crc32::kStandard, Crc32::kCastagnoliSelector}) {
        const uint32_t whole = Checksum(selector, Engine::Table, data.data(), data.size());
        const uint64_t before = Crc32::foldedBytes();
        Crc32 crc(selector);
        size_t offset = 0;
        uint64_t expectedFolded = 0;
        for (size_t turn = 0; offset < data.size(); ++turn) {
            const size_t piece = std::min(pieces[turn % pieces.size()], data.size() - offset);
            crc.update(data.data() + offset, static_cast<int64_t>(piece));
            expectedFolded += ExpectedFolded(GetParam(), piece);
            offset += piece;
        }
        EXPECT_EQ(crc.result(), whole) << selector;
        EXPECT_EQ(Crc32::foldedBytes() - before, expectedFolded) << selector;
    }
}

INSTANTIATE_TEST_SUITE_P(BothEngines, Crc32EngineTest,
                         testing::Values(Engine::Automatic, Engine::Table),
                         [](const testing::TestParamInfo<Engine>& info) {
                             return testing::PrintToString(info.param);
                         });

TEST(Crc32EngineSwitchTest, OneChecksumCarriedOnAcrossEngines) {
    const std::vector<uint8_t> data = RandomBytes(3000, 14);
    for (uint32_t selector : {Crc32::kStandard, Crc32::kCastagnoliSelector}) {
        const uint32_t whole = Checksum(selector, Engine::Table, data.data(), data.size());
        Crc32 crc(selector);
        {
            EngineScope scope(Engine::Automatic);
            crc.update(data.data(), 1001);
        }
        {
            EngineScope scope(Engine::Table);
            crc.update(data.data() + 1001, 999);
        }
        crc.update(data.data() + 2000, 1000);
        EXPECT_EQ(crc.result(), whole) << selector;
    }
}

}  // namespace
