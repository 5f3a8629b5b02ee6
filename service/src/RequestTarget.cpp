// RequestTarget.cpp: splitting and decoding a request's target.
#include "RequestTarget.h"

#include <algorithm>
#include <charconv>

namespace orvservice {

bool RequestTarget::Has(std::string_view key) const {
    for (const auto& [name, value] : query) {
        if (name == key) {
            return true;
        }
    }
    return false;
}

std::string RequestTarget::Value(std::string_view key) const {
    for (const auto& [name, value] : query) {
        if (name == key) {
            return value;
        }
    }
    return {};
}

std::string DecodePercent(std::string_view text, bool plusIsSpace) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        unsigned byte = 0;
        const char* const digits = text.data() + i + 1;
        if (c == '%' && i + 2 < text.size() &&
            std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            decoded += static_cast<char>(byte);
            i += 2;
        } else if (c == '+' && plusIsSpace) {
            decoded += ' ';
        } else {
            decoded += c;
        }
    }
    return decoded;
}

RequestTarget ParseTarget(std::string_view target) {
    RequestTarget parsed;
    const std::size_t mark = target.find('?');
    parsed.path = DecodePercent(target.substr(0, mark), false);
    if (mark == std::string_view::npos) {
        return parsed;
    }
    std::string_view rest = target.substr(mark + 1);
    parsed.query.reserve(std::count(rest.begin(), rest.end(), '&') + 1);
    while (!rest.empty()) {
        const std::size_t amp = rest.find('&');
        const std::string_view pair = rest.substr(0, amp);
        rest = amp == std::string_view::npos ? std::string_view() : rest.substr(amp + 1);
        if (pair.empty()) {
            continue;
        }
        const std::size_t equals = pair.find('=');
        parsed.query.emplace_back(DecodePercent(pair.substr(0, equals), true),
                                  equals == std::string_view::npos
                                      ? std::string()
                                      : DecodePercent(pair.substr(equals + 1), true));
    }
    return parsed;
}

}  // namespace orvservice
