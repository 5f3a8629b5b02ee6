// TextUtilsTest.cpp: the text operations of CUtils.
#include "TestSupport.h"
#include "common/CUtils.h"
#include "common/Logger.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using testfiles::ReadFileBytes;
using testfiles::ReadFileText;
using testfiles::TempFolder;
using testsupport::CountOf;
using testsupport::IsolatedLog;
using testsupport::ScopedCurrentFolder;

using Items = std::vector<WString>;

// The generator is seeded from the clock at a thread's first draw; have that done, then seed it
// with `seed` so that draws can be repeated.
void Reseed(unsigned seed) {
    CUtils::RandomString(1, 0);
    std::srand(seed);
}

}  // namespace

// ---- UTF-8 and UTF-16 ----

TEST(StringUTF8ToWstring, ConvertsMultiByteAndFourByteSequences) {
    EXPECT_EQ(
        CUtils::StringUTF8ToWstring("P\xc5\x99\xc3\xadli\xc5\xa1 \xc5\xbelu\xc5\xa5ou\xc4\x8dk"
                                    "\xc3\xbd"),
        u"Příliš žluťoučký");
    EXPECT_EQ(CUtils::StringUTF8ToWstring("\xf0\x9f\x98\x80!"), u"\xD83D\xDE00!");
    EXPECT_EQ(CUtils::StringUTF8ToWstring(""), u"");
}

TEST(StringUTF8ToWstring, BadByteGivesTextInFrontAndOneErrorEntry) {
    IsolatedLog log;
    EXPECT_EQ(CUtils::StringUTF8ToWstring("ab\xc5\x99"
                                          "c\xff"
                                          "def"),
              u"abřc");
    const std::string text = log.Text();
    EXPECT_EQ(CountOf(text, "\n"), 1u);
    // The file takes error entries only, so the line's presence shows the error flag.
    EXPECT_EQ(CountOf(text, "[ CUtils::StringUTF8ToWstring ] StringUTF8ToWstring: Invalid UTF-8 "
                            "(src/utils_platforms:"),
              1u);
}

TEST(StringUTF8ToWstring, CutSequenceAtTheEndGivesTextInFront) {
    IsolatedLog log;
    EXPECT_EQ(CUtils::StringUTF8ToWstring("price \xe2\x82"), u"price ");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::StringUTF8ToWstring ] StringUTF8ToWstring: "), 1u);
}

TEST(StringUTF8ToWstring, OverlongAndSurrogateEncodingsAreRejected) {
    IsolatedLog log;
    EXPECT_EQ(CUtils::StringUTF8ToWstring("a\xc0\xaf"), u"a");
    EXPECT_EQ(CUtils::StringUTF8ToWstring("b\xed\xa0\x80"), u"b");
    EXPECT_EQ(CountOf(log.Text(), "[ CUtils::StringUTF8ToWstring ]"), 2u);
}

TEST(StringUTF8ToWstring, ValidTextLeavesNoEntry) {
    IsolatedLog log;
    CUtils::StringUTF8ToWstring("plain \xc3\xa9");
    EXPECT_EQ(log.Text(), "");
}

TEST(WstringToStringUTF8, ConvertsMultiByteAndSurrogatePairs) {
    EXPECT_EQ(CUtils::WstringToStringUTF8(u"Příliš"), "P\xc5\x99\xc3\xadli\xc5\xa1");
    EXPECT_EQ(CUtils::WstringToStringUTF8(u"\xD83D\xDE00!"), "\xf0\x9f\x98\x80!");
    EXPECT_EQ(CUtils::WstringToStringUTF8(u""), "");
}

TEST(WstringToStringUTF8, LoneSurrogateGivesTextInFrontAndLineInFailureFileNotInLog) {
    IsolatedLog log;
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    EXPECT_EQ(CUtils::WstringToStringUTF8(WString(u"ab") + u'\xD800'), "ab");
    EXPECT_EQ(ReadFileText(folder.At("error_string_log.txt")),
              "WstringToStringUTF8 exception: Invalid UTF-16\n");
    EXPECT_EQ(log.Text(), "");
}

