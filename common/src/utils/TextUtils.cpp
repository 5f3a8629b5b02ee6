// TextUtils.cpp: the text operations of CUtils.
//
// Conversions between UTF-8 and UTF-16 run utfcpp's validating converters into the result, so a
// failure leaves the units made before it: the caller gets the part in front of the bad sequence
// and no failure signal. The UTF-8 direction logs the failure; the UTF-16 direction writes it to
// "error_string_log.txt" instead, because the logger converts its own text through it.
#include "common/CUtils.h"
#include "common/Logger.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <locale>
#include <stdexcept>
#include <utf8.h>

namespace {

void LogConversionFailure(const char* what) {
    const MessageArg reason(what);
    LogMessage(true, "src/utils_platforms", __LINE__, "CUtils::StringUTF8ToWstring",
               FormattedMessage("StringUTF8ToWstring: {0}", reason));
}

template <typename String>
int32_t ReplaceAllIn(String& text, const String& pattern, const String& replacement) {
    if (pattern.empty()) {
        return 0;
    }
    String result;
    result.reserve(text.size());
    int32_t count = 0;
    size_t position = 0;
    for (size_t hit = text.find(pattern); hit != String::npos; hit = text.find(pattern, position)) {
        result.append(text, position, hit - position);
        result += replacement;
        position = hit + pattern.size();
        ++count;
    }
    result.append(text, position, String::npos);
    text.swap(result);
    return count;
}

char16_t AsciiLower(char16_t c) { return c >= u'A' && c <= u'Z' ? c + (u'a' - u'A') : c; }
char16_t AsciiUpper(char16_t c) { return c >= u'a' && c <= u'z' ? c - (u'a' - u'A') : c; }

}  // namespace

WString CUtils::StringUTF8ToWstring(const std::string& text) {
    WString result;
    try {
        utf8::utf8to16(text.begin(), text.end(), std::back_inserter(result));
    } catch (const std::range_error& failure) {
        LogConversionFailure(failure.what());
    } catch (const std::runtime_error& failure) {
        LogConversionFailure(failure.what());
    } catch (const std::exception& failure) {
        LogConversionFailure(failure.what());
    }
    return result;
}

std::string CUtils::WstringToStringUTF8(const WString& text) {
    std::string result;
    try {
        utf8::utf16to8(text.begin(), text.end(), std::back_inserter(result));
    } catch (const std::range_error& failure) {
        LogErrorStringToFile(std::string("WstringToStringUTF8 range_error: ") + failure.what());
    } catch (const std::runtime_error& failure) {
        LogErrorStringToFile(std::string("WstringToStringUTF8 runtime_error: ") + failure.what());
    } catch (const std::exception& failure) {
        LogErrorStringToFile(std::string("WstringToStringUTF8 exception: ") + failure.what());
    }
    return result;
}

void CUtils::LogErrorStringToFile(const std::string& text) {
    std::ofstream file(kConversionFailureFile, std::ios::out | std::ios::app);
    if (file) {
        file << text << std::endl;
        return;
    }
    std::cerr << text << std::endl;
}

WString CUtils::Trim(const WString& text, const WString& chars) {
    WString result = text;
    const size_t last = result.find_last_not_of(chars);
    if (last == WString::npos) {
        return WString();
    }
    result.erase(last + 1);
    result.erase(0, result.find_first_not_of(chars));
    return result;
}

std::vector<WString> CUtils::Split(const WString& text, char16_t delimiter, bool skipEmpty,
                                   bool trimItems) {
    const WString input = trimItems ? Trim(text, kTrimChars) : text;
    std::vector<WString> items;
    // Read as a stream read up to each delimiter: the text after the last one, if any, is the
    // last item, so a delimiter at the very end gives no empty item.
    size_t position = 0;
    while (position < input.size()) {
        size_t end = input.find(delimiter, position);
        if (end == WString::npos) {
            end = input.size();
        }
        WString item = input.substr(position, end - position);
        position = end + 1;
        if (trimItems) {
            item = Trim(item, kTrimChars);
        }
        if (skipEmpty && item.empty()) {
            continue;
        }
        items.push_back(std::move(item));
    }
    return items;
}

WString CUtils::ToLower(const WString& text) {
    WString result = text;
    for (char16_t& c : result) {
        c = AsciiLower(c);
    }
    return result;
}

WString CUtils::ToUpper(const WString& text) {
    WString result = text;
    for (char16_t& c : result) {
        c = AsciiUpper(c);
    }
    return result;
}

int32_t CUtils::CompareNoCase(const WString& a, const WString& b) {
    const auto& ctype = std::use_facet<std::ctype<wchar_t>>(std::locale());
    auto left = a.begin();
    auto right = b.begin();
    for (; left != a.end() && right != b.end(); ++left, ++right) {
        const int32_t difference =
            static_cast<int32_t>(ctype.tolower(static_cast<wchar_t>(*left))) -
            static_cast<int32_t>(ctype.tolower(static_cast<wchar_t>(*right)));
        if (difference != 0) {
            return difference;
        }
    }
    if (left == a.end() && right == b.end()) {
        return 0;
    }
    return left == a.end() ? -1 : 1;
}

int32_t CUtils::ReplaceAll(std::string& text, std::string pattern, std::string replacement) {
    return ReplaceAllIn(text, pattern, replacement);
}

int32_t CUtils::ReplaceAll(WString& text, WString pattern, WString replacement) {
    return ReplaceAllIn(text, pattern, replacement);
}

int64_t CUtils::ParseInt(const char* text, int32_t /*base*/, int64_t fallback) {
    if (text == nullptr || *text == '\0') {
        return fallback;
    }
    errno = 0;
    try {
        return std::stoll(text, nullptr, 10);
    } catch (...) {
        return fallback;
    }
}

int64_t CUtils::ParseIntW(const WString& text, int32_t base, int64_t fallback) {
    if (text.empty()) {
        return fallback;
    }
    errno = 0;
    return ParseInt(WstringToStringUTF8(text).c_str(), base, fallback);
}

std::string CUtils::RandomString(int32_t length, int32_t alphabetSize) {
    static thread_local bool seeded = false;
    if (!seeded) {
        std::srand(static_cast<unsigned>(std::time(nullptr)));
        seeded = true;
    }
    const int32_t alphabet = static_cast<int32_t>(kRandomAlphabet.size());
    if (alphabetSize <= 0 || alphabetSize > alphabet) {
        alphabetSize = alphabet;
    }
    // The generator of the maker's platform draws 15 bits; the divisor keeps the index in range.
    constexpr int kDrawMax = 32767;
    const int divisor = kDrawMax / alphabetSize + 1;
    std::string result;
    for (int32_t i = 0; i < std::max(length, 1); ++i) {
        result += kRandomAlphabet[static_cast<size_t>((std::rand() & kDrawMax) / divisor)];
    }
    return result;
}

WString CUtils::RandomWstring(int32_t length, int32_t alphabetSize) {
    const std::string narrow = RandomString(length, alphabetSize);
    return WString(narrow.begin(), narrow.end());
}
