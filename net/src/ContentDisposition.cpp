// ContentDisposition.cpp: the file name a download's Content-Disposition header gives, and the
// percent decoding of its extended form.
#include "common/CUtils.h"
#include "net/HttpGet.h"

#include <stdexcept>
#include <string>
#include <vector>

WString FileNameFromContentDisposition(const WString& header) {
    WString fileName;
    for (const WString& parameter : CUtils::Split(header, u';', true, true)) {
        const std::vector<WString> parts = CUtils::Split(parameter, u'=', true, true);
        // Any name that begins with "filename" counts ("filename", "filename*", and others);
        // a value holding a further "=" is passed over.
        if (parts.size() != 2 || parts[0].substr(0, 8) != u"filename") {
            continue;
        }
        // The value is used as the split left it: a quoted value keeps its double quotes.
        const WString& value = parts[1];

        if (parts[0].back() != u'*') {
            // A later plain parameter replaces an earlier one.
            fileName = value;
            continue;
        }

        // The extended form ends the walk, whatever follows it. Without "''" the position
        // wraps and the name is read from the value's second character.
        const size_t mark = value.find(u"''");
        const WString charset = value.substr(0, mark);
        const WString encoded = value.substr(mark + 2);
        const std::string bytes = PercentDecode(encoded);
        // The charset is looked at, but the bytes are read as UTF-8 whatever it names.
        [[maybe_unused]] const bool namedUtf8 = CUtils::ToUpper(charset) == u"UTF-8";
        fileName = CUtils::StringUTF8ToWstring(bytes);
        break;
    }
    return fileName;
}

std::string PercentDecode(const WString& text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit != u'%' || i + 2 >= text.size()) {
            // A plain character, or a "%" with fewer than two characters behind it.
            bytes.push_back(static_cast<char>(unit & 0xFF));
            continue;
        }
        // The two characters behind the "%" are read as a base-16 number the way stoi reads
        // text: leading blanks and a sign are taken, trailing text is ignored. A character
        // outside ASCII is never part of a number, so it stands as one that is none.
        std::string digits;
        for (size_t k = i + 1; k <= i + 2; ++k) {
            digits.push_back(text[k] < 0x80 ? static_cast<char>(text[k]) : '\x7F');
        }
        try {
            const int value = std::stoi(digits, nullptr, 16);
            bytes.push_back(static_cast<char>(value & 0xFF));
            i += 2;
        } catch (const std::invalid_argument&) {
            // No number at all: the "%" stands for itself, and the two characters behind it
            // are taken as plain ones. (A value out of range is not caught here; with two
            // digits it cannot occur.)
            bytes.push_back('%');
        }
    }
    return bytes;
}
