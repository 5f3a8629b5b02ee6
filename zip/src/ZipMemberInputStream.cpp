// ZipMemberInputStream.cpp: the reader of one member: builds the chain from the raw window to
// plain bytes (AES or PKWARE decryption, inflate, CRC) and checks what the member promises when its
// last byte goes out.
#include "ZipRecords.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipMemberStreams.h"

#include <algorithm>
#include <cstring>
#include <mbedtls/platform_util.h>

namespace {

using ziprecords::ReadFully;

constexpr int32_t kPkwareHeaderLength = 12;

// Gives the already read PKWARE header again before the rest of its source, so that the header
// can be tested against each offered password before the decrypting stream is built.
class ReplayInputStream : public FilterInputStream {
public:
    ReplayInputStream(std::unique_ptr<InputStream> source, const uint8_t* bytes, size_t length)
        : FilterInputStream(std::move(source)), held(bytes, bytes + length) {}

    int64_t read(uint8_t* buffer, int64_t length) override {
        if (next < held.size() && length > 0) {
            const size_t count = std::min(held.size() - next, static_cast<size_t>(length));
            std::memcpy(buffer, held.data() + next, count);
            next += count;
            return static_cast<int64_t>(count);
        }
        return source->read(buffer, length);
    }
    using InputStream::read;

    // The rewound source holds the header itself.
    void reset() override {
        source->reset();
        next = held.size();
    }

private:
    ByteBuffer held;
    size_t next = 0;
};

}  // namespace

struct ZipFileMemberDataInputStream::Chain {
    // The transformations are borrowed by the streams of `top`, so they are declared first and
    // outlive them.
    std::unique_ptr<RijndaelTransformation> aes;
    std::unique_ptr<ZlibTransformation> zlib;
    std::unique_ptr<InputStream> top;
    // Views into the chain that `top` owns.
    InputStream* source = nullptr;
    SuffixInputStream* suffix = nullptr;
    HashInputStream* authentication = nullptr;
    PkwareDecryptingInputStream* pkware = nullptr;
    HashInputStream* checksummed = nullptr;
    uint8_t salt[kZipAesSaltLength] = {};
    uint8_t passwordCheck[kZipAesCheckLength] = {};
    bool mayRetry = false;
    bool confirmPending = false;  // a PKWARE password is confirmed only by a passed verification
    WString password;

    ~Chain() {
        ForgetPassword(password);
        mbedtls_platform_zeroize(salt, sizeof(salt));
    }
};

namespace {

// After a wrong password: gives up unless the provider may be asked again, and never past the
// limit, so that a provider that keeps offering the same wrong answer cannot hold the reader.
void RejectPassword(WString& password, bool mayRetry, int32_t attempt) {
    if (!mayRetry || attempt >= kZipPasswordAttempts) {
        ForgetPassword(password);
        throw OVException(kZipInvalidPassword, "Invalid password");
    }
}

// Reports the password as accepted to the provider, then forgets it.
void ConfirmPassword(const ZipMemberDescriptor& descriptor, WString& password) {
    if (descriptor.zip != nullptr) {
        descriptor.zip->confirmPassword(*descriptor.zip, MemberName(descriptor), password);
    }
    ForgetPassword(password);
}

void ReadAesHeader(InputStream& source, uint8_t* salt, uint8_t* check) {
    if (ReadFully(source, salt, kZipAesSaltLength) != kZipAesSaltLength ||
        ReadFully(source, check, kZipAesCheckLength) != kZipAesCheckLength) {
        throw OVException("Failed to read AES encryption headers");
    }
}

void ReadPkwareHeader(InputStream& stream, uint8_t* header) {
    if (ReadFully(stream, header, kPkwareHeaderLength) != kPkwareHeaderLength) {
        throw OVException("Failed to read PKWARE encryption header");
    }
}

}  // namespace

