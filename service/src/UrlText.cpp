// UrlText.cpp: percent-encoding with an explicit set of characters left as they are; decoding by
// httplib's own functions, which decode every request the service answers, so that a tool reads
// a target exactly as the service did.
#include "UrlText.h"

#include <cstring>
#include <httplib.h>

namespace orvservice {

namespace {

bool IsAlphaDigit(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

std::string Encode(const std::string& text, const char* keep) {
    static const char hex[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (IsAlphaDigit(c) || (c != 0 && std::strchr(keep, c) != nullptr)) {
            encoded += ch;
        } else {
            encoded += '%';
            encoded += hex[c >> 4];
            encoded += hex[c & 15];
        }
    }
    return encoded;
}

}  // namespace

std::string EncodePathSegment(const std::string& text) { return Encode(text, "-._~"); }

std::string EncodeAttrChars(const std::string& text) { return Encode(text, "!#$&+-.^_`|~"); }

std::string DecodedPath(const std::string& target) {
    return httplib::detail::decode_url(target.substr(0, target.find('?')), false);
}

std::string QueryValue(const std::string& target, const std::string& key) {
    const std::size_t question = target.find('?');
    if (question == std::string::npos) {
        return "";
    }
    httplib::Params params;
    httplib::detail::parse_query_text(target.substr(question + 1), params);
    // The first of a repeated key, as httplib's get_param_value takes it.
    const auto [first, last] = params.equal_range(key);
    return first == last ? "" : first->second;
}

}  // namespace orvservice
