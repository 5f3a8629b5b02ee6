// HttpFailures.h: the failures of an HTTP GET, one per step, with the texts a user reads. The
// numbers are the Windows HTTP client's error numbers, so that every platform shows the same.
#pragma once

#include <string>

[[noreturn]] void ThrowSessionFailure();
[[noreturn]] void ThrowConnectFailure(unsigned long error);
[[noreturn]] void ThrowRequestFailure(unsigned long error);
[[noreturn]] void ThrowSendFailure(unsigned long error);
[[noreturn]] void ThrowResponseFailure(unsigned long error);
// A final status other than 200; 0 when the status could not be read.
[[noreturn]] void ThrowStatusFailure(unsigned long status);
[[noreturn]] void ThrowReadFailure(unsigned long error);

// Throws when the body is too short to be an answer (under 2 bytes).
void CheckBody(const std::string& body);
