// OVException.h: the exception family of the common library.
//
// OVThrowable carries a narrow UTF-8 message, the exception that was in flight when it was built
// (`cause`) and the stack at the throw. OVException adds a signed 32-bit code and renders it, with
// the code's description, in GetMessageText. std::exception is the root, so a handler written
// against it catches the whole family. The library never prints `cause` or the stack: they are
// carried for whoever catches.
#pragma once

#include "common/WideString.h"

#include <cstdint>
#include <exception>
#include <string>

// The stack at one place: up to 64 return addresses, innermost first.
struct Backtrace {
    static constexpr uint32_t kMaxFrames = 64;

    uint32_t count = 0;           // frames captured; 0 before capture
    uint32_t hash = 0xFFFFFFFFu;  // the platform's hash of the captured stack
    void* frames[kMaxFrames] = {};

    // Captures at once, skipping `skip` innermost frames, unless `skip` is negative.
    explicit Backtrace(int32_t skip);
    Backtrace(const Backtrace&) = default;
    Backtrace& operator=(const Backtrace&) = default;
    // The settled teardown of the type is one more capture over its own fields.
    ~Backtrace();

    void Capture(int32_t skip = 0);
};

class OVThrowable : public std::exception {
public:
    explicit OVThrowable(const std::string& message);
    ~OVThrowable() override;

    const char* what() const noexcept override;
    // The message as wide text, nothing added.
    virtual WString GetMessageText() const;

    std::exception_ptr Cause() const { return cause; }
    const Backtrace& GetBacktrace() const { return backtrace; }

private:
    std::string message;
    std::exception_ptr cause;
    std::string detail;
    Backtrace backtrace;
};

class OVException : public OVThrowable {
public:
    OVException(int32_t code, const std::string& message);
    explicit OVException(const std::string& message);

    const char* what() const noexcept override;
    // The message, " (code)", and " - " with the code's description when there is one.
    WString GetMessageText() const override;
    // Empty for 0; the host's text for a host code; else the system's words for the number.
    virtual WString GetCodeDescription() const;

    int32_t GetCode() const { return code; }

private:
    int32_t code;
};

// Named by one handler of the stream layer; nothing throws it.
class OVIOException : public OVException {
public:
    using OVException::OVException;
};
