// UniStringTest.cpp: GS::UniString, and the character codes it converts through (Windows-1250,
// checked against the system's own reading, glibc's iconv or Windows', and UTF-8).
#ifdef _WIN32
#include <windows.h>
#endif

#include "hostkit/UniString.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#ifndef _WIN32
#include <iconv.h>
#endif

namespace {

using GS::MaxUSize;
using GS::UniString;

std::u16string Units(const UniString& text) { return std::u16string(text.ToUStr().Get()); }

#ifdef _WIN32
// The system's Windows-1250 reading of one byte, as UTF-16; empty when it has no character for it.
std::u16string SystemCp1250(unsigned char byte) {
    const char in[1] = {static_cast<char>(byte)};
    wchar_t out[4] = {};
    const int count = MultiByteToWideChar(1250, MB_ERR_INVALID_CHARS, in, 1, out, 4);
    return std::u16string(out, out + count);
}
#else
// glibc's Windows-1250 reading of one byte, as UTF-16; empty when iconv has no character for it.
std::u16string SystemCp1250(unsigned char byte) {
    iconv_t converter = iconv_open("UTF-16LE", "CP1250");
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        ADD_FAILURE() << "iconv has no CP1250";
        return {};
    }
    char in[1] = {static_cast<char>(byte)};
    char out[8] = {};
    char* inPointer = in;
    char* outPointer = out;
    std::size_t inLeft = 1;
    std::size_t outLeft = sizeof out;
    const std::size_t result = iconv(converter, &inPointer, &inLeft, &outPointer, &outLeft);
    iconv_close(converter);
    if (result == static_cast<std::size_t>(-1)) {
        return {};
    }
    std::u16string units;
    for (char* p = out; p + 1 < outPointer; p += 2) {
        units.push_back(static_cast<char16_t>(static_cast<unsigned char>(p[0]) |
                                              (static_cast<unsigned char>(p[1]) << 8)));
    }
    return units;
}
#endif

bool IsUndefinedInCp1250(int byte) {
    return byte == 0x81 || byte == 0x83 || byte == 0x88 || byte == 0x90 || byte == 0x98;
}

}  // namespace

// ---- Construction and assignment ----

TEST(UniStringConstruction, DefaultIsEmpty) {
    const UniString text;
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.GetLength(), 0u);
    EXPECT_EQ(Units(text), u"");
}

TEST(UniStringConstruction, FromCp1250BytesByDefault) {
    // "Žluťoučký" in Windows-1250.
    const UniString text("\x8Elu\x9Dou\xE8k\xFD");
    EXPECT_EQ(Units(text), u"Žluťoučký");
}

TEST(UniStringConstruction, FromUtf8WhenAsked) {
    const UniString text("\xC5\xBElu\xC5\xA5ou\xC4\x8Dk\xC3\xBD", CC_UTF8);
    EXPECT_EQ(Units(text), u"žluťoučký");
}

TEST(UniStringConstruction, FromNullTextIsEmpty) {
    EXPECT_TRUE(UniString(static_cast<const char*>(nullptr)).IsEmpty());
    EXPECT_TRUE(UniString(static_cast<const GS::UniChar*>(nullptr)).IsEmpty());
    EXPECT_TRUE(UniString(static_cast<const GS::UniChar*>(nullptr), 3).IsEmpty());
}

TEST(UniStringConstruction, FromTerminatedUnits) {
    EXPECT_EQ(Units(UniString(u"Příliš")), u"Příliš");
}

TEST(UniStringConstruction, FromCountedUnitsKeepsEmbeddedZero) {
    const UniString text(u"ab\0cd", 5);
    EXPECT_EQ(text.GetLength(), 5u);
    EXPECT_EQ(text[2], u'\0');
    EXPECT_EQ(text[4], u'd');
}

TEST(UniStringConstruction, FromPartOfAnotherCutsAtTheEnd) {
    const UniString source(u"abcdef");
    EXPECT_EQ(UniString(source, 2, 3), UniString(u"cde"));
    EXPECT_EQ(UniString(source, 4, MaxUSize), UniString(u"ef"));
    EXPECT_TRUE(UniString(source, 9, 2).IsEmpty());
}

