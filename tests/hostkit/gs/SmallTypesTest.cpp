// SmallTypesTest.cpp: GS::Array, GS::Guid, IO::Location, the GS exceptions and the memo table of
// the host ABI.
#include "hostkit/GSArray.h"
#include "hostkit/GSException.h"
#include "hostkit/GSGuid.h"
#include "hostkit/HostABI.h"
#include "hostkit/IOLocation.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

// ---- Array ----

TEST(GSArray, PushAppendDeleteClear) {
    GS::Array<int> array;
    EXPECT_TRUE(array.IsEmpty());
    array.Push(1);
    int two = 2;
    array.Push(two);
    GS::Array<int> more;
    more.Push(3);
    more.Push(4);
    array.Append(more);
    EXPECT_EQ(array.GetSize(), 4u);
    EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{1, 2, 3, 4}));
    array.Delete(1);
    EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{1, 3, 4}));
    EXPECT_TRUE(array.Contains(4));
    EXPECT_FALSE(array.Contains(2));
    array[0] = 9;
    const GS::Array<int>& constArray = array;
    EXPECT_EQ(constArray[0], 9);
    array.Clear();
    EXPECT_TRUE(array.IsEmpty());
    EXPECT_EQ(array.GetSize(), 0u);
}

TEST(GSArray, HoldsGuidsAndMovesItems) {
    GS::Array<API_Guid> guids;
    guids.Push(GS::Guid::Generate().ToAPIGuid());
    EXPECT_TRUE(guids.Contains(guids[0]));
    GS::Array<std::string> texts;
    std::string text = "moved";
    texts.Push(std::move(text));
    EXPECT_EQ(texts[0], "moved");
}

// ---- Guid ----

TEST(GSGuid, NullByDefault) {
    EXPECT_TRUE(GS::Guid().IsNull());
    EXPECT_TRUE(GS::NULLGuid.IsNull());
    EXPECT_EQ(GS::NULLGuid.ToString(), "00000000-0000-0000-0000-000000000000");
}

TEST(GSGuid, ToStringWritesTheFieldsInOrderUpperCase) {
    API_Guid value;
    value.time_low = 0x0123ABCD;
    value.time_mid = 0x4567;
    value.time_hi_and_version = 0x89EF;
    value.clock_seq_hi_and_reserved = 0xA1;
    value.clock_seq_low = 0x02;
    const uint8_t node[6] = {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x05};
    std::copy(node, node + 6, value.node);
    EXPECT_EQ(GS::Guid(value).ToString(), "0123ABCD-4567-89EF-A102-FEDCBA987605");
}

TEST(GSGuid, FromStringAcceptsEitherCaseAndRoundTrips) {
    GS::Guid guid;
    ASSERT_TRUE(guid.FromString("0123abcd-4567-89ef-a102-fedcba987605"));
    EXPECT_EQ(guid.ToAPIGuid().time_low, 0x0123ABCDu);
    EXPECT_EQ(guid.ToAPIGuid().time_mid, 0x4567u);
    EXPECT_EQ(guid.ToAPIGuid().clock_seq_hi_and_reserved, 0xA1u);
    EXPECT_EQ(guid.ToAPIGuid().node[5], 0x05u);
    EXPECT_EQ(guid.ToString(), "0123ABCD-4567-89EF-A102-FEDCBA987605");
    GS::Guid upper;
    ASSERT_TRUE(upper.FromString(guid.ToString()));
    EXPECT_EQ(upper, guid);
}

TEST(GSGuid, FromStringRejectsBadTextAndLeavesNull) {
    for (const char* bad : {
             "",
             "0123ABCD-4567-89EF-A102-FEDCBA98760",    // short
             "0123ABCD-4567-89EF-A102-FEDCBA9876055",  // long
             "0123ABCD-4567-89EF-A102-FEDCBA98760G",   // not hex
             "0123ABCD+4567-89EF-A102-FEDCBA987605",   // bad separator
             "0123ABCD4-567-89EF-A102-FEDCBA987605",   // separator moved
             "{0123ABCD-4567-89EF-A102-FEDCBA9876}",   // braces
             " 123ABCD-4567-89EF-A102-FEDCBA987605",
         }) {
        GS::Guid guid = GS::Guid::Generate();
        EXPECT_FALSE(guid.FromString(bad)) << bad;
        EXPECT_TRUE(guid.IsNull()) << bad;
    }
}

TEST(GSGuid, GenerateMakesDistinctVersion4Identifiers) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const GS::Guid guid = GS::Guid::Generate();
        EXPECT_FALSE(guid.IsNull());
        EXPECT_EQ(guid.ToAPIGuid().time_hi_and_version >> 12, 4);
        EXPECT_EQ(guid.ToAPIGuid().clock_seq_hi_and_reserved & 0xC0, 0x80);
        const std::string text = guid.ToString();
        EXPECT_EQ(text[14], '4');
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST(GSGuid, ComparesAllSixteenBytes) {
    API_Guid a;
    API_Guid b;
    b.node[5] = 1;
    EXPECT_NE(GS::Guid(a), GS::Guid(b));
    EXPECT_EQ(GS::Guid(b), GS::Guid(b));
}

// ---- IO::Location ----

