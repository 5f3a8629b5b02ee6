// MessageFormatTest.cpp: rendering of message arguments, format texts and whole messages.
#include "common/MessageFormat.h"

#include "TestSupport.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace {

using testfiles::Exists;
using testfiles::TempFolder;
using testsupport::ScopedCurrentFolder;

// The same Czech words as UTF-8 and as UTF-16.
const std::string kCzechNarrow = "Příliš žluťoučký kůň úpěl ďábelské ódy";
const WString kCzechWide = u"Příliš žluťoučký kůň úpěl ďábelské ódy";

MessageArg WithTag(int32_t tag) {
    MessageArg arg(int32_t{0});
    arg.tag = tag;
    return arg;
}

// ---- Numbers ----

TEST(MessageArgRender, SignedIntegerIsDecimal) {
    const MessageArg small(int32_t{-42});
    EXPECT_EQ(small.tag, MessageArg::kSigned);
    EXPECT_EQ(RenderNarrow(small), "-42");
    EXPECT_EQ(RenderWide(small), u"-42");

    const MessageArg big(std::numeric_limits<int64_t>::min());
    EXPECT_EQ(RenderNarrow(big), "-9223372036854775808");
    EXPECT_EQ(RenderWide(big), u"-9223372036854775808");

    const MessageArg largest(std::numeric_limits<int64_t>::max());
    EXPECT_EQ(RenderNarrow(largest), "9223372036854775807");
}

TEST(MessageArgRender, Int32IsSignExtended) {
    const MessageArg arg(int32_t{-1});
    EXPECT_EQ(arg.value.signedValue, -1);
    EXPECT_EQ(RenderNarrow(arg), "-1");
}

