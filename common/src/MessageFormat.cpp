// MessageFormat.cpp: rendering of format texts, arguments and whole messages.
#include "common/MessageFormat.h"

#include "common/CUtils.h"

#include <cinttypes>
#include <cstdio>

namespace {

WString Widen(const std::string& ascii) { return WString(ascii.begin(), ascii.end()); }

// Numbers render the same in both kinds of text: digits first, then widened.
std::string RenderNumber(const MessageArg& arg) {
    switch (arg.tag) {
    case MessageArg::kSigned: {
        char digits[64];
        std::snprintf(digits, sizeof digits, "%" PRId64, arg.value.signedValue);
        return digits;
    }
    case MessageArg::kUnsigned: {
        char digits[64];
        std::snprintf(digits, sizeof digits, "%" PRIu64, arg.value.unsignedValue);
        return digits;
    }
    case MessageArg::kFloating: {
        char digits[108];
        std::snprintf(digits, sizeof digits, "%Lg",
                      static_cast<long double>(arg.value.floatingValue));
        return digits;
    }
    default:
        return arg.value.booleanByte != 0 ? "true" : "false";
    }
}

bool IsNumber(const MessageArg& arg) {
    return arg.tag >= MessageArg::kSigned && arg.tag <= MessageArg::kBoolean;
}

template <typename String, typename Render>
String Format(const FormattedMessage& message, Render render) {
    String text = render(*message.format);
    for (int32_t i = 0; i < message.count && i < FormattedMessage::kMaxArgs; ++i) {
        if (message.args[i] == nullptr) {
            continue;
        }
        char placeholder[16];
        std::snprintf(placeholder, sizeof placeholder, "{%d}", i);
        const std::string narrow(placeholder);
        CUtils::ReplaceAll(text, String(narrow.begin(), narrow.end()), render(*message.args[i]));
    }
    return text;
}

}  // namespace

std::string RenderNarrow(const FormatText& text) {
    if (text.text == nullptr) {
        return std::string();
    }
    switch (text.tag) {
    case FormatText::kNarrowLiteral:
        return static_cast<const char*>(text.text);
    case FormatText::kWideLiteral:
        return CUtils::WstringToStringUTF8(static_cast<const char16_t*>(text.text));
    case FormatText::kNarrowString:
        return *static_cast<const std::string*>(text.text);
    case FormatText::kWideString:
        return CUtils::WstringToStringUTF8(*static_cast<const WString*>(text.text));
    default:
        return "invalid message type";
    }
}

WString RenderWide(const FormatText& text) {
    if (text.text == nullptr) {
        return WString();
    }
    switch (text.tag) {
    case FormatText::kNarrowLiteral:
        return CUtils::StringUTF8ToWstring(static_cast<const char*>(text.text));
    case FormatText::kWideLiteral:
        return static_cast<const char16_t*>(text.text);
    case FormatText::kNarrowString:
        return CUtils::StringUTF8ToWstring(*static_cast<const std::string*>(text.text));
    case FormatText::kWideString:
        return *static_cast<const WString*>(text.text);
    default:
        return u"invalid message type";
    }
}

std::string RenderNarrow(const MessageArg& arg) {
    if (IsNumber(arg)) {
        return RenderNumber(arg);
    }
    const MessageArg::Value& value = arg.value;
    switch (arg.tag) {
    case MessageArg::kNarrowText:
        return value.narrowText ? value.narrowText : "STR_NULLPTR";
    case MessageArg::kWideText:
        return value.wideText ? CUtils::WstringToStringUTF8(value.wideText) : "WSTR_NULLPTR";
    case MessageArg::kNarrowString:
        return value.narrowString ? *value.narrowString : "STDSTR_NULLPTR";
    case MessageArg::kWideString:
        return value.wideString ? CUtils::WstringToStringUTF8(*value.wideString)
                                : "WSTDSTR_NULLPTR";
    default:
        return "invalid arg type";
    }
}

WString RenderWide(const MessageArg& arg) {
    if (IsNumber(arg)) {
        return Widen(RenderNumber(arg));
    }
    const MessageArg::Value& value = arg.value;
    switch (arg.tag) {
    case MessageArg::kNarrowText:
        return value.narrowText ? CUtils::StringUTF8ToWstring(value.narrowText) : u"STR_NULLPTR";
    case MessageArg::kWideText:
        return value.wideText ? value.wideText : u"WSTR_NULLPTR";
    case MessageArg::kNarrowString:
        return value.narrowString ? CUtils::StringUTF8ToWstring(*value.narrowString)
                                  : u"STDSTR_NULLPTR";
    case MessageArg::kWideString:
        // The wide text of a null wide string is the short word, unlike the narrow one.
        return value.wideString ? *value.wideString : u"WSTR_NULLPTR";
    default:
        return u"invalid arg type";
    }
}

std::string FormatNarrow(const FormattedMessage& message) {
    return Format<std::string>(message, [](const auto& part) { return RenderNarrow(part); });
}

WString FormatWide(const FormattedMessage& message) {
    return Format<WString>(message, [](const auto& part) { return RenderWide(part); });
}
