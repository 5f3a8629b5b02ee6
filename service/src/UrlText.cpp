// UrlText.cpp: percent-encoding with an explicit set of characters left as they are.
#include "UrlText.h"

#include <cstring>

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

std::string EncodePathSegments(const std::string& path) {
    std::string encoded;
    std::size_t start = 0;
    for (std::size_t slash = path.find('/'); slash != std::string::npos;
         slash = path.find('/', start)) {
        encoded += EncodePathSegment(path.substr(start, slash - start)) + "/";
        start = slash + 1;
    }
    return encoded + EncodePathSegment(path.substr(start));
}

std::string EncodeAttrChars(const std::string& text) { return Encode(text, "!#$&+-.^_`|~"); }

}  // namespace orvservice