TEST(WstringToStringUTF8, EachFailureAppendsOneLine) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    // A trail surrogate alone, and a lead surrogate followed by something other than a trail.
    EXPECT_EQ(CUtils::WstringToStringUTF8(WString(u"x") + u'\xDC00' + u"yz"), "x");
    EXPECT_EQ(CUtils::WstringToStringUTF8(WString(u"\u00e9") + u'\xD800' + u"q"), "\xc3\xa9");
    EXPECT_EQ(ReadFileText(folder.At("error_string_log.txt")),
              "WstringToStringUTF8 exception: Invalid UTF-16\n"
              "WstringToStringUTF8 exception: Invalid UTF-16\n");
}

TEST(LogErrorStringToFile, AppendsLineToFileInCurrentFolder) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    CUtils::LogErrorStringToFile("first");
    CUtils::LogErrorStringToFile("second");
    EXPECT_EQ(ReadFileText(folder.At("error_string_log.txt")), "first\nsecond\n");
}

TEST(LogErrorStringToFile, UnopenableFileGoesToStandardError) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    // A folder under the file's name cannot be opened for appending.
    ASSERT_TRUE(
        std::filesystem::create_directory(testfiles::PathOf(folder.At("error_string_log.txt"))));
    testing::internal::CaptureStderr();
    CUtils::LogErrorStringToFile("cannot be filed");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "cannot be filed\n");
}

// ---- Trim and Split ----

TEST(Trim, RemovesSetCharactersAtBothEndsOnly) {
    EXPECT_EQ(CUtils::Trim(u" \t\r\n a \t b \r\n", CUtils::kTrimChars), u"a \t b");
    EXPECT_EQ(CUtils::Trim(u"abc", CUtils::kTrimChars), u"abc");
    EXPECT_EQ(CUtils::Trim(u"xxaxbxx", u"x"), u"axb");
}

TEST(Trim, BlanksOnlyGiveEmptyText) {
    EXPECT_EQ(CUtils::Trim(u" \t \r\n ", CUtils::kTrimChars), u"");
    EXPECT_EQ(CUtils::Trim(u"", CUtils::kTrimChars), u"");
}

TEST(Trim, EmptySetLeavesTextAlone) { EXPECT_EQ(CUtils::Trim(u"  a  ", u""), u"  a  "); }

TEST(Split, DelimitersAtBothEndsAndSideBySideWithSkipEmptyGiveFilledItems) {
    EXPECT_EQ(CUtils::Split(u";a;;b;", u';', true, false), (Items{u"a", u"b"}));
    EXPECT_EQ(CUtils::Split(u";a;;b;", u';', true, true), (Items{u"a", u"b"}));
}

TEST(Split, DelimitersAtBothEndsAndSideBySideKeepEmptyItemsButNoLastOne) {
    EXPECT_EQ(CUtils::Split(u";a;;b;", u';', false, false), (Items{u"", u"a", u"", u"b"}));
    EXPECT_EQ(CUtils::Split(u";a;;b;", u';', false, true), (Items{u"", u"a", u"", u"b"}));
}

TEST(Split, TrailingDelimiterGivesNoEmptyLastItem) {
    EXPECT_EQ(CUtils::Split(u"a;b;", u';', false, false), (Items{u"a", u"b"}));
    EXPECT_EQ(CUtils::Split(u"a;;", u';', false, false), (Items{u"a", u""}));
    EXPECT_EQ(CUtils::Split(u";", u';', false, false), (Items{u""}));
    EXPECT_EQ(CUtils::Split(u";", u';', true, false), Items{});
}

TEST(Split, EmptyTextGivesNoItems) {
    EXPECT_EQ(CUtils::Split(u"", u';', false, false), Items{});
    EXPECT_EQ(CUtils::Split(u" \r\n", u';', false, true), Items{});
}

TEST(Split, TextWithoutDelimiterIsOneItem) {
    EXPECT_EQ(CUtils::Split(u"charset=utf-8", u';', true, true), (Items{u"charset=utf-8"}));
}

