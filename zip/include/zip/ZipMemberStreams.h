// ZipMemberStreams.h: the reader of one member, from raw bytes to plain bytes with the checks the
// member promises at its end, and the writer's counterpart.
//
// Reader chain, innermost first: the raw window; for AES the suffix (authentication code), the
// HMAC and the decryption; for PKWARE the decryption; inflate for method 8; the CRC when one is
// expected. Reads stop at the declared size, where data still to come is an error; verification
// runs when the last byte is delivered.
#pragma once

#include "streams/Hash.h"
#include "streams/OutputStream.h"
#include "streams/Transformation.h"
#include "zip/ZipFile.h"

#include <cstdint>
#include <memory>

// Codes of member reading.
constexpr int32_t kZipInvalidPassword = -1380001;
constexpr int32_t kZipAuthenticationFailed = -1380003;
constexpr int32_t kZipVerificationFailed = -1380004;
constexpr int32_t kZipUnsupportedCompression = -1380005;
constexpr int32_t kZipPasswordNotSupplied = -1380007;
constexpr int32_t kZipPasswordTooLong = -6;
// A strong encryption header longer than 4,098 bytes.
constexpr int32_t kZipEncryptionHeaderTooLong = -8;

struct ZipMemberDescriptor {
    ZipFile* zip = nullptr;  // the security provider
    uint32_t index = 0;
    uint64_t compressedSize = 0;
    uint64_t uncompressedSize = 0;
    uint16_t method = 0;
};

// The member's path, for the security provider; empty when the descriptor names none.
WString MemberName(const ZipMemberDescriptor& descriptor);
// Asks the archive's provider for the member's password (none without an archive). Throws
// OVException for a password that is too long or none given, forgetting what was given. True
// when the provider may be asked again after a wrong password.
bool AskMemberPassword(const ZipMemberDescriptor& descriptor, WString& password);

class ZipFileMemberDataInputStream : public InputStream {
public:
    // `source` is the member's data window. `pkwareCheck` is the byte the last of the 12 header
    // bytes of a PKWARE member must equal (the CRC's or the time's high byte).
    ZipFileMemberDataInputStream(std::unique_ptr<InputStream> source,
                                 const ZipMemberDescriptor& descriptor, int32_t kind, bool hasCrc,
                                 uint32_t expectedCrc, uint8_t pkwareCheck);
    // Forgets the password and destroys the chain.
    ~ZipFileMemberDataInputStream() override;
    ZipFileMemberDataInputStream(const ZipFileMemberDataInputStream&) = delete;
    ZipFileMemberDataInputStream& operator=(const ZipFileMemberDataInputStream&) = delete;

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;
    void reset() override;

private:
    struct Chain;
    void verify();

    std::unique_ptr<Chain> chain;
    ZipMemberDescriptor descriptor;
    uint64_t delivered = 0;
    int32_t kind;
    bool hasCrc;
    uint32_t expectedCrc;
    bool verified = false;
};

// The writer: compresses, encrypts (AES kinds) and authenticates into a counting sink.
class ZipFileMemberDataOutputStream : public OutputStream {
public:
    ZipFileMemberDataOutputStream(CountingOutputStream* sink, const ZipMemberDescriptor& descriptor,
                                  int32_t kind, const ByteBuffer& localHeader);
    ~ZipFileMemberDataOutputStream() override;
    ZipFileMemberDataOutputStream(const ZipFileMemberDataOutputStream&) = delete;
    ZipFileMemberDataOutputStream& operator=(const ZipFileMemberDataOutputStream&) = delete;

    void write(const uint8_t* buffer, int64_t length) override;
    using OutputStream::write;
    // Flushes the chain and, for AES kinds, writes the authentication code. Gives the count of
    // bytes written to the sink since construction.
    uint64_t finish();
    uint32_t getCrc() const { return crc.result(); }

private:
    struct Chain;

    CountingOutputStream* sink;
    std::unique_ptr<Chain> chain;
    Crc32 crc;
    uint64_t startOffset = 0;
    ZipMemberDescriptor descriptor;
    int32_t kind;
};
