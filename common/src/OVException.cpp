// OVException.cpp: the exception family and its stack capture.
#include "common/OVException.h"

#include "common/CUtils.h"
#include "common/HostErrors.h"
#include "utils_platforms/Platform.h"

#include <cstring>

namespace {

// Frames of the capture itself that a thrown exception does not show: the capture, the
// Backtrace constructor and the OVThrowable constructor. They are real frames in every build:
// never inlined, and (CMakeLists.txt) never left by a sibling call.
constexpr int32_t kThrowableFramesSkipped = 3;

}  // namespace

__attribute__((noinline)) Backtrace::Backtrace(int32_t skip) {
    if (skip >= 0) {
        Capture(skip);
    }
}

__attribute__((noinline)) Backtrace::~Backtrace() { Capture(0); }

__attribute__((noinline)) void Backtrace::Capture(int32_t skip) {
    count = platform::CaptureStack(static_cast<uint32_t>(skip), kMaxFrames, frames, &hash);
}

__attribute__((noinline)) OVThrowable::OVThrowable(const std::string& message)
    : message(message), backtrace(kThrowableFramesSkipped) {
    cause = std::current_exception();
}

OVThrowable::~OVThrowable() = default;

const char* OVThrowable::what() const noexcept { return message.c_str(); }

WString OVThrowable::GetMessageText() const { return CUtils::StringUTF8ToWstring(what()); }

__attribute__((noinline)) OVException::OVException(int32_t code, const std::string& message)
    : OVThrowable(message), code(code) {}

__attribute__((noinline)) OVException::OVException(const std::string& message)
    : OVThrowable(message), code(0) {}

const char* OVException::what() const noexcept { return OVThrowable::what(); }

WString OVException::GetMessageText() const {
    WString text = CUtils::StringUTF8ToWstring(what());
    const std::string digits = std::to_string(code);
    text += u" (" + WString(digits.begin(), digits.end()) + u")";
    const WString description = GetCodeDescription();
    if (!description.empty()) {
        text += u" - " + description;
    }
    return text;
}

WString OVException::GetCodeDescription() const {
    if (code == 0) {
        return WString();
    }
    const WString hostText = HostErrorDescription(static_cast<uint32_t>(code));
    if (!hostText.empty()) {
        return hostText;
    }
    // The system's message table next (Windows has one, Linux none), then the C library's words.
    const WString systemMessage = platform::SystemMessage(code);
    if (!systemMessage.empty()) {
        return systemMessage;
    }
    const char* systemText = std::strerror(code);
    if (systemText != nullptr && *systemText != '\0') {
        return CUtils::StringUTF8ToWstring(systemText);
    }
    return u"Unknown";
}