TEST(Split, TrimItemsTrimsTheWholeTextAndEachItem) {
    const WString text = u" a ; ;b ;";
    EXPECT_EQ(CUtils::Split(text, u';', false, false), (Items{u" a ", u" ", u"b "}));
    EXPECT_EQ(CUtils::Split(text, u';', true, false), (Items{u" a ", u" ", u"b "}));
    EXPECT_EQ(CUtils::Split(text, u';', false, true), (Items{u"a", u"", u"b"}));
    EXPECT_EQ(CUtils::Split(text, u';', true, true), (Items{u"a", u"b"}));
}

TEST(Split, TrimOfWholeTextRemovesDelimiterEndingBeforeBlanks) {
    // Without trimming, the blank behind the last delimiter is an item of its own.
    EXPECT_EQ(CUtils::Split(u"a; ", u';', false, false), (Items{u"a", u" "}));
    EXPECT_EQ(CUtils::Split(u"a; ", u';', false, true), (Items{u"a"}));
}

TEST(Split, HeaderParametersAsTheDownloadReadsThem) {
    EXPECT_EQ(CUtils::Split(u"attachment; filename=\"D01.gsm\"", u';', true, true),
              (Items{u"attachment", u"filename=\"D01.gsm\""}));
    EXPECT_EQ(CUtils::Split(u"filename = D01.gsm", u'=', true, true),
              (Items{u"filename", u"D01.gsm"}));
}

// ---- Case ----

TEST(ToLower, ChangesOnlyAsciiLetters) {
    EXPECT_EQ(CUtils::ToLower(u"ABC xyz 09 @[`{ ŠÁÉ Ž"), u"abc xyz 09 @[`{ ŠÁÉ Ž");
}

TEST(ToUpper, ChangesOnlyAsciiLetters) {
    EXPECT_EQ(CUtils::ToUpper(u"abc XYZ 09 @[`{ šáé ž"), u"ABC XYZ 09 @[`{ šáé ž");
}

TEST(CompareNoCase, AsciiCaseDifferencesCompareEqual) {
    EXPECT_EQ(CUtils::CompareNoCase(u"Content-Disposition", u"content-DISPOSITION"), 0);
    EXPECT_EQ(CUtils::CompareNoCase(u"", u""), 0);
}

TEST(CompareNoCase, PrefixIsMinusOneAndLongerIsOne) {
    EXPECT_EQ(CUtils::CompareNoCase(u"abc", u"ABCD"), -1);
    EXPECT_EQ(CUtils::CompareNoCase(u"ABCD", u"abc"), 1);
    EXPECT_EQ(CUtils::CompareNoCase(u"", u"a"), -1);
    EXPECT_EQ(CUtils::CompareNoCase(u"a", u""), 1);
}

TEST(CompareNoCase, FirstDifferenceGivesRawDifferenceOfLowerCase) {
    EXPECT_EQ(CUtils::CompareNoCase(u"a", u"c"), -2);
    EXPECT_EQ(CUtils::CompareNoCase(u"Z", u"a"), 25);
    EXPECT_EQ(CUtils::CompareNoCase(u"abC", u"ABd"), -1);
    EXPECT_EQ(CUtils::CompareNoCase(u"b", u"A"), 1);
    // The first difference counts before any difference of length.
    EXPECT_EQ(CUtils::CompareNoCase(u"abz", u"ABcdef"), 23);
    EXPECT_EQ(CUtils::CompareNoCase(u"0", u"a"), '0' - 'a');
}

// ---- ReplaceAll ----

TEST(ReplaceAll, NarrowReplacesEveryHitAndCounts) {
    std::string text = "a-b-c-";
    EXPECT_EQ(CUtils::ReplaceAll(text, "-", "+="), 3);
    EXPECT_EQ(text, "a+=b+=c+=");
}

TEST(ReplaceAll, NoHitCountsZeroAndChangesNothing) {
    std::string text = "abc";
    EXPECT_EQ(CUtils::ReplaceAll(text, "x", "y"), 0);
    EXPECT_EQ(text, "abc");
}

TEST(ReplaceAll, EmptyPatternReturnsZeroAndChangesNothing) {
    std::string narrow = "abc";
    EXPECT_EQ(CUtils::ReplaceAll(narrow, "", "x"), 0);
    EXPECT_EQ(narrow, "abc");
    WString wide = u"abc";
    EXPECT_EQ(CUtils::ReplaceAll(wide, u"", u"x"), 0);
    EXPECT_EQ(wide, u"abc");
}

