// ZipMemberTestSupport.cpp: what the tests of the member readers and writers share.
#include "ZipMemberTestSupport.h"

#include "common/CUtils.h"
#include "streams/MemoryStreams.h"
#include "streams/Transformation.h"
#include "zip/ZipCrypto.h"

#include <algorithm>
#include <mbedtls/aes.h>
#include <mbedtls/md.h>
#include <mbedtls/pkcs5.h>

namespace zipmembertest {

int32_t TestProvider::getPassword(ZipFile&, const WString& memberName, uint32_t index, bool,
                                  WString& password) {
    password = answers[std::min(calls, answers.size() - 1)];
    ++calls;
    names.push_back(memberName);
    indices.push_back(index);
    return status;
}

void TestProvider::confirmPassword(ZipFile&, const WString&, const WString& password) {
    confirmed.push_back(password);
}

void TestProvider::fillSalt(ZipFile&, ByteBuffer& buffer) {
    for (size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<uint8_t>(0xA0 + i);
}

ByteBuffer EmptyArchive() {
    ByteBuffer bytes(22, 0);
    CUtils::WriteLE32(bytes.data(), 0x06054B50u);
    return bytes;
}

ByteBuffer Bytes(const std::string& text) { return ByteBuffer(text.begin(), text.end()); }

ByteBuffer Sample(size_t length) {
    ByteBuffer bytes(length);
    for (size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<uint8_t>("the quick brown fox "[i % 20] + (i / 997) % 3);
    return bytes;
}

uint32_t CrcOf(const ByteBuffer& bytes) {
    Crc32 crc;
    crc.update(bytes.data(), static_cast<int64_t>(bytes.size()));
    return crc.result();
}

ByteBuffer Deflate(const ByteBuffer& plain) {
    auto sink = std::make_unique<MemoryOutputStream>();
    MemoryOutputStream* collected = sink.get();
    TransformationOutputStream deflating(std::move(sink),
                                         std::make_unique<ZlibTransformation>(true, true));
    deflating.write(plain);
    deflating.flush();
    return collected->getBytes();
}

// The AES member layout built with mbed TLS alone: salt, check, counter-mode data, HMAC code.
ByteBuffer OracleAesMember(const ByteBuffer& data, const std::string& password,
                           const ByteBuffer& salt) {
    uint8_t derived[66];
    mbedtls_md_context_t md;
    mbedtls_md_init(&md);
    mbedtls_md_setup(&md, mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), 1);
    mbedtls_pkcs5_pbkdf2_hmac(&md, reinterpret_cast<const unsigned char*>(password.data()),
                              password.size(), salt.data(), salt.size(), 1000, 66, derived);
    mbedtls_md_free(&md);

    ByteBuffer cipher(data.size());
    mbedtls_aes_context aes;
    mbedtls_aes_init(&aes);
    mbedtls_aes_setkey_enc(&aes, derived, 256);
    uint8_t counter[16] = {};
    uint8_t stream[16];
    for (size_t at = 0; at < data.size(); at += 16) {
        for (uint8_t& byte : counter)
            if (++byte != 0)
                break;
        mbedtls_aes_crypt_ecb(&aes, MBEDTLS_AES_ENCRYPT, counter, stream);
        for (size_t i = at; i < std::min(data.size(), at + 16); ++i)
            cipher[i] = data[i] ^ stream[i - at];
    }
    mbedtls_aes_free(&aes);

    uint8_t code[20];
    mbedtls_md_hmac(mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), derived + 32, 32, cipher.data(),
                    cipher.size(), code);
    ByteBuffer member(salt.begin(), salt.end());
    member.insert(member.end(), derived + 64, derived + 66);
    member.insert(member.end(), cipher.begin(), cipher.end());
    member.insert(member.end(), code, code + 10);
    return member;
}

ByteBuffer DefaultSalt() {
    ByteBuffer salt(16);
    for (size_t i = 0; i < salt.size(); ++i)
        salt[i] = static_cast<uint8_t>(3 * i + 1);
    return salt;
}

// A PKWARE member: a 12-byte header ending in `check`, then the data, all encrypted.
ByteBuffer PkwareMember(const ByteBuffer& data, const std::string& password, uint8_t check) {
    const uint8_t header[12] = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0x55, check};
    ByteBuffer plain(header, header + sizeof header);
    plain.resize(sizeof header + data.size());
    std::copy(data.begin(), data.end(), plain.begin() + sizeof header);
    PkwareKeys keys(password);
    for (uint8_t& byte : plain)
        byte = keys.encrypt(byte);
    return plain;
}

std::unique_ptr<ZipFileMemberDataInputStream> Reader(ZipFile* zip, const ByteBuffer& data,
                                                     const MemberSpec& spec) {
    ZipMemberDescriptor descriptor;
    descriptor.zip = zip;
    descriptor.index = 0;
    descriptor.compressedSize = data.size();
    descriptor.uncompressedSize = spec.uncompressedSize;
    descriptor.method = spec.method;
    auto window = std::make_unique<PartialInputStream>(std::make_unique<MemoryInputStream>(data),
                                                       static_cast<int64_t>(data.size()), 0);
    return std::make_unique<ZipFileMemberDataInputStream>(std::move(window), descriptor, spec.kind,
                                                          spec.hasCrc, spec.crc, spec.pkwareCheck);
}

}  // namespace zipmembertest
