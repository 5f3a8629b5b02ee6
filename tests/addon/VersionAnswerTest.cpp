// VersionAnswerTest.cpp: the service's answer read into a record, field by field, for the answers
// whose version and address cannot be seen from outside the module.
#include "VersionAnswer.h"

#include <gtest/gtest.h>

namespace {

std::string Utf8(const GS::UniString& text) { return text.ToCStr(CC_UTF8).Get(); }

VersionCheckState Read(const std::string& body) {
    VersionCheckState record;
    record.state = -1;
    monitor::ReadVersionAnswer(body, record);
    return record;
}

TEST(VersionAnswer, UpdateAvailableGivesItsVersionState2AndTheAddress) {
    const VersionCheckState record =
        Read(R"({"version":"1.2","up_to_date":false,"update_available":true,"url":"u"})");
    EXPECT_EQ(Utf8(record.version), "1.2");
    EXPECT_EQ(record.state, StateUpdateAvailable);
    EXPECT_EQ(Utf8(record.downloadUrl), "u");
}

TEST(VersionAnswer, TestVersionWithAnUpdateGivesState3AndTheAddress) {
    const VersionCheckState record =
        Read(R"({"version":"1.2","test_version":true,"update_available":true,"url":"u"})");
    EXPECT_EQ(Utf8(record.version), "1.2");
    EXPECT_EQ(record.state, StateTestVersion);
    EXPECT_EQ(Utf8(record.downloadUrl), "u");
}

TEST(VersionAnswer, UpToDateWithoutVersionGivesState1AnEmptyVersionAndTheAddress) {
    const VersionCheckState record =
        Read(R"({"up_to_date":true,"update_available":true,"url":"u"})");
    EXPECT_EQ(Utf8(record.version), "");
    EXPECT_EQ(record.state, StateUpToDate);
    EXPECT_EQ(Utf8(record.downloadUrl), "u");
}

TEST(VersionAnswer, AddressWithoutUpdateAvailableIsNotTaken) {
    const VersionCheckState record =
        Read(R"({"version":"1","up_to_date":false,"test_version":true,"url":"u"})");
    EXPECT_EQ(record.state, StateTestVersion);
    EXPECT_EQ(Utf8(record.downloadUrl), "");
}

TEST(VersionAnswer, TextThatIsNoJsonLeavesTheRecordAsItWas) {
    const VersionCheckState record = Read("<html>");
    EXPECT_EQ(record.state, -1);
    EXPECT_EQ(Utf8(record.version), "");
}

}  // namespace
