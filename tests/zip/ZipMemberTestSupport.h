// ZipMemberTestSupport.h: what the tests of the member readers and writers share: a recording
// data security provider, sample data and the members made of it, and readers over them.
#pragma once

#include "StreamTestSupport.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipFile.h"
#include "zip/ZipMemberStreams.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zipmembertest {

// Answers every request with the next of its passwords (the last one repeated) and `status`.
class TestProvider : public MZipDataSecurityProvider {
public:
    TestProvider(std::vector<WString> answers, int32_t status)
        : answers(std::move(answers)), status(status) {}

    int32_t getPassword(ZipFile&, const WString& memberName, uint32_t index, bool,
                        WString& password) override;
    void confirmPassword(ZipFile&, const WString&, const WString& password) override;
    void fillSalt(ZipFile&, ByteBuffer& buffer) override;

    std::vector<WString> answers;
    int32_t status;
    size_t calls = 0;
    std::vector<WString> names;
    std::vector<uint32_t> indices;
    std::vector<WString> confirmed;
};

ByteBuffer EmptyArchive();

// A provider and an empty in-memory archive for the reader's descriptor.
struct Harness {
    explicit Harness(std::vector<WString> answers = {u"secret"},
                     int32_t status = MZipDataSecurityProvider::kPasswordOnce)
        : provider(std::move(answers), status),
          zip(std::make_unique<MemoryInputStream>(EmptyArchive()), &provider) {}

    TestProvider provider;
    ZipFile zip;
};

ByteBuffer Bytes(const std::string& text);
ByteBuffer Sample(size_t length);
uint32_t CrcOf(const ByteBuffer& bytes);
ByteBuffer Deflate(const ByteBuffer& plain);
// The AES member layout built with mbed TLS alone: salt, check, counter-mode data, HMAC code.
ByteBuffer OracleAesMember(const ByteBuffer& data, const std::string& password,
                           const ByteBuffer& salt);
ByteBuffer DefaultSalt();
// A PKWARE member: a 12-byte header ending in `check`, then the data, all encrypted.
ByteBuffer PkwareMember(const ByteBuffer& data, const std::string& password, uint8_t check);

struct MemberSpec {
    int32_t kind = 0;
    uint16_t method = 0;
    uint64_t uncompressedSize = 0;
    bool hasCrc = false;
    uint32_t crc = 0;
    uint8_t pkwareCheck = 0;
};

std::unique_ptr<ZipFileMemberDataInputStream> Reader(ZipFile* zip, const ByteBuffer& data,
                                                     const MemberSpec& spec);
using streamtest::ReadAll;

// Runs `action` and gives the OVException it threw; fails the test when nothing was thrown.
template <typename Action> OVException Thrown(Action action) {
    try {
        action();
    } catch (const OVException& e) {
        return e;
    }
    ADD_FAILURE() << "no OVException";
    return OVException(0, "nothing thrown");
}

}  // namespace zipmembertest
