// TestCertificate.h: a certificate for the HTTPS tests, made in the test itself, so that they need
// no openssl command and run on Windows too.
#pragma once

#include <string>

namespace servicetest {

// Writes a new key (PEM) and a self-signed certificate (PEM) for 127.0.0.1, valid for two days;
// false when either cannot be made or written.
bool WriteSelfSignedCertificate(const std::string& keyPath, const std::string& certificatePath);

}  // namespace servicetest
