// HttpFailures.cpp: the failures of an HTTP GET. Most are std::runtime_error; the status and the
// short body are plain std::exception, as the callers tell them apart by type no further.
#include "HttpFailures.h"

#include "catalogue/MessageCatalogue.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace {

// A plain std::exception that carries its text.
class MessageError : public std::exception {
public:
    explicit MessageError(std::string text) : text(std::move(text)) {}
    const char* what() const noexcept override { return text.c_str(); }

private:
    std::string text;
};

[[noreturn]] void ThrowWithNumber(const std::string& text, unsigned long number) {
    throw std::runtime_error(text + std::to_string(number));
}

}  // namespace

void ThrowSessionFailure() { throw std::runtime_error("Failed to create session handle"); }

void ThrowConnectFailure(unsigned long error) {
    ThrowWithNumber("Failed to create connection handle: ", error);
}

void ThrowRequestFailure(unsigned long error) {
    ThrowWithNumber("Failed to create request handle: ", error);
}

void ThrowSendFailure(unsigned long error) { ThrowWithNumber("Failed to send request: ", error); }

void ThrowResponseFailure(unsigned long error) {
    ThrowWithNumber(MessageText(kMessageNoResponse), error);
}

void ThrowStatusFailure(unsigned long status) {
    throw MessageError(MessageText(kMessageUnexpectedStatus) + std::to_string(status));
}

void ThrowReadFailure(unsigned long error) { ThrowWithNumber("Failed to read response: ", error); }

void CheckBody(const std::string& body) {
    if (body.size() < 2) {
        throw MessageError(MessageText(kMessageInvalidObject));
    }
}
