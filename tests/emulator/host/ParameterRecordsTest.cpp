// ParameterRecordsTest.cpp: parameters written into the host's parameter records and read back.
#include "emulator/ParameterRecords.h"

#include "HostTestSupport.h"

#include <cstring>
#include <gtest/gtest.h>

namespace orvhost {
namespace {

using test::NameOf;
using test::TextValueOf;

Parameter Number(const std::string& name, int32_t type, double value) {
    Parameter parameter;
    parameter.name = name;
    parameter.type = type;
    parameter.value.numbers = {value};
    return parameter;
}

Parameter Text(const std::string& name, const std::u16string& value) {
    Parameter parameter;
    parameter.name = name;
    parameter.type = ParameterType::String;
    parameter.value.texts = {value};
    return parameter;
}

std::u16string DescriptionOf(const ParameterRecord& record) {
    std::u16string text;
    for (std::size_t i = 0;; ++i) {
        char16_t unit;
        std::memcpy(&unit, record.bytes + ParameterField::Description + 2 * i, 2);
        if (unit == 0) {
            return text;
        }
        text.push_back(unit);
    }
}

class ParameterRecords : public ::testing::Test {
protected:
    void SetUp() override { liveBlocks = BMLiveBlockCount(); }
    void TearDown() override { EXPECT_EQ(BMLiveBlockCount(), liveBlocks); }
    GSSize liveBlocks = 0;
};

TEST_F(ParameterRecords, NumberFillsTypeFormNameDescriptionAndDouble) {
    Parameter parameter = Number("uptodate", ParameterType::RealNum, 2.5);
    parameter.description = u"Up to date";
    ParameterRecord record;
    ZeroRecord(record);
    WriteParameterRecord(parameter, record);
    EXPECT_EQ(GetField<int32_t>(record, ParameterField::Type), ParameterType::RealNum);
    EXPECT_EQ(GetField<int16_t>(record, ParameterField::Form), ParameterField::kFormPlain);
    EXPECT_EQ(NameOf(record), "uptodate");
    EXPECT_EQ(DescriptionOf(record), u"Up to date");
    EXPECT_EQ(GetField<double>(record, ParameterField::Value), 2.5);
    EXPECT_EQ(ReadParameterRecord(record), parameter);
}

TEST_F(ParameterRecords, TextValueIsUtf16AndTerminated) {
    ParameterRecord record;
    ZeroRecord(record);
    std::memset(record.bytes + ParameterField::Value, 0x7F, 40);
    WriteParameterRecord(Text("check_url", u"http://x/check?id=1&version=1"), record);
    EXPECT_EQ(GetField<int32_t>(record, ParameterField::Type), ParameterType::String);
    EXPECT_EQ(TextValueOf(record), u"http://x/check?id=1&version=1");
}

TEST_F(ParameterRecords, TextValueIsCutAt255Units) {
    ParameterRecord record;
    ZeroRecord(record);
    const std::u16string longText(300, u'x');
    WriteParameterRecord(Text("check_url", longText), record);
    EXPECT_EQ(TextValueOf(record), longText.substr(0, 255));
    EXPECT_EQ(GetField<char16_t>(record, ParameterField::Value + 2 * 255), u'\0');
}

TEST_F(ParameterRecords, CutNeverSplitsASurrogatePair) {
    std::u16string text(254, u'x');
    text += u"\U0001F600";  // units 254 and 255
    EXPECT_EQ(CutText(text, 255), std::u16string(254, u'x'));
    EXPECT_EQ(CutText(u"short", 255), u"short");
}

TEST_F(ParameterRecords, NameIsEightBitTextInTheDefaultCharacterCode) {
    ParameterRecord record;
    ZeroRecord(record);
    WriteParameterRecord(Number("\xC5\xA1\xC3\xAD\xC5\x99ka", ParameterType::Length, 1), record);
    // "šířka" in Windows-1250.
    EXPECT_EQ(NameOf(record), "\x9A\xED\xF8ka");
    EXPECT_EQ(ReadParameterRecord(record).name, "\xC5\xA1\xC3\xAD\xC5\x99ka");
}

TEST_F(ParameterRecords, NameSpelledInPlaceIsTheConvertedOne) {
    const std::string czech = "\xC5\xA1\xC3\xAD\xC5\x99ka";  // "šířka"
    for (const std::string& name :
         {std::string(), std::string("A"), std::string("check_url"), std::string(40, 'x'),
          std::string(31, 'y') + czech, std::string(std::string("a\0b", 3))}) {
        const std::optional<std::string_view> ascii = AsciiRecordName(name);
        ASSERT_TRUE(ascii.has_value()) << name;
        EXPECT_EQ(std::string(*ascii), RecordName(name)) << name;
    }
    // A name whose kept bytes need converting has no spelling in place.
    EXPECT_FALSE(AsciiRecordName(czech).has_value());
    EXPECT_FALSE(AsciiRecordName(std::string(30, 'y') + czech).has_value());
    EXPECT_EQ(RecordName(std::string(30, 'y') + czech), std::string(30, 'y') + "\x9A");
}

TEST_F(ParameterRecords, NameFillingItsWholeFieldIsReadWhole) {
    ParameterRecord record;
    ZeroRecord(record);
    std::memset(record.bytes + ParameterField::Name, 'n', ParameterField::kNameBytes);
    EXPECT_EQ(NameFromRecordBytes(record.bytes + ParameterField::Name, ParameterField::kNameBytes),
              std::string(ParameterField::kNameBytes, 'n'));
}

TEST_F(ParameterRecords, DescriptionIsCutWithoutSplittingASurrogatePair) {
    Parameter parameter = Number("n", ParameterType::RealNum, 1);
    parameter.description = std::u16string(254, u'd') + u"\U0001F600";  // units 254 and 255
    ParameterRecord record;
    ZeroRecord(record);
    WriteParameterRecord(parameter, record);
    EXPECT_EQ(DescriptionOf(record), std::u16string(254, u'd'));
    parameter.description = std::u16string(300, u'd');
    WriteParameterRecord(parameter, record);
    EXPECT_EQ(DescriptionOf(record), std::u16string(255, u'd'));
}

TEST_F(ParameterRecords, NumberArrayIsForm2WithItsValuesRowByRowInAHandle) {
    Parameter grid;
    grid.name = "grid";
    grid.type = ParameterType::RealNum;
    grid.isArray = true;
    grid.dimension1 = 2;
    grid.dimension2 = 3;
    grid.value.numbers = {11, 12, 13, 21, 22, 23};
    ParameterRecord record;
    ZeroRecord(record);
    WriteParameterRecord(grid, record);
    EXPECT_EQ(GetField<int16_t>(record, ParameterField::Form), ParameterField::kFormArray);
    EXPECT_EQ(GetField<int32_t>(record, ParameterField::Dimension1), 2);
    EXPECT_EQ(GetField<int32_t>(record, ParameterField::Dimension2), 3);
    EXPECT_EQ(GetField<GSHandle>(record, ParameterField::ArrayDescriptions), nullptr);
    const GSHandle values = GetField<GSHandle>(record, ParameterField::ArrayValues);
    ASSERT_NE(values, nullptr);
    ASSERT_EQ(BMGetHandleSize(values), 6 * 8);
    double read[6];
    std::memcpy(read, *values, sizeof read);
    EXPECT_EQ(std::vector<double>(read, read + 6), grid.value.numbers);
    EXPECT_EQ(ReadParameterRecord(record), grid);
    FreeParameterRecord(record);
    EXPECT_EQ(GetField<GSHandle>(record, ParameterField::ArrayValues), nullptr);
}

TEST_F(ParameterRecords, TextArrayHoldsTerminatedTextsOneAfterAnother) {
    Parameter names;
    names.name = "names";
    names.type = ParameterType::String;
    names.isArray = true;
    names.dimension1 = 3;
    names.dimension2 = 1;
    names.value.texts = {u"Dveře", u"", u"okno"};
    ParameterRecord record;
    ZeroRecord(record);
    WriteParameterRecord(names, record);
    const GSHandle values = GetField<GSHandle>(record, ParameterField::ArrayValues);
    ASSERT_NE(values, nullptr);
    const std::u16string expected(u"Dveře\0\0okno\0", 12);
    ASSERT_EQ(BMGetHandleSize(values), static_cast<GSSize>(2 * expected.size()));
    EXPECT_EQ(std::memcmp(*values, expected.data(), 2 * expected.size()), 0);
    EXPECT_EQ(ReadParameterRecord(record), names);
    FreeParameterRecord(record);
}

TEST_F(ParameterRecords, BlockHoldsOneRecordOf1600BytesPerParameterAndReadsBack) {
    const std::vector<Parameter> parameters = {Text("check_url", u"http://x"),
                                               Number("uptodate", ParameterType::Integer, 2),
                                               Number("A", ParameterType::Length, 0.9)};
    GSHandle block = MakeParameterBlock(parameters);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(BMGetHandleSize(block), 3 * 1600);
    const std::vector<ParameterRecord> records = test::RecordsOf(block);
    EXPECT_EQ(NameOf(records[0]), "check_url");
    EXPECT_EQ(NameOf(records[1]), "uptodate");
    EXPECT_EQ(NameOf(records[2]), "A");
    EXPECT_EQ(ReadParameterBlock(block), parameters);
    FreeParameterBlock(block);
    EXPECT_EQ(block, nullptr);
}

TEST_F(ParameterRecords, NoParametersMakeNoBlock) {
    EXPECT_EQ(MakeParameterBlock({}), nullptr);
    EXPECT_TRUE(ReadParameterBlock(nullptr).empty());
}

TEST_F(ParameterRecords, BlockOfAPartialRecordIsRejected) {
    GSHandle block = BMAllocateHandle(1600 + 8, ALLOCATE_CLEAR, 0);
    EXPECT_THROW(ReadParameterBlock(block), ParameterRecordError);
    BMKillHandle(&block);
}

TEST_F(ParameterRecords, ArrayRecordWithTooFewValuesIsRejected) {
    ParameterRecord record;
    ZeroRecord(record);
    SetField<int32_t>(record, ParameterField::Type, ParameterType::RealNum);
    SetField<int16_t>(record, ParameterField::Form, ParameterField::kFormArray);
    SetField<int32_t>(record, ParameterField::Dimension1, 4);
    SetField<int32_t>(record, ParameterField::Dimension2, 1);
    GSHandle values = BMAllocateHandle(3 * 8, ALLOCATE_CLEAR, 0);
    SetField<GSHandle>(record, ParameterField::ArrayValues, values);
    EXPECT_THROW(ReadParameterRecord(record), ParameterRecordError);
    FreeParameterRecord(record);
}

TEST_F(ParameterRecords, UnknownFormIsRejected) {
    ParameterRecord record;
    ZeroRecord(record);
    SetField<int16_t>(record, ParameterField::Form, 1);
    EXPECT_THROW(ReadParameterRecord(record), ParameterRecordError);
}

TEST_F(ParameterRecords, BlockFreedAsTheAddOnDoesLeavesNothingAlive) {
    Parameter grid;
    grid.name = "grid";
    grid.type = ParameterType::Length;
    grid.isArray = true;
    grid.dimension1 = 2;
    grid.dimension2 = 1;
    grid.value.numbers = {1, 2};
    test::FreeBlockAsAddOn(MakeParameterBlock({grid, Number("n", ParameterType::Integer, 1)}));
}

}  // namespace
}  // namespace orvhost
