// AnswerBody.cpp: an answer's body, held or made.
#include "service/Answering.h"

#include <algorithm>

namespace orvservice {

namespace {

// The most a made body gives at once.
constexpr std::size_t kPatternPiece = 64 * 1024;

}  // namespace

AnswerBody AnswerBody::Text(std::string text) {
    AnswerBody body;
    body.size = text.size();
    body.text = std::move(text);
    return body;
}

AnswerBody AnswerBody::Pattern(std::size_t size) {
    AnswerBody body;
    body.size = size;
    body.pattern = true;
    return body;
}

std::string_view AnswerBody::Piece(std::size_t offset, std::size_t most) const {
    if (!pattern) {
        return std::string_view(text).substr(offset, most);
    }
    static const std::string block = [] {
        std::string digits;
        while (digits.size() < kPatternPiece + 10) {
            digits += "0123456789";
        }
        return digits;
    }();
    const std::size_t count = std::min({most, size - offset, kPatternPiece});
    return std::string_view(block).substr(offset % 10, count);
}

}  // namespace orvservice