TEST(UniStringConstruction, CopyAndMoveKeepTheText) {
    UniString original(u"text");
    UniString copy(original);
    UniString moved(std::move(original));
    EXPECT_EQ(copy, UniString(u"text"));
    EXPECT_EQ(moved, UniString(u"text"));
    UniString assigned;
    assigned = copy;
    EXPECT_EQ(assigned, copy);
    UniString moveAssigned;
    moveAssigned = std::move(copy);
    EXPECT_EQ(moveAssigned, UniString(u"text"));
}

TEST(UniStringAssignment, FromBytesUsesTheDefaultCode) {
    UniString text(u"old");
    text = "\x9A\x9E";  // "šž" in Windows-1250
    EXPECT_EQ(Units(text), u"šž");
}

TEST(UniStringAssignment, FromUnits) {
    UniString text("old");
    text = u"nový";
    EXPECT_EQ(Units(text), u"nový");
    text = static_cast<const GS::UniChar*>(nullptr);
    EXPECT_TRUE(text.IsEmpty());
}

// ---- Append and access ----

TEST(UniStringAppend, TextBytesAndUnitsInOrder) {
    UniString text(u"a");
    text.Append(UniString(u"b")).Append("\xE8").Append("\xC3\xA9", CC_UTF8).Append(u'z');
    EXPECT_EQ(Units(text), u"abčéz");
    EXPECT_EQ(text.GetLength(), 5u);
    EXPECT_EQ(text[2], u'č');
}

TEST(UniStringAppend, NullBytesAppendNothing) {
    UniString text(u"a");
    text.Append(static_cast<const char*>(nullptr));
    EXPECT_EQ(text, UniString(u"a"));
}

// ---- Search ----

TEST(UniStringFindFirst, FindsTheFirstOccurrence) {
    const UniString text(u"abcabc");
    EXPECT_EQ(text.FindFirst(UniString(u"bc")), 1u);
    EXPECT_EQ(text.FindFirst(u'c'), 2u);
}

TEST(UniStringFindFirst, StartsAtFrom) {
    const UniString text(u"abcabc");
    EXPECT_EQ(text.FindFirst(UniString(u"bc"), 2), 4u);
    EXPECT_EQ(text.FindFirst(u'a', 1), 3u);
    EXPECT_EQ(text.FindFirst(u'a', 3), 3u);
}

TEST(UniStringFindFirst, OccurrenceMustStartInsideTheRange) {
    const UniString text(u"abcabc");
    EXPECT_EQ(text.FindFirst(UniString(u"ab"), 1, 2), MaxUSize);  // starts 1 and 2 only
    EXPECT_EQ(text.FindFirst(UniString(u"ab"), 1, 3), 3u);
    // Starting inside the range is enough; the match may run beyond it.
    EXPECT_EQ(text.FindFirst(UniString(u"abc"), 3, 1), 3u);
    EXPECT_EQ(text.FindFirst(u'c', 0, 2), MaxUSize);
    EXPECT_EQ(text.FindFirst(u'c', 0, 3), 2u);
    EXPECT_EQ(text.FindFirst(u'a', 0, 0), MaxUSize);
}

TEST(UniStringFindFirst, RangeRunningPastTheEndIsCut) {
    const UniString text(u"abcabc");
    EXPECT_EQ(text.FindFirst(UniString(u"bc"), 3, 100), 4u);
    EXPECT_EQ(text.FindFirst(UniString(u"bc"), 3, MaxUSize), 4u);
    EXPECT_EQ(text.FindFirst(u'c', 5, MaxUSize - 2), 5u);  // from + range overflows 32 bits
    EXPECT_EQ(text.FindFirst(UniString(u"cx"), 0, 100), MaxUSize);
}

TEST(UniStringFindFirst, FromAtOrPastTheEndFindsNothing) {
    const UniString text(u"abc");
    EXPECT_EQ(text.FindFirst(u'c', 3), MaxUSize);
    EXPECT_EQ(text.FindFirst(u'c', MaxUSize), MaxUSize);
    EXPECT_EQ(text.FindFirst(UniString(u"c"), MaxUSize, MaxUSize), MaxUSize);
}