ZipFileMemberDataInputStream::ZipFileMemberDataInputStream(std::unique_ptr<InputStream> source,
                                                           const ZipMemberDescriptor& descriptor,
                                                           int32_t kind, bool hasCrc,
                                                           uint32_t expectedCrc,
                                                           uint8_t pkwareCheck)
    : chain(std::make_unique<Chain>()), descriptor(descriptor), kind(kind), hasCrc(hasCrc),
      expectedCrc(expectedCrc) {
    if (!source) {
        throw OVException("Source stream is requied");
    }
    Chain& c = *chain;
    c.source = source.get();
    std::unique_ptr<InputStream> current = std::move(source);
    if (IsAesKind(kind)) {
        ReadAesHeader(*current, c.salt, c.passwordCheck);
    }

    if (kind == kZipPkware) {
        uint8_t raw[kPkwareHeaderLength];
        ReadPkwareHeader(*current, raw);
        for (int32_t attempt = 1;; ++attempt) {
            c.mayRetry = AskMemberPassword(descriptor, c.password);
            uint8_t last = 0;
            {
                PkwareDecryptingInputStream probe(
                    std::make_unique<MemoryInputStream>(ByteBuffer(raw, raw + kPkwareHeaderLength)),
                    c.password);
                uint8_t header[kPkwareHeaderLength];
                ReadPkwareHeader(probe, header);
                last = header[kPkwareHeaderLength - 1];
                mbedtls_platform_zeroize(header, sizeof(header));
            }
            if (last == pkwareCheck) {
                break;
            }
            RejectPassword(c.password, c.mayRetry, attempt);
        }
        auto decrypting = std::make_unique<PkwareDecryptingInputStream>(
            std::make_unique<ReplayInputStream>(std::move(current), raw, kPkwareHeaderLength),
            c.password);
        c.pkware = decrypting.get();
        c.confirmPending = true;
        current = std::move(decrypting);
    } else if (IsAesKind(kind)) {
        auto suffix = std::make_unique<SuffixInputStream>(std::move(current), kZipAesCodeLength);
        c.suffix = suffix.get();
        DerivedKeyBytes derived;
        for (int32_t attempt = 1;; ++attempt) {
            c.mayRetry = AskMemberPassword(descriptor, c.password);
            deriveKey(derived.bytes, c.password, c.salt, kZipAesKeyLength / 2, kZipAesIterations,
                      kZipAesDerivedLength);
            if (std::memcmp(derived.bytes + 2 * kZipAesKeyLength, c.passwordCheck,
                            kZipAesCheckLength) == 0) {
                break;
            }
            mbedtls_platform_zeroize(derived.bytes, sizeof(derived.bytes));
            RejectPassword(c.password, c.mayRetry, attempt);
        }
        auto authentication = std::make_unique<HashInputStream>(
            std::move(suffix),
            std::make_unique<HMAC>(std::make_unique<Sha1>(), derived.bytes + kZipAesKeyLength,
                                   kZipAesKeyLength));
        c.authentication = authentication.get();
        c.aes = std::make_unique<RijndaelTransformation>(false, CipherTransformation::kCounter,
                                                         derived.bytes, kZipAesKeyLength);
        current = std::make_unique<TransformationInputStream>(std::move(authentication), *c.aes);
        ConfirmPassword(descriptor, c.password);
    } else if (kind != kZipNotEncrypted) {
        throw OVException("Unsupported encryption algorithm");
    }

    if (descriptor.method == ziprecords::kMethodDeflated) {
        c.zlib = std::make_unique<ZlibTransformation>(false, true);
        current = std::make_unique<TransformationInputStream>(std::move(current), *c.zlib);
    } else if (descriptor.method != ziprecords::kMethodStored) {
        throw OVException(kZipUnsupportedCompression, "Unsupported compression algorithm");
    }

    if (hasCrc) {
        auto checksummed =
            std::make_unique<HashInputStream>(std::move(current), std::make_unique<Crc32>());
        c.checksummed = checksummed.get();
        current = std::move(checksummed);
    }
    c.top = std::move(current);

    if (kind == kZipPkware) {
        // Read past the header below inflate and CRC, which must not see it.
        uint8_t header[kPkwareHeaderLength];
        ReadPkwareHeader(*c.pkware, header);
    }
}

ZipFileMemberDataInputStream::~ZipFileMemberDataInputStream() {
    ForgetPassword(chain->password);
    chain->top.reset();
}

int64_t ZipFileMemberDataInputStream::read(uint8_t* buffer, int64_t length) {
    const uint64_t size = descriptor.uncompressedSize;
    int64_t got = -1;
    if (delivered < size) {
        // Never past the declared size: a member whose data runs on (a bomb) stops there.
        const uint64_t asked =
            std::min(static_cast<uint64_t>(std::max<int64_t>(length, 0)), size - delivered);
        got = chain->top->read(buffer, static_cast<int64_t>(asked));
        if (got >= 0) {
            delivered += static_cast<uint64_t>(got);
        }
        if (got >= 0 && delivered < size) {
            return got;
        }
    }
    if (!verified) {
        // Data behind the declared size is looked for before the checks, whose AES code takes
        // the rest of the encrypted bytes.
        uint8_t more;
        if (delivered >= size && chain->top->read(&more, 1) > 0) {
            throw OVException(kZipVerificationFailed, "Already verified and some data available");
        }
        verify();
    }
    return got;
}

void ZipFileMemberDataInputStream::verify() {
    Chain& c = *chain;
    if (IsAesKind(kind)) {
        // Inflate may hand out the last byte before it has consumed the end of its input; the
        // code covers every encrypted byte, so the rest is hashed before the code is taken.
        uint8_t scratch[1024];
        while (c.authentication->read(scratch, sizeof(scratch)) > 0) {
        }
        uint8_t code[20];
        c.authentication->getHash(code, sizeof(code));
        const uint8_t* suffix = c.suffix->getSuffix(nullptr);
        const bool matches = std::memcmp(code, suffix, kZipAesCodeLength) == 0;
        mbedtls_platform_zeroize(code, sizeof(code));
        if (!matches) {
            throw OVException(kZipAuthenticationFailed, "Authentication failed");
        }
    }
    if (hasCrc) {
        uint8_t value[4];
        c.checksummed->getHash(value, sizeof(value));
        if (CUtils::ReadBE32(value) != expectedCrc) {
            throw OVException(kZipVerificationFailed, "Verification failed");
        }
    }
    verified = true;
    if (c.confirmPending) {
        c.confirmPending = false;
        ConfirmPassword(descriptor, c.password);
    }
}

void ZipFileMemberDataInputStream::reset() {
    Chain& c = *chain;
    delivered = 0;
    verified = false;
    c.top->reset();
    if (IsAesKind(kind)) {
        ReadAesHeader(*c.source, c.salt, c.passwordCheck);
    }
    if (kind == kZipPkware) {
        uint8_t header[kPkwareHeaderLength];
        ReadPkwareHeader(*c.pkware, header);
    }
}
