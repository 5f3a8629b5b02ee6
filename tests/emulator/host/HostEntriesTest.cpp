// HostEntriesTest.cpp: the table's entries for library parts, elements and memos, called through
// the table as the add-on calls them.
#include "HostTestSupport.h"
#include "hostkit/IOLocation.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <set>

namespace orvhost::test {
namespace {

using HostEntries = HostTest;

std::u16string DocumentNameOf(const LibPartRecord& record) {
    return reinterpret_cast<const char16_t*>(record.bytes + LibPartField::DocumentName);
}

TEST_F(HostEntries, TableAnswersThe13EntriesAndLeavesEveryOtherNull) {
    const std::set<std::size_t> answered = {
        HostEntry::CallUndoable,          HostEntry::CallUtility,
        HostEntry::GetLibPartCount,       HostEntry::GetLibPart,
        HostEntry::GetLibPartParams,      HostEntry::GetElement,
        HostEntry::GetElementMemo,        HostEntry::GetElementList,
        HostEntry::ChangeElement,         HostEntry::AttachObserver,
        HostEntry::CatchProjectEvent,     HostEntry::CatchNewElement,
        HostEntry::InstallElementObserver};
    ASSERT_EQ(answered.size(), 13u);
    EXPECT_EQ(table.size(), 516u);
    for (std::size_t i = 0; i < table.size(); ++i) {
        EXPECT_EQ(table[i] != nullptr, answered.count(i) == 1) << "entry " << i;
    }
    EXPECT_EQ(HostSession::FromToken(token).Token(), token);
}

TEST_F(HostEntries, LibPartCountIsTheNumberOfParts) {
    int32_t count = -1;
    EXPECT_EQ(Entry<HostEntry::GetLibPartCountFn>(HostEntry::GetLibPartCount)(token, &count), 0);
    EXPECT_EQ(count, 3);
}

TEST_F(HostEntries, LibPartRecordGetsDocumentNameAndTheHostsLocation) {
    LibPartRecord record;
    ZeroRecord(record);
    SetField<int32_t>(record, LibPartField::Index, kChairPart);
    EXPECT_EQ(Entry<HostEntry::GetLibPartFn>(HostEntry::GetLibPart)(token, &record), 0);
    EXPECT_EQ(DocumentNameOf(record), u"Chair");
    auto* location = GetField<IO::Location*>(record, LibPartField::Location);
    ASSERT_NE(location, nullptr);
    EXPECT_EQ(location, project->PartAt(kChairPart)->location.get());
    const std::string path = location->ToPath().ToCStr(CC_UTF8).Get();
    EXPECT_EQ(std::filesystem::path(path), folder.Path() / "Library/Objects/Chair.xml");
    EXPECT_EQ(GetField<int32_t>(record, LibPartField::Index), kChairPart);
}

TEST_F(HostEntries, LibPartIndexOutsideOneToCountIsBadIndex) {
    for (const int32_t index : {0, 4, -1}) {
        LibPartRecord record;
        ZeroRecord(record);
        SetField<int32_t>(record, LibPartField::Index, index);
        EXPECT_EQ(Entry<HostEntry::GetLibPartFn>(HostEntry::GetLibPart)(token, &record),
                  HostError::BadIndex);
        EXPECT_EQ(GetField<IO::Location*>(record, LibPartField::Location), nullptr);
    }
}

TEST_F(HostEntries, LibPartParamsGiveAAndBAndABlockOfRecordsTheCallerFrees) {
    double a = -1;
    double b = -1;
    int32_t count = -1;
    GSHandle params = nullptr;
    EXPECT_EQ(Entry<HostEntry::GetLibPartParamsFn>(HostEntry::GetLibPartParams)(
                  token, kDoorPart, &a, &b, &count, &params),
              0);
    EXPECT_EQ(a, 0.9);
    EXPECT_EQ(b, 2.1);
    EXPECT_EQ(count, 4);
    ASSERT_NE(params, nullptr);
    EXPECT_EQ(BMGetHandleSize(params), 4 * 1600);
    const std::vector<ParameterRecord> records = RecordsOf(params);
    const ParameterRecord& url = Named(records, "check_url");
    EXPECT_EQ(GetField<int32_t>(url, ParameterField::Type), ParameterType::String);
    EXPECT_EQ(TextValueOf(url), u"http://x/check?id=1&version=1");
    const ParameterRecord& uptodate = Named(records, "uptodate");
    EXPECT_EQ(GetField<int32_t>(uptodate, ParameterField::Type), ParameterType::RealNum);
    EXPECT_EQ(GetField<double>(uptodate, ParameterField::Value), 0.0);
    FreeBlockAsAddOn(params);
}

TEST_F(HostEntries, LibPartParamsWithoutAAndBGiveZero) {
    double a = -1;
    double b = -1;
    int32_t count = -1;
    GSHandle params = nullptr;
    EXPECT_EQ(Entry<HostEntry::GetLibPartParamsFn>(HostEntry::GetLibPartParams)(
                  token, kLampPart, &a, &b, &count, &params),
              0);
    EXPECT_EQ(a, 0.0);
    EXPECT_EQ(b, 0.0);
    EXPECT_EQ(count, 1);
    FreeBlockAsAddOn(params);
}

TEST_F(HostEntries, LibPartParamsCutTextValuesAt255UnitsAndGiveArraysAsForm2) {
    double a = 0;
    double b = 0;
    int32_t count = 0;
    GSHandle params = nullptr;
    ASSERT_EQ(Entry<HostEntry::GetLibPartParamsFn>(HostEntry::GetLibPartParams)(
                  token, kChairPart, &a, &b, &count, &params),
              0);
    const std::vector<ParameterRecord> records = RecordsOf(params);
    ASSERT_EQ(records.size(), static_cast<std::size_t>(count));

    const std::u16string url = TextValueOf(Named(records, "check_url"));
    EXPECT_EQ(url.size(), 255u);
    EXPECT_EQ(url, std::u16string(kLongUrl.begin(), kLongUrl.begin() + 255));

    const ParameterRecord& grid = Named(records, "grid");
    EXPECT_EQ(GetField<int16_t>(grid, ParameterField::Form), ParameterField::kFormArray);
    EXPECT_EQ(GetField<int32_t>(grid, ParameterField::Dimension1), 2);
    EXPECT_EQ(GetField<int32_t>(grid, ParameterField::Dimension2), 3);
    EXPECT_EQ(GetField<GSHandle>(grid, ParameterField::ArrayDescriptions), nullptr);
    const GSHandle values = GetField<GSHandle>(grid, ParameterField::ArrayValues);
    ASSERT_NE(values, nullptr);
    ASSERT_EQ(BMGetHandleSize(values), 6 * 8);
    double numbers[6];
    std::memcpy(numbers, *values, sizeof numbers);
    EXPECT_EQ(std::vector<double>(numbers, numbers + 6),
              (std::vector<double>{11, 12, 13, 21, 22, 23}));

    const ParameterRecord& names = Named(records, "names");
    EXPECT_EQ(GetField<int16_t>(names, ParameterField::Form), ParameterField::kFormArray);
    const GSHandle texts = GetField<GSHandle>(names, ParameterField::ArrayValues);
    ASSERT_NE(texts, nullptr);
    const std::u16string expected(u"Dveře\0\0", 7);
    ASSERT_EQ(BMGetHandleSize(texts), static_cast<GSSize>(2 * expected.size()));
    EXPECT_EQ(std::memcmp(*texts, expected.data(), 2 * expected.size()), 0);

    const ParameterRecord& title = Named(records, "title");
    EXPECT_EQ(GetField<int32_t>(title, ParameterField::Type), ParameterType::Title);
    EXPECT_EQ(GetField<int16_t>(title, ParameterField::Form), ParameterField::kFormPlain);
    FreeBlockAsAddOn(params);
}

TEST_F(HostEntries, LibPartParamsOfAnUnknownIndexAreBadIndex) {
    int32_t count = -1;
    GSHandle params = nullptr;
    EXPECT_EQ(Entry<HostEntry::GetLibPartParamsFn>(HostEntry::GetLibPartParams)(
                  token, 9, nullptr, nullptr, &count, &params),
              HostError::BadIndex);
    EXPECT_EQ(params, nullptr);
}

TEST_F(HostEntries, ElementListReplacesTheListWithElementsOfTheTypeInProjectOrder) {
    GS::Array<API_Guid> list;
    list.Push(GuidOf(kDoorGuid));
    EXPECT_EQ(GetElementList(ElementType::Object, list), 0);
    ASSERT_EQ(list.GetSize(), 2u);
    EXPECT_EQ(list[0], GuidOf(kChairGuid));
    EXPECT_EQ(list[1], GuidOf(kChair2Guid));
    // Asked again into the same list: the same two, not four.
    EXPECT_EQ(GetElementList(ElementType::Object, list), 0);
    EXPECT_EQ(list.GetSize(), 2u);
    EXPECT_EQ(GetElementList(ElementType::Window, list), 0);
    EXPECT_TRUE(list.IsEmpty());
}

TEST_F(HostEntries, ElementListOfATypeOutside1To8IsBadParametersAndLeavesTheList) {
    for (const int32_t type : {0, 9, -1}) {
        GS::Array<API_Guid> list;
        list.Push(GuidOf(kDoorGuid));
        EXPECT_EQ(GetElementList(type, list), HostError::BadParameters);
        ASSERT_EQ(list.GetSize(), 1u);
        EXPECT_EQ(list[0], GuidOf(kDoorGuid));
    }
}

TEST_F(HostEntries, ElementGetsTypeAndLibraryIndexAtTheOffsetOfItsType) {
    ElementRecord element;
    EXPECT_EQ(GetElement(element, kDoorGuid), 0);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::Type), ElementType::Door);
    EXPECT_EQ(GetField<API_Guid>(element, ElementField::Guid), GuidOf(kDoorGuid));
    EXPECT_EQ(GetField<int32_t>(element, ElementField::OpeningLibIndex), kDoorPart);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::ObjectLibIndex), 0);

    EXPECT_EQ(GetElement(element, kLampGuid), 0);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::Type), ElementType::Lamp);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::ObjectLibIndex), kLampPart);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::OpeningLibIndex), 0);

    EXPECT_EQ(GetElement(element, kWallGuid), 0);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::Type), ElementType::Wall);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::OpeningLibIndex), 0);
    EXPECT_EQ(GetField<int32_t>(element, ElementField::ObjectLibIndex), 0);
}

