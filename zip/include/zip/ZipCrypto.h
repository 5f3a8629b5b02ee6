// ZipCrypto.h: password-derived keys and the ciphers of ZIP members.
#pragma once

#include "common/WideString.h"
#include "streams/InputStream.h"

#include <cstdint>
#include <string>

// The password of encrypted update archives when the caller supplies none. A library maker
// encrypts its archives with it; it lives here and nowhere else.
constexpr char16_t kZipDefaultPassword[] = u"Brennerstein-OrvUpdate";

// How many times a provider that answers "ask again" is asked before "Invalid password".
constexpr int32_t kZipPasswordAttempts = 3;

// AES member layout (AE-2): salt, password check, data, authentication code.
constexpr int32_t kZipAesSaltLength = 16;
constexpr int32_t kZipAesCheckLength = 2;
constexpr int32_t kZipAesCodeLength = 10;
constexpr int32_t kZipAesIterations = 1000;
constexpr int32_t kZipAesKeyLength = 32;
constexpr int32_t kZipAesDerivedLength = 66;  // key, HMAC key, check

// Zeroes a password's characters and empties it.
void ForgetPassword(WString& password);

// The derived bytes of one member, on the stack, zeroed however the scope is left.
struct DerivedKeyBytes {
    uint8_t bytes[kZipAesDerivedLength] = {};
    DerivedKeyBytes() = default;
    DerivedKeyBytes(const DerivedKeyBytes&) = delete;
    DerivedKeyBytes& operator=(const DerivedKeyBytes&) = delete;
    ~DerivedKeyBytes();
};

// PBKDF2 with HMAC-SHA1 over the UTF-8 password; throws "PBKDF failed" with the library's code.
void deriveKey(uint8_t* output, const WString& password, const uint8_t* salt, int32_t saltLength,
               int32_t iterations, int32_t lengthInBytes);

// The traditional PKWARE cipher: three 32-bit keys updated by each plain byte.
class PkwareKeys {
public:
    explicit PkwareKeys(const std::string& password);
    ~PkwareKeys();
    uint8_t decrypt(uint8_t cipherByte);
    uint8_t encrypt(uint8_t plainByte);

private:
    void update(uint8_t plainByte);
    uint8_t streamByte() const;

    uint32_t keys[3];
};

// Decrypts a PKWARE member's data as it is read; the 12-byte header is the caller's to read.
class PkwareDecryptingInputStream : public FilterInputStream {
public:
    PkwareDecryptingInputStream(std::unique_ptr<InputStream> source, const WString& password);

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;
    // Rewinds the source and starts the keys over from the password.
    void reset() override;

private:
    static PkwareKeys keysOf(const WString& password);

    PkwareKeys keys;
    PkwareKeys initialKeys;  // the keys right after the password, for reset
};
