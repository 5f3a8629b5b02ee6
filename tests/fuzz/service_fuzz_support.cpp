// service_fuzz_support.cpp: the checks that every answer of the version service must pass, shared
// by its fuzz targets.
#include "service_fuzz_support.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>

namespace servicefuzz {

namespace {

// Enough to see every answer but a large /bytes whole; the rest of one is read at its end.
constexpr std::size_t kBodyLimit = 256 * 1024;

bool IsTokenChar(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           (c != 0 && std::strchr("!#$%&'*+-.^_`|~", c) != nullptr);
}

// What a header value may hold on the wire: no control character but a tab, so no line break
// that would end the header early.
bool IsFieldValue(std::string_view value) {
    return std::none_of(value.begin(), value.end(), [](char ch) {
        const auto c = static_cast<unsigned char>(ch);
        return (c < 0x20 && c != '\t') || c == 0x7F;
    });
}

// One piece of the body, checked against its promise: at least a byte, at most `most`.
std::string_view Piece(const orvservice::AnswerBody& body, std::size_t offset, std::size_t most) {
    const std::string_view piece = body.Piece(offset, most);
    if (piece.empty() || piece.size() > most) {
        Finding("a body piece of " + std::to_string(piece.size()) + " bytes where 1 to " +
                std::to_string(most) + " were asked");
    }
    return piece;
}

void CheckJsonAnswer(const Taken& taken) {
    if (!taken.whole || !IsUtf8(taken.body)) {
        Finding("a JSON answer that is not whole UTF-8: " + taken.body);
    }
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(taken.body.data(), taken.body.data() + taken.body.size(), &value, &errors) ||
        !value.isObject()) {
        Finding("a JSON answer that is no JSON object: " + taken.body + ": " + errors);
    }
    if (taken.status != 200) {
        if ((taken.status != 400 && taken.status != 404) || value.size() != 1 ||
            !value["error"].isString()) {
            Finding("a JSON error of another form: " + taken.body);
        }
        return;
    }
    for (const std::string& name : value.getMemberNames()) {
        if (name != "test_version" && name != "up_to_date" && name != "update_available" &&
            name != "url" && name != "version") {
            Finding("a check answer with the member " + name + ": " + taken.body);
        }
    }
    const bool flags = value["test_version"].isBool() && value["up_to_date"].isBool() &&
                       value["update_available"].isBool();
    if (!flags || !value["version"].isString() || value["version"].asString().empty()) {
        Finding("a check answer without its flags and version: " + taken.body);
    }
    if (int(value["test_version"].asBool()) + int(value["up_to_date"].asBool()) +
            int(value["update_available"].asBool()) >
        1) {
        Finding("a check answer with two flags set: " + taken.body);
    }
    if (value["update_available"].asBool() != value.isMember("url") ||
        (value.isMember("url") && !value["url"].isString())) {
        Finding("a check answer whose url does not go with update_available: " + taken.body);
    }
}

}  // namespace

void Finding(const std::string& what) {
    std::fprintf(stderr, "service fuzz: %s\n", what.c_str());
    std::fflush(stderr);
    __builtin_trap();
}

std::string Taken::Header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (key == name) {
            return value;
        }
    }
    return {};
}

Taken Take(const orvservice::ServiceAnswer& answer) {
    Taken taken;
    taken.status = answer.status;
    taken.headers = answer.headers;
    if (answer.status < 200 || answer.status > 599) {
        Finding("status " + std::to_string(answer.status));
    }
    int contentTypes = 0;
    for (const auto& [name, value] : answer.headers) {
        const bool token = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
            return IsTokenChar(static_cast<unsigned char>(c));
        });
        if (!token || !IsFieldValue(value)) {
            Finding("a header that breaks the answer: " + name + ": " + value);
        }
        contentTypes += name == "Content-Type" ? 1 : 0;
    }
    if (contentTypes != 1) {
        Finding(std::to_string(contentTypes) + " Content-Type headers");
    }
    taken.contentType = taken.Header("Content-Type");

    const orvservice::AnswerBody& body = answer.body;
    if (body.Size() > 0 && (answer.status == 204 || answer.status == 304)) {
        Finding("a body for status " + std::to_string(answer.status));
    }
    // Pieces of changing sizes, as the server's writes and a cut at the half ask for them.
    static constexpr std::size_t kMost[] = {1, 7, 4096, 70000};
    std::size_t turn = 0;
    while (taken.body.size() < std::min(body.Size(), kBodyLimit)) {
        const std::size_t most =
            std::min(kMost[turn++ % std::size(kMost)], kBodyLimit - taken.body.size());
        taken.body += Piece(body, taken.body.size(), most);
    }
    taken.whole = taken.body.size() == body.Size();
    if (!taken.whole) {
        Piece(body, body.Size() - 1, 1);
    }
    if (taken.contentType == "application/json; charset=utf-8") {
        CheckJsonAnswer(taken);
    }
    return taken;
}

std::optional<Json::Value> CheckJson(const Taken& taken) {
    if (taken.status != 200 || taken.contentType != "application/json; charset=utf-8") {
        return std::nullopt;
    }
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    reader->parse(taken.body.data(), taken.body.data() + taken.body.size(), &value, &errors);
    return value;
}

bool IsUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        uint32_t point = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
            point = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            point = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            point = c & 0x07;
        } else {
            return false;
        }
        if (i + length > text.size()) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = (point << 6) | (next & 0x3F);
        }
        // Overlong forms, surrogates and points past U+10FFFF.
        const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
        if (overlong || (point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF) {
            return false;
        }
        i += length;
    }
    return true;
}

std::string EncodeAll(std::string_view text) {
    static const char hex[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        encoded += '%';
        encoded += hex[c >> 4];
        encoded += hex[c & 15];
    }
    return encoded;
}

std::string EncodeSteps(std::string_view path) {
    const std::size_t slash = path.find('/');
    if (slash == std::string_view::npos) {
        return EncodeAll(path);
    }
    return EncodeAll(path.substr(0, slash)) + "/" + EncodeSteps(path.substr(slash + 1));
}

std::string Decode(std::string_view text) {
    const auto digit = [](char c) {
        return c >= '0' && c <= '9'   ? c - '0'
               : c >= 'A' && c <= 'F' ? c - 'A' + 10
               : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                      : -1;
    };
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) >= 0 &&
            digit(text[i + 2]) >= 0) {
            decoded += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

}  // namespace servicefuzz
