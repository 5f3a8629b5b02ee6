// ContentDispositionTest.cpp: the file name read from a Content-Disposition value, and the
// percent decoding of its extended form.
#include "NetTestSupport.h"
#include "common/CUtils.h"
#include "net/HttpGet.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

WString Name(const WString& header) { return FileNameFromContentDisposition(header); }

TEST(ContentDisposition, PlainFileNameIsTaken) {
    EXPECT_EQ(Name(u"attachment; filename=a.zip"), u"a.zip");
}

TEST(ContentDisposition, QuotedFileNameKeepsItsQuotes) {
    const WString name = Name(u"attachment; filename=\"a.zip\"");
    EXPECT_EQ(name, u"\"a.zip\"");
    EXPECT_EQ(name.size(), 7u);
}

TEST(ContentDisposition, ExtendedFileNameIsPercentDecoded) {
    EXPECT_EQ(Name(u"attachment; filename*=UTF-8''a%20b.zip"), u"a b.zip");
}

TEST(ContentDisposition, ExtendedFormAfterPlainOneWins) {
    EXPECT_EQ(Name(u"filename=a.zip; filename*=UTF-8''b.zip"), u"b.zip");
}

TEST(ContentDisposition, ExtendedFormEndsTheWalk) {
    EXPECT_EQ(Name(u"filename*=UTF-8''b.zip; filename=a.zip"), u"b.zip");
}

TEST(ContentDisposition, OtherCharsetIsReadAsUtf8AllTheSame) {
    // "%C3%A9" is "é" in UTF-8; the charset named does not change that.
    EXPECT_EQ(Name(u"attachment; filename*=ISO-8859-1''caf%C3%A9.zip"), u"caf\u00E9.zip");
    EXPECT_EQ(Name(u"attachment; filename*=windows-1250''caf%C3%A9.zip"), u"caf\u00E9.zip");
    // Bytes that are no UTF-8 are CUtils::StringUTF8ToWstring's business: it keeps the part in
    // front of them.
    EXPECT_EQ(Name(u"attachment; filename*=ISO-8859-1''caf%E9.zip"),
              CUtils::StringUTF8ToWstring("caf\xE9.zip"));
}

TEST(ContentDisposition, ShortEscapeAtTheEndStaysAndBadEscapeStaysAsThreeCharacters) {
    EXPECT_EQ(Name(u"attachment; filename*=UTF-8''a%4"), u"a%4");
    EXPECT_EQ(Name(u"attachment; filename*=UTF-8''a%zzb"), u"a%zzb");
}

TEST(ContentDisposition, WithoutFileNameGivesEmptyName) {
    EXPECT_EQ(Name(u"attachment"), u"");
    EXPECT_EQ(Name(u""), u"");
    EXPECT_EQ(Name(u"inline; name=a.zip"), u"");
}

TEST(ContentDisposition, LaterPlainFileNameReplacesEarlierOne) {
    EXPECT_EQ(Name(u"attachment; filename=a.zip; filename=b.zip"), u"b.zip");
}

TEST(ContentDisposition, AnyNameBeginningWithFilenameCounts) {
    EXPECT_EQ(Name(u"attachment; filenamex=c.zip"), u"c.zip");
    // The comparison is case-sensitive.
    EXPECT_EQ(Name(u"attachment; FileName=c.zip"), u"");
}

TEST(ContentDisposition, ValueWithFurtherEqualsSignIsPassedOver) {
    EXPECT_EQ(Name(u"attachment; filename=a=b.zip"), u"");
    EXPECT_EQ(Name(u"attachment; filename=a.zip; filename=x=y"), u"a.zip");
}

TEST(ContentDisposition, BlanksAroundPartsAreTrimmed) {
    EXPECT_EQ(Name(u" attachment ;\tfilename = a b.zip \r\n"), u"a b.zip");
}

TEST(ContentDisposition, ExtendedFormWithoutQuoteMarkReadsFromTheSecondCharacter) {
    EXPECT_EQ(Name(u"attachment; filename*=abc.zip"), u"bc.zip");
}

TEST(PercentDecode, PlainCharactersGiveTheirLowEightBits) {
    EXPECT_EQ(PercentDecode(u"abc"), "abc");
    EXPECT_EQ(PercentDecode(u"\u0141"), "\x41");
}

TEST(PercentDecode, EscapesGiveBytes) {
    EXPECT_EQ(PercentDecode(u"%41%62%ff%C3%A9"), "Ab\xFF\xC3\xA9");
}

TEST(PercentDecode, ShortEscapeAtTheEndStays) {
    EXPECT_EQ(PercentDecode(u"%4"), "%4");
    EXPECT_EQ(PercentDecode(u"x%"), "x%");
}

TEST(PercentDecode, EscapeThatIsNoNumberStaysAsItsCharacters) {
    EXPECT_EQ(PercentDecode(u"%zz"), "%zz");
    // The characters behind the "%" are then plain ones, and may begin an escape themselves.
    EXPECT_EQ(PercentDecode(u"%%41"), "%A");
}

TEST(PercentDecode, NumberIsReadAsStoiReadsIt) {
    // A leading number is taken and the rest of the two characters is skipped.
    EXPECT_EQ(PercentDecode(u"%4z."), std::string("\x04."));
    // A blank and a sign are taken as stoi takes them.
    EXPECT_EQ(PercentDecode(u"% 1"), std::string("\x01"));
    EXPECT_EQ(PercentDecode(u"%-1"), std::string("\xFF"));
    // Characters outside ASCII are never digits.
    EXPECT_EQ(PercentDecode(u"%\u00E9\u00E9"), "%\xE9\xE9");
}

}  // namespace
