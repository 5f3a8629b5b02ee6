// ByteOrderTest.cpp: little- and big-endian values read and written byte by byte.
#include "common/CUtils.h"

#include <array>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

using Bytes = std::array<uint8_t, 12>;

// A buffer filled with a pattern, so that bytes a write must not touch can be checked.
Bytes Filled() {
    Bytes bytes{};
    bytes.fill(0xEE);
    return bytes;
}

}  // namespace

TEST(ByteOrder, WriteLE64LaysOutLowestByteFirst) {
    Bytes bytes = Filled();
    CUtils::WriteLE64(bytes.data(), 0x0102030405060708ull);
    EXPECT_EQ(bytes,
              (Bytes{0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST(ByteOrder, WriteLE32LaysOutLowestByteFirst) {
    Bytes bytes = Filled();
    CUtils::WriteLE32(bytes.data(), 0x04034B50u);
    EXPECT_EQ(bytes,
              (Bytes{0x50, 0x4B, 0x03, 0x04, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST(ByteOrder, WriteLE16LaysOutLowestByteFirst) {
    Bytes bytes = Filled();
    CUtils::WriteLE16(bytes.data(), 0xA1B2);
    EXPECT_EQ(bytes,
              (Bytes{0xB2, 0xA1, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST(ByteOrder, WriteBE32LaysOutHighestByteFirst) {
    Bytes bytes = Filled();
    CUtils::WriteBE32(bytes.data(), 0x01020304u);
    EXPECT_EQ(bytes,
              (Bytes{0x01, 0x02, 0x03, 0x04, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST(ByteOrder, ReadsExactLayout) {
    const Bytes bytes{0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0xFF, 0x80, 0x00, 0x7F};
    EXPECT_EQ(CUtils::ReadLE64(bytes.data()), 0x0102030405060708ull);
    EXPECT_EQ(CUtils::ReadLE32(bytes.data()), 0x05060708u);
    EXPECT_EQ(CUtils::ReadLE16(bytes.data()), 0x0708u);
    EXPECT_EQ(CUtils::ReadBE32(bytes.data()), 0x08070605u);
    // High bytes stay unsigned: no sign spreads into the upper bits.
    EXPECT_EQ(CUtils::ReadLE32(bytes.data() + 8), 0x7F0080FFu);
    EXPECT_EQ(CUtils::ReadLE16(bytes.data() + 8), 0x80FFu);
    EXPECT_EQ(CUtils::ReadBE32(bytes.data() + 8), 0xFF80007Fu);
}

TEST(ByteOrder, HighBitValuesRoundTrip) {
    Bytes bytes{};
    for (uint64_t value : {0ull, 1ull, 0x80ull, 0xFFFFFFFFFFFFFFFFull, 0x8000000000000000ull,
                           0x00FF00FF00FF00FFull, 0xDEADBEEFCAFEF00Dull}) {
        CUtils::WriteLE64(bytes.data(), value);
        EXPECT_EQ(CUtils::ReadLE64(bytes.data()), value);
        CUtils::WriteLE32(bytes.data(), static_cast<uint32_t>(value));
        EXPECT_EQ(CUtils::ReadLE32(bytes.data()), static_cast<uint32_t>(value));
        CUtils::WriteLE16(bytes.data(), static_cast<uint16_t>(value));
        EXPECT_EQ(CUtils::ReadLE16(bytes.data()), static_cast<uint16_t>(value));
        CUtils::WriteBE32(bytes.data(), static_cast<uint32_t>(value >> 32));
        EXPECT_EQ(CUtils::ReadBE32(bytes.data()), static_cast<uint32_t>(value >> 32));
    }
}

TEST(ByteOrder, UnalignedPointersWork) {
    // Each odd offset is misaligned for the wider values.
    for (size_t offset : {1u, 3u}) {
        Bytes bytes = Filled();
        CUtils::WriteLE64(bytes.data() + offset, 0x1122334455667788ull);
        EXPECT_EQ(bytes[offset - 1], 0xEE);
        EXPECT_EQ(bytes[offset], 0x88);
        EXPECT_EQ(bytes[offset + 7], 0x11);
        EXPECT_EQ(bytes[offset + 8], 0xEE);
        EXPECT_EQ(CUtils::ReadLE64(bytes.data() + offset), 0x1122334455667788ull);

        CUtils::WriteLE32(bytes.data() + offset, 0xAABBCCDDu);
        EXPECT_EQ(CUtils::ReadLE32(bytes.data() + offset), 0xAABBCCDDu);
        CUtils::WriteLE16(bytes.data() + offset, 0x1234);
        EXPECT_EQ(CUtils::ReadLE16(bytes.data() + offset), 0x1234u);
        CUtils::WriteBE32(bytes.data() + offset, 0x0A0B0C0Du);
        EXPECT_EQ(bytes[offset], 0x0A);
        EXPECT_EQ(bytes[offset + 3], 0x0D);
        EXPECT_EQ(CUtils::ReadBE32(bytes.data() + offset), 0x0A0B0C0Du);
    }
}

TEST(ByteOrder, LittleAndBigEndianReadTheSameBytesReversed) {
    const Bytes bytes{0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(CUtils::ReadLE32(bytes.data()), 0x78563412u);
    EXPECT_EQ(CUtils::ReadBE32(bytes.data()), 0x12345678u);
}

TEST(ByteOrder, NullTargetDoesNothing) {
    // Reaching the end without a fault is the check.
    CUtils::WriteLE64(nullptr, 1);
    CUtils::WriteLE32(nullptr, 1);
    CUtils::WriteLE16(nullptr, 1);
    CUtils::WriteBE32(nullptr, 1);
    SUCCEED();
}

TEST(ByteOrder, NullSourceGivesZero) {
    EXPECT_EQ(CUtils::ReadLE64(nullptr), 0u);
    EXPECT_EQ(CUtils::ReadLE32(nullptr), 0u);
    EXPECT_EQ(CUtils::ReadLE16(nullptr), 0u);
    EXPECT_EQ(CUtils::ReadBE32(nullptr), 0u);
}
