// ParameterSessionTest.cpp: the parameter set the add-on opens, changes, takes and closes through
// CallUtility.
#include "HostTestSupport.h"

#include <cstring>
#include <gtest/gtest.h>

namespace orvhost::test {
namespace {

class ParameterSession : public HostTest {
protected:
    int32_t Open(const std::string& guid, int32_t type) {
        OpenParametersRecord record;
        ZeroRecord(record);
        SetField<API_Guid>(record, OpenParametersField::Guid, GuidOf(guid));
        SetField<int32_t>(record, OpenParametersField::Type, type);
        return CallUtility(UtilityCode::OpenParameters, &record);
    }
    int32_t ChangeNumber(const std::string& name, double value) {
        ChangeParameterRecord record = NamedChange(name);
        SetField<double>(record, ChangeParameterField::RealValue, value);
        return CallUtility(UtilityCode::ChangeParameter, &record);
    }
    int32_t ChangeText(const std::string& name, const char16_t* text) {
        ChangeParameterRecord record = NamedChange(name);
        SetField<const char16_t*>(record, ChangeParameterField::TextValue, text);
        return CallUtility(UtilityCode::ChangeParameter, &record);
    }
    // The open set's records; the caller frees them.
    int32_t Take(GSHandle& block) {
        GetParametersRecord record;
        ZeroRecord(record);
        const int32_t status = CallUtility(UtilityCode::GetParameters, &record);
        block = GetField<GSHandle>(record, GetParametersField::Params);
        return status;
    }
    int32_t Close() { return CallUtility(UtilityCode::CloseParameters, nullptr); }

private:
    static ChangeParameterRecord NamedChange(const std::string& name) {
        ChangeParameterRecord record;
        ZeroRecord(record);
        std::strncpy(reinterpret_cast<char*>(record.bytes + ChangeParameterField::Name),
                     name.c_str(), ChangeParameterField::kNameBytes - 1);
        return record;
    }
};

TEST_F(ParameterSession, ChangesTheWorkingCopyAndHandsItOutWithoutChangingTheElement) {
    ASSERT_EQ(Open(kDoorGuid, ElementType::Door), 0);
    EXPECT_EQ(ChangeNumber("uptodate", 1), 0);
    EXPECT_EQ(ChangeText("check_url", u"http://y/check"), 0);
    GSHandle block = nullptr;
    ASSERT_EQ(Take(block), 0);
    const std::vector<ParameterRecord> records = RecordsOf(block);
    EXPECT_EQ(records.size(), 4u);
    EXPECT_EQ(GetField<double>(Named(records, "uptodate"), ParameterField::Value), 1.0);
    EXPECT_EQ(TextValueOf(Named(records, "check_url")), u"http://y/check");
    EXPECT_EQ(GetField<double>(Named(records, "A"), ParameterField::Value), 0.9);
    EXPECT_EQ(Close(), 0);
    FreeBlockAsAddOn(block);
    // Only ChangeElement changes the element.
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
}

TEST_F(ParameterSession, EveryTakeIsANewHandleOfTheCaller) {
    ASSERT_EQ(Open(kChairGuid, ElementType::Object), 0);
    GSHandle first = nullptr;
    GSHandle second = nullptr;
    ASSERT_EQ(Take(first), 0);
    ASSERT_EQ(Take(second), 0);
    EXPECT_NE(first, second);
    FreeBlockAsAddOn(first);
    FreeBlockAsAddOn(second);
    EXPECT_EQ(Close(), 0);
}

TEST_F(ParameterSession, NameIsFoundWithoutRegardToCase) {
    ASSERT_EQ(Open(kDoorGuid, ElementType::Door), 0);
    EXPECT_EQ(ChangeNumber("UpToDate", 3), 0);
    GSHandle block = nullptr;
    ASSERT_EQ(Take(block), 0);
    EXPECT_EQ(GetField<double>(Named(RecordsOf(block), "uptodate"), ParameterField::Value), 3.0);
    FreeBlockAsAddOn(block);
    EXPECT_EQ(Close(), 0);
}

TEST_F(ParameterSession, OpeningAnUnknownElementIsBadId) {
    EXPECT_EQ(Open("22222222-0000-4000-8000-000000000000", ElementType::Door), HostError::BadId);
    EXPECT_EQ(Close(), HostError::BadParameters);
}

TEST_F(ParameterSession, OpeningWithAnotherTypeThanTheElementsIsBadParameters) {
    EXPECT_EQ(Open(kDoorGuid, ElementType::Window), HostError::BadParameters);
    EXPECT_EQ(Close(), HostError::BadParameters);
}

TEST_F(ParameterSession, ChangingANameNotInTheSetIsBadName) {
    ASSERT_EQ(Open(kLampGuid, ElementType::Lamp), 0);
    EXPECT_EQ(ChangeNumber("check_url", 1), HostError::BadName);
    EXPECT_EQ(ChangeNumber("missing", 1), HostError::BadName);
    EXPECT_EQ(Close(), 0);
}

TEST_F(ParameterSession, ChangingWithoutAnOpenSetIsBadParameters) {
    EXPECT_EQ(ChangeNumber("uptodate", 1), HostError::BadParameters);
    GSHandle block = nullptr;
    EXPECT_EQ(Take(block), HostError::BadParameters);
    EXPECT_EQ(block, nullptr);
}

TEST_F(ParameterSession, TextParameterWithoutATextIsBadParameters) {
    ASSERT_EQ(Open(kDoorGuid, ElementType::Door), 0);
    EXPECT_EQ(ChangeText("check_url", nullptr), HostError::BadParameters);
    EXPECT_EQ(Close(), 0);
}

TEST_F(ParameterSession, ArrayParameterCannotBeChanged) {
    ASSERT_EQ(Open(kChairGuid, ElementType::Object), 0);
    EXPECT_EQ(ChangeNumber("grid", 1), HostError::BadParameters);
    EXPECT_EQ(ChangeText("names", u"x"), HostError::BadParameters);
    EXPECT_EQ(Close(), 0);
}

TEST_F(ParameterSession, ClosingWithoutAnOpenSetIsBadParameters) {
    EXPECT_EQ(Close(), HostError::BadParameters);
    ASSERT_EQ(Open(kDoorGuid, ElementType::Door), 0);
    EXPECT_EQ(Close(), 0);
    EXPECT_EQ(Close(), HostError::BadParameters);
}

TEST_F(ParameterSession, SetLeftOpenAfterAnErrorIsReplacedByTheNextOpen) {
    // The add-on's error path: opened, a change failed, never closed.
    ASSERT_EQ(Open(kDoorGuid, ElementType::Door), 0);
    EXPECT_EQ(ChangeNumber("missing", 1), HostError::BadName);
    EXPECT_EQ(ChangeNumber("uptodate", 7), 0);
    // The next element's set takes its place, with none of the first one's changes.
    ASSERT_EQ(Open(kLampGuid, ElementType::Lamp), 0);
    GSHandle block = nullptr;
    ASSERT_EQ(Take(block), 0);
    const std::vector<ParameterRecord> records = RecordsOf(block);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(NameOf(records[0]), "uptodate");
    EXPECT_EQ(GetField<double>(records[0], ParameterField::Value), 0.0);
    FreeBlockAsAddOn(block);
    EXPECT_EQ(Close(), 0);
    EXPECT_EQ(NumberOf(kDoorGuid, "uptodate"), 2.0);
}

TEST_F(ParameterSession, UnknownUtilityCodeIsNotSupported) {
    EXPECT_EQ(CallUtility(0x41424344, nullptr), HostError::NotSupported);
}

TEST_F(ParameterSession, NullRecordsAreBadParameters) {
    EXPECT_EQ(CallUtility(UtilityCode::OpenParameters, nullptr), HostError::BadParameters);
    ASSERT_EQ(Open(kDoorGuid, ElementType::Door), 0);
    EXPECT_EQ(CallUtility(UtilityCode::ChangeParameter, nullptr), HostError::BadParameters);
    EXPECT_EQ(CallUtility(UtilityCode::GetParameters, nullptr), HostError::BadParameters);
    EXPECT_EQ(Close(), 0);
}

}  // namespace
}  // namespace orvhost::test