TEST(IOLocation, AppendAddsASeparatorBetweenSteps) {
    IO::Location location(GS::UniString(u"/lib/parts"));
    location.AppendToLocal(IO::Name(GS::UniString(u"Okno.gsm")));
    EXPECT_EQ(location.ToPath(), GS::UniString(u"/lib/parts/Okno.gsm"));
}

TEST(IOLocation, AppendAddsNoSeparatorAfterOneOrToAnEmptyPath) {
    IO::Location slash(GS::UniString(u"/lib/"));
    slash.AppendToLocal(IO::Name(GS::UniString(u"a")));
    EXPECT_EQ(slash.ToPath(), GS::UniString(u"/lib/a"));
    IO::Location backslash(GS::UniString(u"C:\\lib\\"));
    backslash.AppendToLocal(IO::Name(GS::UniString(u"a")));
    EXPECT_EQ(backslash.ToPath(), GS::UniString(u"C:\\lib\\a"));
    IO::Location empty;
    empty.AppendToLocal(IO::Name(GS::UniString(u"a")));
    empty.AppendToLocal(IO::Name(GS::UniString(u"b")));
    GS::UniString path;
    empty.ToPath(&path);
    EXPECT_EQ(path, GS::UniString(u"a/b"));
}

// ---- Exceptions ----

TEST(GSExceptions, FormOneHierarchyUnderStdException) {
    static_assert(std::is_base_of_v<std::exception, GS::GSException>);
    static_assert(std::is_base_of_v<GS::GSException, GS::GeneralException>);
    static_assert(std::is_base_of_v<GS::GeneralException, GS::RunTimeErrorException>);
    static_assert(std::is_base_of_v<GS::RunTimeErrorException, GS::OutOfMemoryException>);
    EXPECT_THROW(throw GS::OutOfMemoryException(), GS::RunTimeErrorException);
    EXPECT_THROW(throw GS::OutOfMemoryException(), GS::GSException);
    EXPECT_THROW(throw GS::RunTimeErrorException(), GS::GeneralException);
    EXPECT_THROW(throw GS::GeneralException(), std::exception);
}

TEST(GSExceptions, WhatGivesTheMessageOrTheClassName) {
    EXPECT_STREQ(GS::GSException().what(), "GS::GSException");
    EXPECT_STREQ(GS::GeneralException().what(), "GS::GeneralException");
    EXPECT_STREQ(GS::RunTimeErrorException().what(), "GS::RunTimeErrorException");
    EXPECT_STREQ(GS::OutOfMemoryException().what(), "GS::OutOfMemoryException");
    try {
        throw GS::OutOfMemoryException("no room");
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "no room");
    }
}

// ---- The memo table ----

TEST(MemoFields, SayWhatEachFieldHolds) {
    for (std::size_t i = 0; i <= 5; ++i) {
        EXPECT_EQ(kMemoFields[i].kind, MemoFieldKind::Handle) << i;
    }
    EXPECT_EQ(kMemoFields[MemoField::Params / 8].kind, MemoFieldKind::ParameterHandle);
    const struct {
        std::size_t field;
        int32_t recordSize;
        int32_t innerOffset;
        MemoInnerKind inner;
    } records[] = {
        {7, 96, 88, MemoInnerKind::Handle},    {8, 112, 104, MemoInnerKind::Handle},
        {9, 56, 48, MemoInnerKind::Handle},    {10, 32, 24, MemoInnerKind::Handle},
        {11, 192, 184, MemoInnerKind::Handle}, {12, 432, 424, MemoInnerKind::Object},
    };
    for (const auto& record : records) {
        const MemoFieldInfo& info = kMemoFields[record.field];
        EXPECT_EQ(info.kind, MemoFieldKind::RecordHandle) << record.field;
        EXPECT_EQ(info.recordSize, record.recordSize) << record.field;
        EXPECT_EQ(info.innerOffset, record.innerOffset) << record.field;
        EXPECT_EQ(info.innerKind, record.inner) << record.field;
    }
    EXPECT_EQ(kMemoFields[13].kind, MemoFieldKind::Object);
    EXPECT_EQ(kMemoFields[14].kind, MemoFieldKind::Object);
    EXPECT_EQ(kMemoFields[15].kind, MemoFieldKind::Pointer);
    EXPECT_EQ(kMemoFields[16].kind, MemoFieldKind::Pointer);
    for (std::size_t i = 17; i <= 20; ++i) {
        EXPECT_EQ(kMemoFields[i].kind, MemoFieldKind::Handle) << i;
    }
    for (std::size_t i = 21; i < MemoField::kFieldCount; ++i) {
        EXPECT_EQ(kMemoFields[i].kind, MemoFieldKind::Empty) << i;
    }
}

TEST(MemoFields, InnerFieldsLieInsideTheirRecords) {
    for (const MemoFieldInfo& info : kMemoFields) {
        if (info.kind == MemoFieldKind::RecordHandle) {
            EXPECT_LE(info.innerOffset + 8, info.recordSize);
            EXPECT_EQ(info.innerOffset % 8, 0);
        }
    }
}

namespace {
struct CountsDestruction : GS::Object {
    explicit CountsDestruction(int* count) : count(count) {}
    ~CountsDestruction() override { ++*count; }
    int* count;
};
}  // namespace

TEST(GSObject, IsDeletedThroughItsVirtualDestructor) {
    int count = 0;
    GS::Object* object = new CountsDestruction(&count);
    delete object;
    EXPECT_EQ(count, 1);
}
