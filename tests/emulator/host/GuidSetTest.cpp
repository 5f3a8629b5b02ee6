// GuidSetTest.cpp: the flat set of element identifiers that a command's change log keeps.
#include "emulator/GuidSet.h"

#include <cstring>
#include <gtest/gtest.h>

namespace orvhost {
namespace {

// Identifiers that differ in a few bytes at `at`, as those of a generated project do.
API_Guid Numbered(uint32_t number, std::size_t at) {
    API_Guid guid;
    unsigned char bytes[16];
    std::memset(bytes, 0x11, sizeof bytes);
    std::memcpy(bytes + at, &number, sizeof number);
    std::memcpy(&guid, bytes, sizeof guid);
    return guid;
}

TEST(GuidSet, InsertTellsWhetherTheIdentifierWasNew) {
    GuidSet set;
    EXPECT_FALSE(set.Contains(Numbered(1, 12)));
    EXPECT_TRUE(set.Insert(Numbered(1, 12)));
    EXPECT_FALSE(set.Insert(Numbered(1, 12)));
    EXPECT_TRUE(set.Contains(Numbered(1, 12)));
    EXPECT_FALSE(set.Contains(Numbered(2, 12)));
}

TEST(GuidSet, HoldsTheNullIdentifierLikeAnyOther) {
    GuidSet set;
    EXPECT_FALSE(set.Contains(API_Guid{}));
    EXPECT_TRUE(set.Insert(API_Guid{}));
    EXPECT_FALSE(set.Insert(API_Guid{}));
    EXPECT_TRUE(set.Contains(API_Guid{}));
    set.Clear();
    EXPECT_FALSE(set.Contains(API_Guid{}));
}

TEST(GuidSet, KeepsEveryIdentifierAsItGrows) {
    GuidSet set;
    for (const std::size_t at : {0u, 6u, 12u}) {
        for (uint32_t i = 0; i < 5000; ++i) {
            ASSERT_TRUE(set.Insert(Numbered(i, at))) << at << " " << i;
        }
    }
    for (const std::size_t at : {0u, 6u, 12u}) {
        for (uint32_t i = 0; i < 5000; ++i) {
            ASSERT_TRUE(set.Contains(Numbered(i, at))) << at << " " << i;
            ASSERT_FALSE(set.Insert(Numbered(i, at)));
        }
        EXPECT_FALSE(set.Contains(Numbered(5000, at)));
    }
}

TEST(GuidSet, ClearEmptiesIt) {
    GuidSet set;
    set.Insert(Numbered(7, 0));
    set.Clear();
    EXPECT_FALSE(set.Contains(Numbered(7, 0)));
    EXPECT_TRUE(set.Insert(Numbered(7, 0)));
}

}  // namespace
}  // namespace orvhost