TEST(ReplaceAll, PatternInsideReplacementDoesNotLoop) {
    std::string narrow = "a.a";
    EXPECT_EQ(CUtils::ReplaceAll(narrow, "a", "aa"), 2);
    EXPECT_EQ(narrow, "aa.aa");
    WString wide = u"%s%";
    EXPECT_EQ(CUtils::ReplaceAll(wide, u"%", u"%%"), 2);
    EXPECT_EQ(wide, u"%%s%%");
}

TEST(ReplaceAll, HitsDoNotOverlap) {
    std::string text = "aaaaa";
    EXPECT_EQ(CUtils::ReplaceAll(text, "aa", "b"), 2);
    EXPECT_EQ(text, "bba");
}

TEST(ReplaceAll, EmptyReplacementRemovesHits) {
    std::string text = "a, b, c";
    EXPECT_EQ(CUtils::ReplaceAll(text, ", ", ""), 2);
    EXPECT_EQ(text, "abc");
}

TEST(ReplaceAll, WideReplacesNonAsciiText) {
    WString text = u"Dveře D01 – dveře D02";
    EXPECT_EQ(CUtils::ReplaceAll(text, u"veře", u"VEŘE"), 2);
    EXPECT_EQ(text, u"DVEŘE D01 – dVEŘE D02");
}

TEST(ReplaceAll, WholeTextAsPatternAndEmptyText) {
    std::string text = "abc";
    EXPECT_EQ(CUtils::ReplaceAll(text, "abc", ""), 1);
    EXPECT_EQ(text, "");
    EXPECT_EQ(CUtils::ReplaceAll(text, "a", "b"), 0);
    EXPECT_EQ(text, "");
}

// ---- ParseInt and ParseIntW ----

TEST(ParseInt, NullOrEmptyGivesFallback) {
    EXPECT_EQ(CUtils::ParseInt(nullptr, 10, -5), -5);
    EXPECT_EQ(CUtils::ParseInt("", 10, 77), 77);
}

TEST(ParseInt, TakesLeadingBlanksAndSign) {
    EXPECT_EQ(CUtils::ParseInt("  \t\n-42", 10, 0), -42);
    EXPECT_EQ(CUtils::ParseInt("+17", 10, 0), 17);
    EXPECT_EQ(CUtils::ParseInt("007", 10, 0), 7);
}

TEST(ParseInt, DigitsFollowedByLettersGiveTheNumber) {
    EXPECT_EQ(CUtils::ParseInt("123abc", 10, -1), 123);
    EXPECT_EQ(CUtils::ParseInt("12.75", 10, -1), 12);
    EXPECT_EQ(CUtils::ParseInt("0x1F", 10, -1), 0);
}

TEST(ParseInt, LettersAloneGiveFallback) {
    EXPECT_EQ(CUtils::ParseInt("abc", 10, -1), -1);
    EXPECT_EQ(CUtils::ParseInt(" ", 10, -1), -1);
    EXPECT_EQ(CUtils::ParseInt("-", 10, -1), -1);
    EXPECT_EQ(CUtils::ParseInt("- 5", 10, -1), -1);
}

TEST(ParseInt, TwentyNinesGiveFallback) {
    EXPECT_EQ(CUtils::ParseInt("99999999999999999999", 10, -1), -1);
}

TEST(ParseInt, NegativeOutOfRangeGivesFallback) {
    EXPECT_EQ(CUtils::ParseInt("-99999999999999999999", 10, 3), 3);
    EXPECT_EQ(CUtils::ParseInt("-9223372036854775809", 10, 3), 3);
    EXPECT_EQ(CUtils::ParseInt("9223372036854775808", 10, 3), 3);
}