TEST(MessageArgRender, UnsignedIntegerIsDecimalUpToItsMaximum) {
    const MessageArg arg(std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(arg.tag, MessageArg::kUnsigned);
    EXPECT_EQ(RenderNarrow(arg), "18446744073709551615");
    EXPECT_EQ(RenderWide(arg), u"18446744073709551615");

    const MessageArg zero(uint64_t{0});
    EXPECT_EQ(RenderNarrow(zero), "0");
}

TEST(MessageArgRender, FloatingPointUsesShortestGeneralForm) {
    const MessageArg half(1.5);
    EXPECT_EQ(half.tag, MessageArg::kFloating);
    EXPECT_EQ(RenderNarrow(half), "1.5");
    EXPECT_EQ(RenderWide(half), u"1.5");

    const MessageArg huge(1e20);
    EXPECT_EQ(RenderNarrow(huge), "1e+20");
    EXPECT_EQ(RenderWide(huge), u"1e+20");

    // Six significant digits, as "%g" gives them.
    EXPECT_EQ(RenderNarrow(MessageArg(1234567.0)), "1.23457e+06");
    EXPECT_EQ(RenderNarrow(MessageArg(-0.25)), "-0.25");
    EXPECT_EQ(RenderNarrow(MessageArg(0.0)), "0");
}

TEST(MessageArgRender, BooleanIsTrueOrFalse) {
    const MessageArg yes(true);
    const MessageArg no(false);
    EXPECT_EQ(yes.tag, MessageArg::kBoolean);
    EXPECT_EQ(RenderNarrow(yes), "true");
    EXPECT_EQ(RenderWide(yes), u"true");
    EXPECT_EQ(RenderNarrow(no), "false");
    EXPECT_EQ(RenderWide(no), u"false");
}

TEST(MessageArgRender, BooleanIsTrueForAnyNonZeroByte) {
    for (const uint8_t byte : {uint8_t{1}, uint8_t{2}, uint8_t{0x80}, uint8_t{0xFF}}) {
        SCOPED_TRACE(static_cast<int>(byte));
        MessageArg arg(false);
        arg.value.booleanByte = byte;
        EXPECT_EQ(RenderNarrow(arg), "true");
        EXPECT_EQ(RenderWide(arg), u"true");
    }
}

// ---- Texts ----

TEST(MessageArgRender, NarrowTextIsUtf8AndWidensToUtf16) {
    const MessageArg arg(kCzechNarrow.c_str());
    EXPECT_EQ(arg.tag, MessageArg::kNarrowText);
    EXPECT_EQ(RenderNarrow(arg), kCzechNarrow);
    EXPECT_EQ(RenderWide(arg), kCzechWide);
}

TEST(MessageArgRender, WideTextIsUtf16AndNarrowsToUtf8) {
    const MessageArg arg(kCzechWide.c_str());
    EXPECT_EQ(arg.tag, MessageArg::kWideText);
    EXPECT_EQ(RenderNarrow(arg), kCzechNarrow);
    EXPECT_EQ(RenderWide(arg), kCzechWide);
}

TEST(MessageArgRender, NarrowStringIsUtf8AndWidensToUtf16) {
    const MessageArg arg(&kCzechNarrow);
    EXPECT_EQ(arg.tag, MessageArg::kNarrowString);
    EXPECT_EQ(RenderNarrow(arg), kCzechNarrow);
    EXPECT_EQ(RenderWide(arg), kCzechWide);
}

TEST(MessageArgRender, WideStringIsUtf16AndNarrowsToUtf8) {
    const MessageArg arg(&kCzechWide);
    EXPECT_EQ(arg.tag, MessageArg::kWideString);
    EXPECT_EQ(RenderNarrow(arg), kCzechNarrow);
    EXPECT_EQ(RenderWide(arg), kCzechWide);
}

TEST(MessageArgRender, NullNarrowTextRendersItsWord) {
    const MessageArg arg(static_cast<const char*>(nullptr));
    EXPECT_EQ(RenderNarrow(arg), "STR_NULLPTR");
    EXPECT_EQ(RenderWide(arg), u"STR_NULLPTR");
}

TEST(MessageArgRender, NullWideTextRendersItsWord) {
    const MessageArg arg(static_cast<const char16_t*>(nullptr));
    EXPECT_EQ(RenderNarrow(arg), "WSTR_NULLPTR");
    EXPECT_EQ(RenderWide(arg), u"WSTR_NULLPTR");
}

TEST(MessageArgRender, NullNarrowStringRendersItsWord) {
    const MessageArg arg(static_cast<const std::string*>(nullptr));
    EXPECT_EQ(RenderNarrow(arg), "STDSTR_NULLPTR");
    EXPECT_EQ(RenderWide(arg), u"STDSTR_NULLPTR");
}

TEST(MessageArgRender, NullWideStringIsLongWordNarrowAndShortWordWide) {
    const MessageArg arg(static_cast<const WString*>(nullptr));
    EXPECT_EQ(RenderNarrow(arg), "WSTDSTR_NULLPTR");
    EXPECT_EQ(RenderWide(arg), u"WSTR_NULLPTR");
}

TEST(MessageArgRender, BadTagRendersInvalidArgType) {
    for (const int32_t tag : {8, 9, -1, 1000}) {
        SCOPED_TRACE(tag);
        const MessageArg arg = WithTag(tag);
        EXPECT_EQ(RenderNarrow(arg), "invalid arg type");
        EXPECT_EQ(RenderWide(arg), u"invalid arg type");
    }
}

TEST(MessageArgRender, WideTextWithLoneSurrogateKeepsThePartBeforeIt) {
    TempFolder folder;
    const ScopedCurrentFolder inFolder(folder.Path());
    const WString text = u"ab\xD800"
                         u"cd";
    EXPECT_EQ(RenderNarrow(MessageArg(&text)), "ab");
    // The failure is noted in the current folder, not in the log.
    EXPECT_TRUE(Exists(folder.At("error_string_log.txt")));
}

TEST(MessageArgRender, NarrowTextWithBadUtf8KeepsThePartBeforeIt) {
    const std::string text = "ab\xFF"
                             "cd";
    EXPECT_EQ(RenderWide(MessageArg(&text)), u"ab");
    EXPECT_EQ(RenderNarrow(MessageArg(&text)), text);
}

// ---- Format texts ----

TEST(FormatTextRender, NarrowLiteral) {
    const FormatText text(kCzechNarrow.c_str());
    EXPECT_EQ(text.tag, FormatText::kNarrowLiteral);
    EXPECT_EQ(RenderNarrow(text), kCzechNarrow);
    EXPECT_EQ(RenderWide(text), kCzechWide);
}

TEST(FormatTextRender, WideLiteral) {
    const FormatText text(kCzechWide.c_str());
    EXPECT_EQ(text.tag, FormatText::kWideLiteral);
    EXPECT_EQ(RenderNarrow(text), kCzechNarrow);
    EXPECT_EQ(RenderWide(text), kCzechWide);
}

TEST(FormatTextRender, NarrowString) {
    const FormatText text(&kCzechNarrow);
    EXPECT_EQ(text.tag, FormatText::kNarrowString);
    EXPECT_EQ(RenderNarrow(text), kCzechNarrow);
    EXPECT_EQ(RenderWide(text), kCzechWide);
}

TEST(FormatTextRender, WideString) {
    const FormatText text(&kCzechWide);
    EXPECT_EQ(text.tag, FormatText::kWideString);
    EXPECT_EQ(RenderNarrow(text), kCzechNarrow);
    EXPECT_EQ(RenderWide(text), kCzechWide);
}

TEST(FormatTextRender, BadTagRendersInvalidMessageType) {
    for (const int32_t tag : {4, 9, -1}) {
        SCOPED_TRACE(tag);
        FormatText text("some text");
        text.tag = tag;
        EXPECT_EQ(RenderNarrow(text), "invalid message type");
        EXPECT_EQ(RenderWide(text), u"invalid message type");
    }
}

// ---- Whole messages ----

TEST(MessageFormatConstruction, OneTwoOrThreeArgumentsSetTheCount) {
    const FormatText format("{0}{1}{2}");
    const MessageArg a(int32_t{1});
    const MessageArg b(int32_t{2});
    const MessageArg c(int32_t{3});

    const FormattedMessage one(format, a);
    EXPECT_EQ(one.format, &format);
    EXPECT_EQ(one.count, 1);
    EXPECT_EQ(one.args[0], &a);
    EXPECT_EQ(one.args[1], nullptr);

    const FormattedMessage two(format, a, b);
    EXPECT_EQ(two.count, 2);
    EXPECT_EQ(two.args[0], &a);
    EXPECT_EQ(two.args[1], &b);
    EXPECT_EQ(two.args[2], nullptr);

    const FormattedMessage three(format, a, b, c);
    EXPECT_EQ(three.count, 3);
    EXPECT_EQ(three.args[0], &a);
    EXPECT_EQ(three.args[1], &b);
    EXPECT_EQ(three.args[2], &c);
    EXPECT_EQ(three.args[3], nullptr);
}

TEST(MessageFormat, PlaceholdersTakeTheirArgumentsByPosition) {
    const MessageArg path(u"C:/Lib/Door.gsm");
    const MessageArg code(int32_t{5});
    const MessageArg flag(true);
    const FormatText format("rename {0} failed: {1} ({2})");
    const FormattedMessage message(format, path, code, flag);
    EXPECT_EQ(FormatNarrow(message), "rename C:/Lib/Door.gsm failed: 5 (true)");
    EXPECT_EQ(FormatWide(message), u"rename C:/Lib/Door.gsm failed: 5 (true)");
}

TEST(MessageFormat, PlaceholdersMayStandInAnyOrder) {
    const MessageArg first("A");
    const MessageArg second("B");
    const FormatText format("{1}-{0}");
    const FormattedMessage message(format, first, second);
    EXPECT_EQ(FormatNarrow(message), "B-A");
    EXPECT_EQ(FormatWide(message), u"B-A");
}

TEST(MessageFormat, RepeatedPlaceholderIsFilledEachTime) {
    const MessageArg arg(int32_t{7});
    const FormatText format("{0} and {0}");
    const FormattedMessage message(format, arg);
    EXPECT_EQ(FormatNarrow(message), "7 and 7");
    EXPECT_EQ(FormatWide(message), u"7 and 7");
}

TEST(MessageFormat, PlaceholderWithoutArgumentStaysAsWritten) {
    const MessageArg arg(int32_t{7});
    const FormatText format("{0} then {1}");
    const FormattedMessage message(format, arg);
    EXPECT_EQ(FormatNarrow(message), "7 then {1}");
    EXPECT_EQ(FormatWide(message), u"7 then {1}");
}

TEST(MessageFormat, ArgumentWithoutPlaceholderVanishes) {
    const MessageArg used("used");
    const MessageArg unused("unused");
    const FormatText format("only {0}");
    const FormattedMessage message(format, used, unused);
    EXPECT_EQ(FormatNarrow(message), "only used");
    EXPECT_EQ(FormatWide(message), u"only used");

    const FormatText noneFormat("no placeholder");
    const FormattedMessage none(noneFormat, used);
    EXPECT_EQ(FormatNarrow(none), "no placeholder");
}

TEST(MessageFormat, LaterPassReplacesPlaceholderInsideEarlierArgument) {
    // Each argument's pass runs over the whole text, including what earlier passes put in.
    const MessageArg first("{1}");
    const MessageArg second("second");
    const FormatText format("<{0}>");
    const FormattedMessage message(format, first, second);
    EXPECT_EQ(FormatNarrow(message), "<second>");
    EXPECT_EQ(FormatWide(message), u"<second>");
}

TEST(MessageFormat, EarlierPlaceholderInsideLaterArgumentStays) {
    const MessageArg first("one");
    const MessageArg second("{0}");
    const FormatText format("{0} {1}");
    const FormattedMessage message(format, first, second);
    EXPECT_EQ(FormatNarrow(message), "one {0}");
    EXPECT_EQ(FormatWide(message), u"one {0}");
}

TEST(MessageFormat, ArgumentHoldingItsOwnPlaceholderDoesNotLoop) {
    const MessageArg arg("{0}{0}");
    const FormatText format("[{0}]");
    const FormattedMessage message(format, arg);
    EXPECT_EQ(FormatNarrow(message), "[{0}{0}]");
}

TEST(MessageFormat, DoubledBracesAreNoEscape) {
    const MessageArg arg(int32_t{5});
    const FormatText format("{{0}} {0");
    const FormattedMessage message(format, arg);
    EXPECT_EQ(FormatNarrow(message), "{5} {0");
    EXPECT_EQ(FormatWide(message), u"{5} {0");
}

TEST(MessageFormat, NarrowAndWideRenderTheirOwnWay) {
    const MessageArg arg(static_cast<const WString*>(nullptr));
    const FormatText format("value: {0}");
    const FormattedMessage message(format, arg);
    EXPECT_EQ(FormatNarrow(message), "value: WSTDSTR_NULLPTR");
    EXPECT_EQ(FormatWide(message), u"value: WSTR_NULLPTR");
}

TEST(MessageFormat, WideFormatWithCzechTextNarrowsToUtf8) {
    const FormatText format(u"Soubor {0} nelze přejmenovat na {1}");
    const MessageArg from(u"dveře.gsm");
    const std::string toText = "okno.gsm";
    const MessageArg to(&toText);
    const FormattedMessage message(format, from, to);
    EXPECT_EQ(FormatNarrow(message), "Soubor dveře.gsm nelze přejmenovat na okno.gsm");
    EXPECT_EQ(FormatWide(message), u"Soubor dveře.gsm nelze přejmenovat na okno.gsm");
}

TEST(MessageFormat, BadFormatTagStillFillsNothingButYieldsItsWords) {
    FormatText format("{0}");
    format.tag = 9;
    const MessageArg arg(int32_t{1});
    const FormattedMessage message(format, arg);
    EXPECT_EQ(FormatNarrow(message), "invalid message type");
    EXPECT_EQ(FormatWide(message), u"invalid message type");
}

TEST(MessageFormat, BadArgumentTagYieldsItsWordsInTheLine) {
    const MessageArg arg = WithTag(42);
    const FormatText format("got {0}");
    const FormattedMessage message(format, arg);
    EXPECT_EQ(FormatNarrow(message), "got invalid arg type");
    EXPECT_EQ(FormatWide(message), u"got invalid arg type");
}

}  // namespace