TEST(UniStringFindFirst, NotFoundIsMaxUSizeNotZero) {
    const UniString text(u"abc");
    EXPECT_EQ(text.FindFirst(UniString(u"x")), MaxUSize);
    EXPECT_EQ(text.FindFirst(u'x'), MaxUSize);
    EXPECT_EQ(UniString().FindFirst(u'x'), MaxUSize);
}

TEST(UniStringFindFirst, EmptyNeedleFindsNothing) {
    EXPECT_EQ(UniString(u"abc").FindFirst(UniString()), MaxUSize);
    EXPECT_EQ(UniString().FindFirst(UniString()), MaxUSize);
}

TEST(UniStringFindFirst, LongerNeedleThanTextFindsNothing) {
    EXPECT_EQ(UniString(u"ab").FindFirst(UniString(u"abc")), MaxUSize);
}

TEST(UniStringFindLast, FindsTheLastOccurrence) {
    const UniString text(u"a/b\\c/d");
    EXPECT_EQ(text.FindLast(u'/'), 5u);
    EXPECT_EQ(text.FindLast(UniString(u"\\c")), 3u);
    EXPECT_EQ(text.FindLast(u'a'), 0u);
}

TEST(UniStringFindLast, NotFoundIsMaxUSizeNotZero) {
    const UniString text(u"abc");
    EXPECT_EQ(text.FindLast(u'x'), MaxUSize);
    EXPECT_EQ(text.FindLast(UniString(u"abcd")), MaxUSize);
    EXPECT_EQ(text.FindLast(UniString()), MaxUSize);
    EXPECT_EQ(UniString().FindLast(u'a'), MaxUSize);
}

// ---- Substrings ----

TEST(UniStringGetSubstring, TakesTheUnitsAsked) {
    const UniString text(u"abcdef");
    EXPECT_EQ(text.GetSubstring(1, 3), UniString(u"bcd"));
    EXPECT_EQ(text.GetSubstring(0, 6), text);
    EXPECT_TRUE(text.GetSubstring(2, 0).IsEmpty());
}

TEST(UniStringGetSubstring, LengthIsCutAtTheEnd) {
    const UniString text(u"abcdef");
    EXPECT_EQ(text.GetSubstring(4, 10), UniString(u"ef"));
    EXPECT_EQ(text.GetSubstring(4, MaxUSize), UniString(u"ef"));
}

TEST(UniStringGetSubstring, FromAtOrPastTheEndIsEmpty) {
    const UniString text(u"abc");
    EXPECT_TRUE(text.GetSubstring(3, 1).IsEmpty());
    EXPECT_TRUE(text.GetSubstring(MaxUSize, MaxUSize).IsEmpty());
}

// ---- Out to 8-bit text and comparison ----

TEST(UniStringToCStr, DefaultIsCp1250) {
    const UniString text(u"Příliš €");
    EXPECT_STREQ(text.ToCStr().Get(), "P\xF8\xEDli\x9A \x80");
    EXPECT_STREQ(text.ToCStr(CC_WinEE), "P\xF8\xEDli\x9A \x80");
}

TEST(UniStringToCStr, Utf8WhenAsked) {
    EXPECT_STREQ(UniString(u"Příliš €").ToCStr(CC_UTF8).Get(),
                 "P\xC5\x99\xC3\xADli\xC5\xA1 \xE2\x82\xAC");
}

TEST(UniStringToCStr, CharacterWithoutACp1250ByteBecomesQuestionMark) {
    // Cyrillic, CJK, a C1 control Windows-1250 uses for the euro sign, a character beyond the
    // BMP (one character, one '?') and a lone surrogate.
    const UniString text(u"a\u0416b\u4E2D\u0080\U0001F600c\xD800"
                         u"d");
    EXPECT_STREQ(text.ToCStr().Get(), "a?b???c?d");
}

TEST(UniStringToUStr, IsTerminated) {
    const UniString text(u"ab");
    const UniString::UStr units = text.ToUStr();
    EXPECT_EQ(units.Get()[2], u'\0');
    EXPECT_EQ(std::u16string(units), u"ab");
}