TEST(ParseInt, SixtyFourBitLimitsAreRead) {
    EXPECT_EQ(CUtils::ParseInt("9223372036854775807", 10, 0), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(CUtils::ParseInt("-9223372036854775808", 10, 0), std::numeric_limits<int64_t>::min());
}

TEST(ParseInt, BaseIsIgnored) {
    EXPECT_EQ(CUtils::ParseInt("ff", 16, -1), -1);
    EXPECT_EQ(CUtils::ParseInt("10", 16, -1), 10);
    EXPECT_EQ(CUtils::ParseInt("12", 2, -1), 12);
    EXPECT_EQ(CUtils::ParseInt("0777", 8, -1), 777);
    EXPECT_EQ(CUtils::ParseInt("35", 0, -1), 35);
}

TEST(ParseIntW, EmptyGivesFallback) { EXPECT_EQ(CUtils::ParseIntW(u"", 10, 9), 9); }

TEST(ParseIntW, ReadsLikeParseInt) {
    EXPECT_EQ(CUtils::ParseIntW(u"  -7 days", 10, 0), -7);
    EXPECT_EQ(CUtils::ParseIntW(u"ahoj", 10, 4), 4);
    EXPECT_EQ(CUtils::ParseIntW(u"99999999999999999999", 10, 4), 4);
    EXPECT_EQ(CUtils::ParseIntW(u"1600", 10, 0), 1600);
}

TEST(ParseIntW, HexadecimalLettersWithBase16GiveFallback) {
    EXPECT_EQ(CUtils::ParseIntW(u"abcdef", 16, -3), -3);
    EXPECT_EQ(CUtils::ParseIntW(u"FF", 16, -3), -3);
    EXPECT_EQ(CUtils::ParseIntW(u"1F", 16, -3), 1);
}

TEST(ParseIntW, NonAsciiDigitsAreNotDigits) {
    EXPECT_EQ(CUtils::ParseIntW(u"\uFF11\uFF12", 10, -1), -1);
    EXPECT_EQ(CUtils::ParseIntW(u"\u0661", 10, -1), -1);
}

TEST(ParseIntW, LoneSurrogateReadsTheTextInFront) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    EXPECT_EQ(CUtils::ParseIntW(WString(u"12") + u'\xD800' + u"34", 10, -1), 12);
    EXPECT_EQ(CUtils::ParseIntW(WString(1, u'\xDC00') + u"34", 10, -1), -1);
}

// ---- Random names ----

TEST(RandomString, LengthZeroOrNegativeYieldsOneCharacter) {
    EXPECT_EQ(CUtils::RandomString(0, 0).size(), 1u);
    EXPECT_EQ(CUtils::RandomString(-4, 62).size(), 1u);
    EXPECT_EQ(CUtils::RandomWstring(0, 0).size(), 1u);
}

TEST(RandomString, HasTheAskedLength) {
    EXPECT_EQ(CUtils::RandomString(1, 0).size(), 1u);
    EXPECT_EQ(CUtils::RandomString(16, 0).size(), 16u);
    EXPECT_EQ(CUtils::RandomWstring(300, 0).size(), 300u);
}

TEST(RandomString, CharactersAlwaysComeFromTheAlphabetAndCoverIt) {
    const std::string text = CUtils::RandomString(20000, 0);
    std::set<char> seen;
    for (char c : text) {
        ASSERT_NE(CUtils::kRandomAlphabet.find(c), std::string_view::npos) << int(c);
        seen.insert(c);
    }
    EXPECT_EQ(seen.size(), 62u);
}

TEST(RandomString, SmallerAlphabetSizeTakesItsFirstCharacters) {
    for (int32_t size : {1, 2, 10, 36, 61}) {
        const std::string text = CUtils::RandomString(5000, size);
        std::set<char> seen(text.begin(), text.end());
        const std::string_view allowed = CUtils::kRandomAlphabet.substr(0, size_t(size));
        for (char c : seen)
            EXPECT_NE(allowed.find(c), std::string_view::npos) << "size " << size << ": " << c;
        EXPECT_EQ(seen.size(), size_t(size)) << "size " << size;
    }
}

TEST(RandomString, AlphabetSizeTenGivesDigitsOnly) {
    for (char c : CUtils::RandomString(2000, 10))
        EXPECT_TRUE(c >= '0' && c <= '9') << c;
}

