// ZipMemberOutputStream.cpp: the writer of one member: compresses, encrypts and authenticates
// (AES kinds) into a counting sink, with the prepared local header in front.
#include "ZipRecords.h"
#include "common/OVException.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipMemberStreams.h"

#include <mbedtls/platform_util.h>

namespace {

// The innermost stage: writes into the caller's sink without owning it.
class BorrowedOutputStream : public FilterOutputStream {
public:
    explicit BorrowedOutputStream(OutputStream& sink) : FilterOutputStream(sink) {}

    void write(const uint8_t* buffer, int64_t length) override { sink->write(buffer, length); }
    using OutputStream::write;
};

}  // namespace

struct ZipFileMemberDataOutputStream::Chain {
    std::unique_ptr<OutputStream> top;
    HashOutputStream* authentication = nullptr;  // inside `top`
    ByteBuffer saltBuffer;
    uint8_t passwordCheck[kZipAesCheckLength] = {};
    WString password;
    bool finished = false;

    ~Chain() { ForgetPassword(password); }
};

ZipFileMemberDataOutputStream::ZipFileMemberDataOutputStream(CountingOutputStream* sink,
                                                             const ZipMemberDescriptor& descriptor,
                                                             int32_t kind,
                                                             const ByteBuffer& localHeader)
    : sink(sink), chain(std::make_unique<Chain>()), descriptor(descriptor), kind(kind) {
    if (sink == nullptr) {
        throw OVException("Output stream must be set");
    }
    Chain& c = *chain;
    startOffset = sink->getCount();
    std::unique_ptr<OutputStream> current = std::make_unique<BorrowedOutputStream>(*sink);
    if (kind == kZipNotEncrypted || kind == kZipPkware) {
        // PKWARE asks for its password only: this writer has no cipher of that kind.
        if (kind == kZipPkware) {
            AskMemberPassword(descriptor, c.password);  // once: nothing to test it against
            ForgetPassword(c.password);
        }
        if (!localHeader.empty()) {
            sink->write(localHeader);
        }
        startOffset = sink->getCount();
    } else if (IsAesKind(kind)) {
        c.saltBuffer.assign(kZipAesSaltLength, 0);
        if (descriptor.zip != nullptr) {
            descriptor.zip->fillSalt(*descriptor.zip, c.saltBuffer);
        }
        c.saltBuffer.resize(kZipAesSaltLength);
        AskMemberPassword(descriptor, c.password);  // once: nothing to test it against
        DerivedKeyBytes derived;
        deriveKey(derived.bytes, c.password, c.saltBuffer.data(), kZipAesSaltLength,
                  kZipAesIterations, kZipAesDerivedLength);
        ForgetPassword(c.password);
        std::copy(derived.bytes + 2 * kZipAesKeyLength,
                  derived.bytes + 2 * kZipAesKeyLength + kZipAesCheckLength, c.passwordCheck);
        if (!localHeader.empty()) {
            sink->write(localHeader);
        }
        startOffset = sink->getCount();
        sink->write(c.saltBuffer);
        sink->write(c.passwordCheck, kZipAesCheckLength);
        auto authentication = std::make_unique<HashOutputStream>(
            std::move(current),
            std::make_unique<HMAC>(std::make_unique<Sha1>(), derived.bytes + kZipAesKeyLength,
                                   kZipAesKeyLength));
        c.authentication = authentication.get();
        current = std::make_unique<TransformationOutputStream>(
            std::move(authentication),
            std::make_unique<RijndaelTransformation>(true, CipherTransformation::kCounter,
                                                     derived.bytes, kZipAesKeyLength));
    } else {
        throw OVException("Unsupported encryption");
    }

    if (descriptor.method == ziprecords::kMethodDeflated) {
        current = std::make_unique<TransformationOutputStream>(
            std::move(current), std::make_unique<ZlibTransformation>(true, true));
    } else if (descriptor.method != ziprecords::kMethodStored) {
        throw OVException("Not supported compression");
    }
    c.top = std::move(current);
}

ZipFileMemberDataOutputStream::~ZipFileMemberDataOutputStream() {
    ForgetPassword(chain->password);
    chain->top.reset();
}

void ZipFileMemberDataOutputStream::write(const uint8_t* buffer, int64_t length) {
    chain->top->write(buffer, length);
    crc.update(buffer, length);
}

uint64_t ZipFileMemberDataOutputStream::finish() {
    Chain& c = *chain;
    if (!c.finished) {
        c.finished = true;
        c.top->flush();
        if (c.authentication != nullptr) {
            uint8_t code[20];
            c.authentication->getHash(code, sizeof(code));
            sink->write(code, kZipAesCodeLength);
            mbedtls_platform_zeroize(code, sizeof(code));
        }
        sink->flush();
    }
    return sink->getCount() - startOffset;
}