TEST_F(HostEntries, UnknownElementIsBadId) {
    ElementRecord element;
    EXPECT_EQ(GetElement(element, "22222222-0000-4000-8000-000000000000"), HostError::BadId);
    ElementMemo memo;
    EXPECT_EQ(GetMemo("22222222-0000-4000-8000-000000000000", memo), HostError::BadId);
    EXPECT_EQ(GetField<GSHandle>(memo, MemoField::Params), nullptr);
    EXPECT_EQ(AttachObserver("22222222-0000-4000-8000-000000000000"), HostError::BadId);
}

TEST_F(HostEntries, MemoHoldsTheElementsEffectiveParametersAndNothingElse) {
    ElementMemo memo;
    ASSERT_EQ(GetMemo(kDoorGuid, memo), 0);
    for (std::size_t field = 0; field < MemoField::kFieldCount; ++field) {
        if (field * 8 != MemoField::Params) {
            EXPECT_EQ(GetField<void*>(memo, field * 8), nullptr) << "field " << field;
        }
    }
    const GSHandle params = GetField<GSHandle>(memo, MemoField::Params);
    const std::vector<ParameterRecord> records = RecordsOf(params);
    EXPECT_EQ(records.size(), 4u);
    // The element's own value over the part's 0.
    EXPECT_EQ(GetField<double>(Named(records, "uptodate"), ParameterField::Value), 2.0);
    EXPECT_EQ(GetField<double>(Named(records, "A"), ParameterField::Value), 0.9);
    FreeBlockAsAddOn(params);
}

