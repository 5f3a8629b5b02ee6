// Crc32.cpp: the CRC-32 and CRC-32C checksums, byte-wise or folded with the carry-less
// multiply where the processor has it, and the string checksum of CUtils.
#include "Crc32Folding.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/Hash.h"

#include <array>
#include <atomic>

namespace {

// The plain byte-wise table of a reversed polynomial, computed by the compiler so that it is held
// as constant data.
constexpr std::array<uint32_t, 256> MakeTable(uint32_t reversedPolynomial) {
    std::array<uint32_t, 256> table{};
    for (uint32_t index = 0; index < 256; ++index) {
        uint32_t entry = index;
        for (int bit = 0; bit < 8; ++bit) {
            entry = (entry & 1u) ? (entry >> 1) ^ reversedPolynomial : entry >> 1;
        }
        table[index] = entry;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kStandardTable = MakeTable(0xEDB88320u);
constexpr std::array<uint32_t, 256> kCastagnoliTable = MakeTable(0x82F63B78u);

static_assert(kStandardTable[1] == 0x77073096u && kStandardTable[255] == 0x2D02EF8Du);
static_assert(kCastagnoliTable[1] == 0xF26B8303u && kCastagnoliTable[255] == 0xAD7D5351u);

constexpr crc32fold::Constants kStandardFolding = crc32fold::MakeConstants(0xEDB88320u);
constexpr crc32fold::Constants kCastagnoliFolding = crc32fold::MakeConstants(0x82F63B78u);

// The folding constants checked another way. Every power of x they use, by plain-order doubling
// and reduction, against the reflected steps of PowerOfX:
constexpr bool PowersAgree(uint32_t reversedPolynomial) {
    const uint64_t plain = crc32fold::PlainPolynomial(reversedPolynomial);
    uint64_t power = 1;  // x^0
    for (unsigned n = 0; n < 512 + 64; ++n) {
        if (crc32fold::Reflect(power, 32) != crc32fold::PowerOfX(reversedPolynomial, n)) {
            return false;
        }
        power <<= 1;
        if (power & (uint64_t{1} << 32)) {
            power ^= plain;
        }
    }
    return true;
}

// and the Barrett quotient q by multiplying it back: q * P is x^64 plus a remainder below x^32.
constexpr bool QuotientIsExact(uint32_t reversedPolynomial) {
    const uint64_t quotient = crc32fold::QuotientOfX64(reversedPolynomial);
    const uint64_t plain = crc32fold::PlainPolynomial(reversedPolynomial);
    uint64_t productAbove32 = 0;  // carry-less, so each term's part above x^32 stands alone
    for (unsigned bit = 0; bit <= 32; ++bit) {
        if ((quotient >> bit) & 1u) {
            productAbove32 ^= plain >> (32 - bit);
        }
    }
    return quotient >> 33 == 0 && productAbove32 == uint64_t{1} << 32;
}

static_assert(PowersAgree(0xEDB88320u) && PowersAgree(0x82F63B78u));
static_assert(QuotientIsExact(0xEDB88320u) && QuotientIsExact(0x82F63B78u));

// Below one 64-byte block the table is as quick as setting up the fold.
constexpr int64_t kFoldMinimum = 64;

// Constant-initialised, so usable by any Crc32 built during static initialisation.
std::atomic<Crc32::Engine> chosenEngine{Crc32::Engine::Automatic};
std::atomic<uint64_t> foldedByteCount{0};

}  // namespace

void Crc32::setEngine(Engine engine) { chosenEngine.store(engine, std::memory_order_relaxed); }

Crc32::Engine Crc32::getEngine() { return chosenEngine.load(std::memory_order_relaxed); }

bool Crc32::canFold() {
#if ORV_CRC32_FOLDING
    static const bool processorCanFold = crc32fold::ProcessorCanFold();
    return processorCanFold;
#else
    return false;
#endif
}

uint64_t Crc32::foldedBytes() { return foldedByteCount.load(std::memory_order_relaxed); }

Crc32::Crc32(uint32_t polynomial)
    : swapped(polynomial == kCastagnoliSelector),
      table(swapped ? kCastagnoliTable.data() : kStandardTable.data()) {
    reset();
}

void Crc32::update(const uint8_t* data, int64_t length) {
    if (data == nullptr || length <= 0) {
        return;
    }
    // Local copies keep the state in registers: the loop never reloads through `this`.
    uint32_t crc = value;
#if ORV_CRC32_FOLDING
    if (length >= kFoldMinimum && getEngine() == Engine::Automatic && canFold()) {
        const int64_t folded = length & ~int64_t{15};
        crc = crc32fold::FoldBlocks(crc, data, static_cast<size_t>(folded),
                                    swapped ? kCastagnoliFolding : kStandardFolding);
        // A plain load and store, not a locked add: the count is for tests.
        foldedByteCount.store(foldedBytes() + static_cast<uint64_t>(folded),
                              std::memory_order_relaxed);
        data += folded;
        length -= folded;
    }
#endif
    const uint32_t* const entries = table;
    const uint8_t* const end = data + length;
    for (const uint8_t* byte = data; byte != end; ++byte) {
        crc = (crc >> 8) ^ entries[(crc ^ *byte) & 0xFFu];
    }
    value = crc;
}

uint32_t Crc32::result() const {
    const uint32_t crc = ~value;
    if (!swapped) {
        return crc;
    }
    return (crc >> 24) | ((crc >> 8) & 0x0000FF00u) | ((crc << 8) & 0x00FF0000u) | (crc << 24);
}

void Crc32::final(uint8_t* output, int64_t outputLength) {
    if (outputLength < 4) {
        throw OVException("Ivalid CRC output buffer length");
    }
    // Most significant byte first: the archive code reads the four bytes back the same way.
    const uint32_t crc = result();
    output[0] = static_cast<uint8_t>(crc >> 24);
    output[1] = static_cast<uint8_t>(crc >> 16);
    output[2] = static_cast<uint8_t>(crc >> 8);
    output[3] = static_cast<uint8_t>(crc);
}

// Declared with the text utilities, defined here: the common library cannot depend on streams.
uint32_t CUtils::Crc32OfString(const std::string& bytes) {
    Crc32 crc(Crc32::kStandard);
    crc.update(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int64_t>(bytes.size()));
    return crc.result();
}
