// ZipCrypto.cpp: key derivation for AES members and the traditional PKWARE stream cipher.
#include "zip/ZipCrypto.h"

#include "common/CUtils.h"
#include "common/OVException.h"

#include <array>
#include <mbedtls/md.h>
#include <mbedtls/pkcs5.h>
#include <mbedtls/platform_util.h>

namespace {

// The byte-wise CRC-32 table that the PKWARE key schedule runs on.
const std::array<uint32_t, 256>& CrcTable() {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> built{};
        for (uint32_t n = 0; n < 256; ++n) {
            uint32_t c = n;
            for (int k = 0; k < 8; ++k) {
                c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            }
            built[n] = c;
        }
        return built;
    }();
    return table;
}

uint32_t CrcByte(uint32_t crc, uint8_t byte) {
    return CrcTable()[(crc ^ byte) & 0xFF] ^ (crc >> 8);
}

// Zeroes a narrow password copy before its memory goes back.
struct WipedString {
    std::string text;
    ~WipedString() { mbedtls_platform_zeroize(text.data(), text.size()); }
};

}  // namespace

void deriveKey(uint8_t* output, const WString& password, const uint8_t* salt, int32_t saltLength,
               int32_t iterations, int32_t lengthInBytes) {
    WipedString utf8{CUtils::WstringToStringUTF8(password)};
    mbedtls_md_context_t context;
    mbedtls_md_init(&context);
    int result = mbedtls_md_setup(&context, mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), 1);
    if (result == 0) {
        result = mbedtls_pkcs5_pbkdf2_hmac(
            &context, reinterpret_cast<const unsigned char*>(utf8.text.data()), utf8.text.size(),
            salt, static_cast<size_t>(saltLength), static_cast<unsigned int>(iterations),
            static_cast<uint32_t>(lengthInBytes), output);
    }
    mbedtls_md_free(&context);
    if (result != 0) {
        throw OVException(result, "PBKDF failed");
    }
}

PkwareKeys::PkwareKeys(const std::string& password) : keys{0x12345678u, 0x23456789u, 0x34567890u} {
    for (char c : password) {
        update(static_cast<uint8_t>(c));
    }
}

PkwareKeys::~PkwareKeys() { mbedtls_platform_zeroize(keys, sizeof(keys)); }

void PkwareKeys::update(uint8_t plainByte) {
    keys[0] = CrcByte(keys[0], plainByte);
    keys[1] = (keys[1] + (keys[0] & 0xFF)) * 134775813u + 1;
    keys[2] = CrcByte(keys[2], static_cast<uint8_t>(keys[1] >> 24));
}

uint8_t PkwareKeys::streamByte() const {
    const uint32_t temp = (keys[2] | 2) & 0xFFFF;
    return static_cast<uint8_t>((temp * (temp ^ 1)) >> 8);
}

uint8_t PkwareKeys::decrypt(uint8_t cipherByte) {
    const uint8_t plain = cipherByte ^ streamByte();
    update(plain);
    return plain;
}

uint8_t PkwareKeys::encrypt(uint8_t plainByte) {
    const uint8_t cipher = plainByte ^ streamByte();
    update(plainByte);
    return cipher;
}

PkwareDecryptingInputStream::PkwareDecryptingInputStream(std::unique_ptr<InputStream> source,
                                                         const WString& password)
    : FilterInputStream(std::move(source)), keys(keysOf(password)), initialKeys(keys) {}

PkwareKeys PkwareDecryptingInputStream::keysOf(const WString& password) {
    WipedString utf8{CUtils::WstringToStringUTF8(password)};
    return PkwareKeys(utf8.text);
}

int64_t PkwareDecryptingInputStream::read(uint8_t* buffer, int64_t length) {
    const int64_t got = source->read(buffer, length);
    for (int64_t i = 0; i < got; ++i) {
        buffer[i] = keys.decrypt(buffer[i]);
    }
    return got;
}

void PkwareDecryptingInputStream::reset() {
    source->reset();
    keys = initialKeys;
}

void ForgetPassword(WString& password) {
    mbedtls_platform_zeroize(password.data(), password.size() * sizeof(char16_t));
    password.clear();
}

DerivedKeyBytes::~DerivedKeyBytes() { mbedtls_platform_zeroize(bytes, sizeof(bytes)); }
