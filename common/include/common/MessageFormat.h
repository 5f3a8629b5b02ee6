// MessageFormat.h: deferred "{0}" messages for the log.
//
// A caller describes an entry as a FormattedMessage: a format text with positional placeholders
// "{0}", "{1}", ... and pointers to tagged MessageArg values that live on the caller's stack for
// the duration of the call. Nothing is rendered until FormatNarrow (UTF-8) or FormatWide (UTF-16)
// is called. Arguments are substituted one after another, each pass over the whole text, so a
// rendered argument is open to the later passes. A null pointer or a bad tag renders as words
// ("STR_NULLPTR", "invalid arg type", ...) so that a faulty log call still yields a line.
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <string>

struct MessageArg {
    enum Tag : int32_t {
        kSigned = 0,
        kUnsigned = 1,
        kFloating = 2,
        kBoolean = 3,
        kNarrowText = 4,  // const char*, UTF-8
        kWideText = 5,    // const char16_t*
        kNarrowString = 6,
        kWideString = 7,
    };

    int32_t tag;
    union Value {
        int64_t signedValue;
        uint64_t unsignedValue;
        double floatingValue;
        uint8_t booleanByte;  // any non-zero byte is true
        const char* narrowText;
        const char16_t* wideText;
        const std::string* narrowString;
        const WString* wideString;
    } value;

    MessageArg(int32_t v) : tag(kSigned) { value.signedValue = v; }
    MessageArg(int64_t v) : tag(kSigned) { value.signedValue = v; }
    MessageArg(uint64_t v) : tag(kUnsigned) { value.unsignedValue = v; }
    MessageArg(double v) : tag(kFloating) { value.floatingValue = v; }
    MessageArg(bool v) : tag(kBoolean) { value.booleanByte = v ? 1 : 0; }
    MessageArg(const char* v) : tag(kNarrowText) { value.narrowText = v; }
    MessageArg(const char16_t* v) : tag(kWideText) { value.wideText = v; }
    MessageArg(const std::string* v) : tag(kNarrowString) { value.narrowString = v; }
    MessageArg(const WString* v) : tag(kWideString) { value.wideString = v; }
};

// The format text of a message, or a label of a log entry.
struct FormatText {
    enum Tag : int32_t {
        kNarrowLiteral = 0,
        kWideLiteral = 1,
        kNarrowString = 2,
        kWideString = 3,
    };

    int32_t tag;
    const void* text;

    FormatText(const char* literal) : tag(kNarrowLiteral), text(literal) {}
    FormatText(const char16_t* literal) : tag(kWideLiteral), text(literal) {}
    FormatText(const std::string* string) : tag(kNarrowString), text(string) {}
    FormatText(const WString* string) : tag(kWideString), text(string) {}
};

struct FormattedMessage {
    static constexpr int32_t kMaxArgs = 8;

    const FormatText* format;
    const MessageArg* args[kMaxArgs] = {};
    int32_t count;

    FormattedMessage(const FormatText& format, const MessageArg& a0)
        : format(&format), args{&a0}, count(1) {}
    FormattedMessage(const FormatText& format, const MessageArg& a0, const MessageArg& a1)
        : format(&format), args{&a0, &a1}, count(2) {}
    FormattedMessage(const FormatText& format, const MessageArg& a0, const MessageArg& a1,
                     const MessageArg& a2)
        : format(&format), args{&a0, &a1, &a2}, count(3) {}
};

std::string RenderNarrow(const FormatText& text);
WString RenderWide(const FormatText& text);
std::string RenderNarrow(const MessageArg& arg);
WString RenderWide(const MessageArg& arg);

std::string FormatNarrow(const FormattedMessage& message);
WString FormatWide(const FormattedMessage& message);