TEST(UniStringEquality, BetweenUniStrings) {
    EXPECT_TRUE(UniString(u"ab") == UniString(u"ab"));
    EXPECT_FALSE(UniString(u"ab") != UniString(u"ab"));
    EXPECT_TRUE(UniString(u"ab") != UniString(u"aB"));
    EXPECT_TRUE(UniString(u"ab") != UniString(u"abc"));
}

TEST(UniStringEquality, WithBytesInTheDefaultCode) {
    const UniString text(u"čaj");
    EXPECT_TRUE(text == "\xE8"
                        "aj");
    EXPECT_FALSE(text != "\xE8"
                         "aj");
    EXPECT_FALSE(text == "\xC4\x8D"
                         "aj");  // the UTF-8 bytes are not the same text
    EXPECT_TRUE(UniString() == static_cast<const char*>(nullptr));
    EXPECT_TRUE(UniString() == "");
}

// ---- Windows-1250 ----

TEST(Cp1250, EveryByteRoundTrips) {
    for (int byte = 1; byte < 256; ++byte) {
        const char in[2] = {static_cast<char>(byte), '\0'};
        const UniString text(in, CC_WinEE);
        ASSERT_EQ(text.GetLength(), 1u) << byte;
        EXPECT_STREQ(text.ToCStr(CC_WinEE).Get(), in) << "byte " << byte;
    }
    EXPECT_TRUE(UniString("", CC_WinEE).IsEmpty());  // byte 0 ends the text
}

TEST(Cp1250, DefinedBytesReadAsTheSystemReadsThem) {
    for (int byte = 1; byte < 256; ++byte) {
        if (IsUndefinedInCp1250(byte)) {
            continue;
        }
        const char in[2] = {static_cast<char>(byte), '\0'};
        EXPECT_EQ(Units(UniString(in, CC_WinEE)), SystemCp1250(static_cast<unsigned char>(byte)))
            << "byte " << byte;
    }
}

TEST(Cp1250, UndefinedBytesReadAsTheC1ControlOfTheSameValue) {
    for (const int byte : {0x81, 0x83, 0x88, 0x90, 0x98}) {
        const char in[2] = {static_cast<char>(byte), '\0'};
        const UniString text(in, CC_WinEE);
        ASSERT_EQ(text.GetLength(), 1u);
        EXPECT_EQ(text[0], static_cast<char16_t>(byte));
    }
}

TEST(Cp1250, DefaultCodeIsCp1250) {
    const char in[] = "\x8A\xE8\xF8";
    EXPECT_EQ(UniString(in), UniString(in, CC_WinEE));
    EXPECT_EQ(Units(UniString(in)), u"Ščř");
}

// ---- UTF-8 ----

TEST(Utf8, RoundTripsAllPlanes) {
    const char utf8[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";  // a é € 😀 z
    const UniString text(utf8, CC_UTF8);
    EXPECT_EQ(Units(text), u"aé€\U0001F600z");
    EXPECT_EQ(text.GetLength(), 6u);  // the emoji is a surrogate pair
    EXPECT_STREQ(text.ToCStr(CC_UTF8).Get(), utf8);
}

TEST(Utf8, InvalidSequencesBecomeReplacementCharacters) {
    EXPECT_EQ(Units(UniString("a\xFFz", CC_UTF8)), u"a\uFFFDz");
    EXPECT_EQ(Units(UniString("a\xC3", CC_UTF8)), u"a\uFFFD");    // cut short at the end
    EXPECT_EQ(Units(UniString("a\xC3z", CC_UTF8)), u"a\uFFFDz");  // cut short inside
    EXPECT_EQ(Units(UniString("\xC0\xAF", CC_UTF8)).substr(0, 1), u"\uFFFD");      // overlong
    EXPECT_EQ(Units(UniString("\xED\xA0\x80", CC_UTF8)).substr(0, 1), u"\uFFFD");  // surrogate
}

TEST(Utf8, LoneSurrogateWritesQuestionMark) {
    const GS::UniChar units[] = {u'a', 0xDC00, u'b', 0xD800, 0};
    EXPECT_STREQ(UniString(units).ToCStr(CC_UTF8).Get(), "a?b?");
}