TEST(RandomString, OutOfRangeAlphabetSizeMeansAllSixtyTwo) {
    for (int32_t size : {0, -1, 63, 1000}) {
        Reseed(4242);
        const std::string outOfRange = CUtils::RandomString(200, size);
        Reseed(4242);
        EXPECT_EQ(outOfRange, CUtils::RandomString(200, 62)) << "size " << size;
    }
}

TEST(RandomWstring, IsRandomStringWidened) {
    Reseed(31337);
    const std::string narrow = CUtils::RandomString(64, 0);
    Reseed(31337);
    const WString wide = CUtils::RandomWstring(64, 0);
    EXPECT_EQ(wide, WString(narrow.begin(), narrow.end()));
}

TEST(RandomString, DrawsOfAThreadContinueOneSequenceWithoutReseeding) {
    Reseed(2024);
    const std::string first = CUtils::RandomString(8, 0);
    const std::string second = CUtils::RandomString(8, 0);
    Reseed(2024);
    EXPECT_EQ(first + second, CUtils::RandomString(16, 0));
    EXPECT_NE(first, second);
}

TEST(RandomString, FirstDrawOfAThreadSeedsWithTheTimeInSeconds) {
    const std::time_t before = std::time(nullptr);
    std::string drawn;
    std::thread([&drawn] { drawn = CUtils::RandomString(16, 0); }).join();
    const std::time_t after = std::time(nullptr);
    // The second may have turned while the thread ran: each second of the span is a candidate.
    std::set<std::string> candidates;
    for (std::time_t second = before; second <= after; ++second) {
        Reseed(static_cast<unsigned>(second));
        candidates.insert(CUtils::RandomString(16, 0));
    }
    EXPECT_EQ(candidates.count(drawn), 1u) << drawn;
}

// ---- Constant tables ----

TEST(LetterTables, HoldTwentySevenUnitsEach) {
    EXPECT_EQ(CUtils::kAccentedLetters.size(), 27u);
    EXPECT_EQ(CUtils::kPlainLetters.size(), 27u);
    EXPECT_EQ(CUtils::kLetterClasses.size(), 27u);
}

TEST(LetterTables, HoldTheCzechLettersAsCodePage1250ValuesButForSAndZWithCaron) {
    const std::u16string_view expected =
        u"\u00C1\u00C9\u00CC\u00CD\u00D3\u00DA\u00D9\u0160\u00D8\u008D\u00CF\u00C8\u00D2"
        u"\u00E1\u00E9\u00EC\u00ED\u00F3\u00FA\u00F9\u0161\u00F8\u009D\u00EF\u00E8\u00F2\u017E";
    EXPECT_EQ(CUtils::kAccentedLetters, expected);
    EXPECT_EQ(CUtils::kPlainLetters, u"AEEIOUUSRTDCNaeeiouusrtdcnz");
    EXPECT_EQ(CUtils::kLetterClasses, u"112111222222211211122222222");
}

TEST(LetterTables, LineUpPositionByPosition) {
    EXPECT_EQ(CUtils::kAccentedLetters[0], u'\u00C1');
    EXPECT_EQ(CUtils::kPlainLetters[0], u'A');
    EXPECT_EQ(CUtils::kLetterClasses[0], u'1');
    const size_t sCaron = CUtils::kAccentedLetters.find(u'\u0160');
    ASSERT_EQ(sCaron, 7u);
    EXPECT_EQ(CUtils::kPlainLetters[sCaron], u'S');
    EXPECT_EQ(CUtils::kLetterClasses[sCaron], u'2');
    const size_t zCaron = CUtils::kAccentedLetters.find(u'\u017E');
    ASSERT_EQ(zCaron, 26u);
    EXPECT_EQ(CUtils::kPlainLetters[zCaron], u'z');
    EXPECT_EQ(CUtils::kLetterClasses[zCaron], u'2');
    // T with caron, by its code page value.
    EXPECT_EQ(CUtils::kPlainLetters[CUtils::kAccentedLetters.find(u'\u008D')], u'T');
}

TEST(TextConstants, TrimSetAlphabetAndFailureFile) {
    EXPECT_EQ(WString(CUtils::kTrimChars), u" \r\n\t");
    EXPECT_EQ(CUtils::kRandomAlphabet,
              "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_STREQ(CUtils::kConversionFailureFile, "error_string_log.txt");
}
