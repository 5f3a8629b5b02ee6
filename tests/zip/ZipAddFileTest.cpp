// ZipAddFileTest.cpp: ZipFile::addFile: members made from a file's bytes, deflated or encrypted
// with AES-256, read back by this library and by other tools, and the paths and kinds it refuses.
#include "TestFiles.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"

#include <ctime>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <random>
#include <string>

namespace {

using testfiles::kLinuxTools;
using testfiles::Quote;
using testfiles::RunCommand;

WString Wide(const std::string& text) { return CUtils::StringUTF8ToWstring(text); }

MemoryInputStream Content(const std::string& text) {
    return MemoryInputStream(ByteBuffer(text.begin(), text.end()));
}

// Text that deflate can hardly shrink, longer than the copy's chunk.
std::string Noise(size_t length) {
    std::mt19937 draw(7);
    std::string text(length, '\0');
    for (char& c : text) {
        c = static_cast<char>(draw());
    }
    return text;
}

// The member at `path` read whole by this library, or nothing when there is none.
std::optional<std::string> ReadMember(const std::string& archive, const std::string& path,
                                      MZipDataSecurityProvider* provider = nullptr) {
    ZipFile zip(Wide(archive), provider, false, false, false);
    for (uint32_t i = 0; i < zip.getMembers().size(); ++i) {
        if (CUtils::WstringToStringUTF8(zip.getMemberPath(i)) != path) {
            continue;
        }
        std::unique_ptr<InputStream> reader =
            zip.openMember(static_cast<int32_t>(i), nullptr, false);
        MemoryOutputStream bytes;
        reader->transfer(bytes, -1);
        return std::string(bytes.getBytes().begin(), bytes.getBytes().end());
    }
    return std::nullopt;
}

// Gives one password and fixed salts, as a maker's tool might.
class SecretProvider : public MZipDataSecurityProvider {
public:
    int32_t getPassword(ZipFile&, const WString&, uint32_t, bool, WString& password) override {
        password = u"secret";
        return kPasswordOnce;
    }
    void confirmPassword(ZipFile&, const WString&, const WString&) override {}
    void fillSalt(ZipFile&, ByteBuffer& buffer) override {
        std::fill(buffer.begin(), buffer.end(), 7);
    }
};

class ZipAddFileTest : public ::testing::Test {
protected:
    testfiles::TempFolder folder;
    const std::string archive = folder.At("made.zip");
};

TEST_F(ZipAddFileTest, PlainMembersAreDeflatedAndReadAlikeByThisLibraryUnzipSevenZipAndPython) {
    const std::string text = "Brennerstein W01, verze 2.0: okno s rámem. " + std::string(5000, 'x');
    const std::string noise = Noise(3 * InputStream::kChunk + 17);
    {
        ZipFile zip(Wide(archive), nullptr, true, false, false);
        MemoryInputStream first = Content(text);
        MemoryInputStream second = Content(noise);
        zip.addFile(u"W01.xml", first, kZipNotEncrypted);
        zip.addFile(u"macros/r\u00E1m.bin", second, kZipNotEncrypted);  // rám.bin
        ASSERT_EQ(zip.getPendingMembers().size(), 2u);
        EXPECT_EQ(zip.getPendingMembers()[1].folder, u"macros/");
        EXPECT_EQ(zip.getPendingMembers()[1].uncompressedSize, noise.size());
        // Deflated: the repeated text shrinks.
        EXPECT_LT(zip.getPendingMembers()[0].data.size(), text.size() / 2);
        ASSERT_EQ(zip.close(), 0);
    }
    EXPECT_EQ(ReadMember(archive, "W01.xml"), text);
    EXPECT_EQ(ReadMember(archive, "macros/rám.bin"), noise);
    // What this library reads back is checked everywhere; the other tools only on Linux.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t " + Quote(archive), &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t " + Quote(archive), &output), 0) << output;
    EXPECT_EQ(RunCommand("unzip -p " + Quote(archive) + " W01.xml", &output), 0);
    EXPECT_EQ(output, text);
    EXPECT_EQ(RunCommand("python3 -c 'import sys, zipfile; z = zipfile.ZipFile(sys.argv[1]); "
                         "print(z.testzip(), [i.compress_type for i in z.infolist()])' " +
                             Quote(archive),
                         &output),
              0);
    // Python reads the name's bytes only, not its Unicode path block: the names are unzip's.
    EXPECT_EQ(output, "None [8, 8]\n");
    EXPECT_EQ(RunCommand("unzip -Z1 " + Quote(archive), &output), 0);
    EXPECT_EQ(output, "W01.xml\nmacros/rám.bin\n");
}

TEST_F(ZipAddFileTest, AnAesMemberIsEncryptedWithTheBuiltInPasswordAndOpensWithIt) {
    const std::string text = "šifrovaný obsah " + Noise(1000);
    {
        ZipFile zip(Wide(archive), nullptr, true, false, false);
        MemoryInputStream content = Content(text);
        zip.addFile(u"W01.xml", content, kZipAes256);
        const ZipPendingMember& member = zip.getPendingMembers().front();
        EXPECT_EQ(member.flags & kZipKindMask, kZipAes256);
        EXPECT_EQ(member.crc, 0u);  // AE-2
        // Salt, check, the data and the code: the text is nowhere in it.
        const std::string stored(member.data.begin(), member.data.end());
        EXPECT_EQ(stored.find("obsah"), std::string::npos);
        ASSERT_EQ(zip.close(), 0);
    }
    EXPECT_EQ(ReadMember(archive, "W01.xml"), text);
    const std::string password = CUtils::WstringToStringUTF8(kZipDefaultPassword);
    // What this library reads back is checked everywhere; the other tools only on Linux.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("7z t -p" + Quote(password) + " " + Quote(archive), &output), 0) << output;
    EXPECT_EQ(RunCommand("7z l -slt " + Quote(archive), &output), 0);
    EXPECT_NE(output.find("Method = AES-256 Deflate"), std::string::npos) << output;
    EXPECT_NE(RunCommand("7z t -pwrong " + Quote(archive), &output), 0) << output;
}

TEST_F(ZipAddFileTest, TheProvidersPasswordAndSaltAreUsedWhenThereIsOne) {
    SecretProvider provider;
    {
        ZipFile zip(Wide(archive), &provider, true, false, false);
        MemoryInputStream content = Content("for the maker's eyes");
        zip.addFile(u"notes.txt", content, kZipAes256);
        const ByteBuffer& data = zip.getPendingMembers().front().data;
        EXPECT_EQ(ByteBuffer(data.begin(), data.begin() + 16), ByteBuffer(16, 7));
        ASSERT_EQ(zip.close(), 0);
    }
    EXPECT_EQ(ReadMember(archive, "notes.txt", &provider), "for the maker's eyes");
    // What this library reads back is checked everywhere; the other tools only on Linux.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("7z t -psecret " + Quote(archive), &output), 0) << output;
}

TEST_F(ZipAddFileTest, AnEmptyFileBecomesAnEmptyMember) {
    {
        ZipFile zip(Wide(archive), nullptr, true, false, false);
        MemoryInputStream nothing(ByteBuffer{});
        zip.addFile(u"empty.txt", nothing, kZipNotEncrypted);
        ASSERT_EQ(zip.close(), 0);
    }
    EXPECT_EQ(ReadMember(archive, "empty.txt"), "");
    // What this library reads back is checked everywhere; the other tools only on Linux.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t " + Quote(archive), &output), 0) << output;
}

TEST_F(ZipAddFileTest, TheMemberIsStampedWithThePresentLocalTime) {
    auto today = [] {
        const std::time_t now = std::time(nullptr);
        const std::tm local = *std::localtime(&now);  // the test's own thread only
        return static_cast<uint64_t>(((local.tm_year - 80) << 9) | ((local.tm_mon + 1) << 5) |
                                     local.tm_mday);
    };
    ZipFile zip(Wide(archive), nullptr, true, false, false);
    const uint64_t before = today();
    MemoryInputStream content = Content("x");
    zip.addFile(u"x.txt", content, kZipNotEncrypted);
    const uint64_t after = today();
    const uint64_t date = zip.getPendingMembers().front().stamp >> 16;
    EXPECT_TRUE(date == before || date == after) << date;
}

TEST_F(ZipAddFileTest, PathsThatWouldLeaveTheFolderAndOtherKindsAreRefusedAndNothingIsAdded) {
    ZipFile zip(Wide(archive), nullptr, true, false, false);
    for (const WString& path :
         {WString(u""), WString(u"/etc/passwd"), WString(u"../up.txt"), WString(u"a/../../up.txt"),
          WString(u"a/./b.txt"), WString(u"a//b.txt"), WString(u"folder/"), WString(u"C:/x.txt"),
          WString(u"a\\b.txt"), WString(u"..")}) {
        MemoryInputStream content = Content("x");
        EXPECT_THROW(zip.addFile(path, content, kZipNotEncrypted), OVException)
            << CUtils::WstringToStringUTF8(path);
    }
    for (int32_t kind : {int32_t{kZipPkware}, int32_t{kZipAes128}, int32_t{kZipAes192},
                         int32_t{kZipStrong}, int32_t{9}}) {
        MemoryInputStream content = Content("x");
        EXPECT_THROW(zip.addFile(u"x.txt", content, kind), OVException) << kind;
    }
    EXPECT_TRUE(zip.getPendingMembers().empty());
}

// A source that fails after its first chunk.
class FailingInputStream : public InputStream {
public:
    int64_t read(uint8_t* buffer, int64_t length) override {
        if (reads++ > 0) {
            throw OVException(5, "the disk went away");
        }
        std::fill(buffer, buffer + length, 'a');
        return length;
    }
    using InputStream::read;

private:
    int reads = 0;
};

TEST_F(ZipAddFileTest, ASourceThatFailsAddsNothingAndTheArchiveKeepsWhatItHad) {
    {
        ZipFile zip(Wide(archive), nullptr, true, false, false);
        MemoryInputStream content = Content("kept");
        zip.addFile(u"kept.txt", content, kZipNotEncrypted);
        FailingInputStream failing;
        EXPECT_THROW(zip.addFile(u"lost.txt", failing, kZipAes256), OVException);
        EXPECT_EQ(zip.getPendingMembers().size(), 1u);
        ASSERT_EQ(zip.close(), 0);
    }
    EXPECT_EQ(ReadMember(archive, "kept.txt"), "kept");
    EXPECT_EQ(ReadMember(archive, "lost.txt"), std::nullopt);
}

}  // namespace
