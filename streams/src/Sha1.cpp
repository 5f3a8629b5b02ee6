// Sha1.cpp: the SHA-1 hash, computed by mbed TLS.
#include "common/OVException.h"
#include "streams/Hash.h"

#include <mbedtls/sha1.h>

Sha1::Sha1() : context(std::make_unique<mbedtls_sha1_context>()) {
    mbedtls_sha1_init(context.get());
    reset();
}

Sha1::~Sha1() { mbedtls_sha1_free(context.get()); }

// The software SHA-1 of mbed TLS has no failing path, so its status codes are not looked at.
void Sha1::reset() { static_cast<void>(mbedtls_sha1_starts_ret(context.get())); }

void Sha1::update(const uint8_t* data, int64_t length) {
    if (data == nullptr || length <= 0) {
        return;
    }
    static_cast<void>(mbedtls_sha1_update_ret(context.get(), data, static_cast<size_t>(length)));
}

void Sha1::final(uint8_t* output, int64_t outputLength) {
    if (outputLength < 20) {
        throw OVException("Too small output size for SHA1");
    }
    static_cast<void>(mbedtls_sha1_finish_ret(context.get(), output));
}