TEST_F(HostEntries, MemoWithoutTheParametersBitIsLeftEmpty) {
    ElementMemo memo;
    EXPECT_EQ(GetMemo(kDoorGuid, memo, kMemoAllMask & ~uint64_t{0x40}), 0);
    EXPECT_EQ(GetField<GSHandle>(memo, MemoField::Params), nullptr);
}

TEST_F(HostEntries, MemoOfAnElementWithoutPartHasNoParameterBlock) {
    ElementMemo memo;
    EXPECT_EQ(GetMemo(kWallGuid, memo), 0);
    EXPECT_EQ(GetField<GSHandle>(memo, MemoField::Params), nullptr);
}

TEST_F(HostEntries, AttachingAnObservedElementAgainIsLinkExists) {
    EXPECT_EQ(AttachObserver(kChairGuid), 0);
    EXPECT_EQ(AttachObserver(kChairGuid), HostError::LinkExists);
    EXPECT_EQ(AttachObserver(kChair2Guid), 0);
}

TEST_F(HostEntries, NullRecordsAreBadParameters) {
    EXPECT_EQ(Entry<HostEntry::GetLibPartCountFn>(HostEntry::GetLibPartCount)(token, nullptr),
              HostError::BadParameters);
    EXPECT_EQ(Entry<HostEntry::GetLibPartFn>(HostEntry::GetLibPart)(token, nullptr),
              HostError::BadParameters);
    EXPECT_EQ(Entry<HostEntry::GetElementFn>(HostEntry::GetElement)(token, nullptr, 0),
              HostError::BadParameters);
    ElementMemo memo;
    ZeroRecord(memo);
    EXPECT_EQ(Entry<HostEntry::GetElementMemoFn>(HostEntry::GetElementMemo)(token, nullptr, &memo,
                                                                            kMemoAllMask),
              HostError::BadParameters);
    EXPECT_EQ(Entry<HostEntry::GetElementListFn>(HostEntry::GetElementList)(
                  token, ElementType::Door, nullptr, 0, nullptr, GS::NULLGuid),
              HostError::BadParameters);
    EXPECT_EQ(Entry<HostEntry::AttachObserverFn>(HostEntry::AttachObserver)(token, nullptr, 0),
              HostError::BadParameters);
}

}  // namespace
}  // namespace orvhost::test
