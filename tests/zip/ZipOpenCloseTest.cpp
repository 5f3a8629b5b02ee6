// ZipOpenCloseTest.cpp: opening and closing a ZipFile: missing and broken files, exceptions
// from the stream, the rewrite on close with pending members, and the data security provider.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace ziptest;

namespace {

TEST_F(ZipFileTest, MissingFileFailsToOpenWithTheSystemCodeAndIsNotCreated) {
    const std::string path = folder.At("missing.zip");
    try {
        ZipFile zip(Wide(path), nullptr, false, true, false);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), ENOENT);
        EXPECT_STREQ(e.what(), "");
    }
    EXPECT_FALSE(CUtils::FileExists(Wide(path)));
}

TEST_F(ZipFileTest, CreateIfMissingMakesFoldersAndWritesAnEmptyArchiveOnClose) {
    const std::string path = folder.At("new/deeper/made.zip");
    {
        ZipFile zip(Wide(path), nullptr, true, false, false);
        EXPECT_TRUE(zip.isOpened());
        EXPECT_TRUE(zip.isModified());
    }
    EXPECT_EQ(ReadFileBytes(path), Build(RawArchive{}));
}

TEST_F(ZipFileTest, DeleteOnOpenFailureRemovesTheBrokenFile) {
    const std::string path = folder.At("broken.zip");
    WriteFileBytes(path, "garbage that holds no end record");
    try {
        ZipFile zip(Wide(path), nullptr, false, true, false);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), kZipBadStructure);
    }
    EXPECT_FALSE(CUtils::FileExists(Wide(path)));
}

TEST_F(ZipFileTest, BrokenFileStaysWithoutDeleteOnOpenFailure) {
    const std::string path = folder.At("broken.zip");
    WriteFileBytes(path, "garbage that holds no end record");
    EXPECT_THROW(ZipFile(Wide(path), nullptr, false, false, false), OVException);
    EXPECT_TRUE(CUtils::FileExists(Wide(path)));
}

class ThrowingStream : public SeekableInputStream {
public:
    explicit ThrowingStream(int kind) : kind(kind) {}
    int64_t read(uint8_t*, int64_t) override {
        if (kind == 0)
            throw std::runtime_error("standard");
        throw 42;
    }
    int64_t seek(int64_t position) override { return std::clamp<int64_t>(position, 0, 1000); }

private:
    int kind;
};

TEST_F(ZipFileTest, StandardExceptionWhileOpeningGivesCodeMinus999) {
    try {
        ZipFile zip(std::make_unique<ThrowingStream>(0), nullptr);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), -999);
    }
}

TEST_F(ZipFileTest, ForeignExceptionWhileOpeningGivesCode4864) {
    try {
        ZipFile zip(std::make_unique<ThrowingStream>(1), nullptr);
        FAIL() << "opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), kZipOpenFailed);
    }
}

TEST_F(ZipFileTest, StreamArchiveWithDuplicatesIsNeverSaved) {
    RawArchive raw;
    raw.members = {Member("a", "1"), Member("a", "2")};
    auto zip = OpenBytes(Build(raw));
    EXPECT_EQ(zip->getPath(), WString(ZipFile::kStreamPath));
    EXPECT_TRUE(zip->isModified());
    EXPECT_EQ(zip->close(), 0);
}

#ifndef _WIN32  // an archive that is open cannot be deleted on Windows
TEST_F(ZipFileTest, CloseReportsFourteenWhenTheRewriteFails) {
    RawArchive raw;
    raw.members = {Member("a", "1"), Member("a", "2")};
    const std::string path = folder.At("vanish.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_TRUE(zip.isModified());
    // The old archive is gone, so its members cannot be copied.
    ASSERT_TRUE(CUtils::DeleteFileOV(Wide(path)));
    EXPECT_EQ(zip.close(), 14);
    EXPECT_FALSE(CUtils::FileExists(Wide(path + ".temp")));
}
#endif

TEST_F(ZipFileTest, PendingMemberIsWrittenAndReadableByUnzip) {
    RawArchive raw;
    raw.members = {Deflated("old.txt", Repeat("old content ", 20))};
    const std::string path = folder.At("pending.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    const std::string content = "pending member text, Příliš";
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ZipPendingMember member;
        member.folder = u"new/";
        member.name = u"p\u0159idan\u00FD.txt";  // přidaný.txt
        // One final deflate block stored as it is.
        const uint16_t length = static_cast<uint16_t>(content.size());
        member.data = {1, static_cast<uint8_t>(length & 0xFF), static_cast<uint8_t>(length >> 8),
                       static_cast<uint8_t>(~length & 0xFF),
                       static_cast<uint8_t>((~length >> 8) & 0xFF)};
        member.data.insert(member.data.end(), content.begin(), content.end());
        member.crc = Crc(content);
        member.uncompressedSize = content.size();
        member.stamp = (uint64_t{(44u << 9) | (1u << 5) | 2u} << 16) | (12u << 11);
        zip.addPendingMember(std::move(member));
        EXPECT_EQ(zip.getPendingMembers().size(), 1u);
        EXPECT_EQ(Narrow(zip.getMemberPath(kZipPendingBit)), "new/přidaný.txt");
        EXPECT_EQ(zip.close(), 0);
        EXPECT_TRUE(zip.getPendingMembers().empty());
        EXPECT_EQ(Paths(zip), (std::vector<std::string>{"old.txt", "new/přidaný.txt"}));
    }
    // What this library reads back is checked everywhere; the other tools only on Linux.
    {
        ZipFile again(Wide(path), nullptr, false, false, false);
        EXPECT_EQ(MemberText(again, 0), Repeat("old content ", 20));
        EXPECT_EQ(MemberText(again, 1), content);
    }
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("unzip -p '" + path + "' 'new/přidaný.txt'", &output), 0);
    EXPECT_EQ(output, content);
    EXPECT_EQ(RunCommand("unzip -p '" + path + "' old.txt | head -c 12", &output), 0);
    EXPECT_EQ(output, "old content ");
}

TEST_F(ZipFileTest, ArchiveSavedWithTheTableUnchangedListsTheSameMembers) {
    RawArchive raw;
    raw.members = {Member("z.txt", "zz"), Member("a/b.txt", "bb"), Member("a/b.txt", "cc")};
    raw.members[0].host = 0;
    raw.members[0].attributes = 0x20;
    raw.comment = "kept comment";
    const std::string path = folder.At("raw.zip");
    WriteFileBytes(path, Build(raw));
    std::vector<ZipMemberInfo> before;
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        before = zip.getMembers();
    }
    ZipFile zip(Wide(path), nullptr, false, false, false);
    ASSERT_EQ(zip.getMembers().size(), before.size());
    for (size_t i = 0; i < before.size(); ++i) {
        EXPECT_EQ(zip.getMembers()[i].folder + zip.getMembers()[i].name,
                  before[i].folder + before[i].name);
        EXPECT_EQ(zip.getMembers()[i].crc, before[i].crc);
        EXPECT_EQ(zip.getMembers()[i].stamp, before[i].stamp);
        EXPECT_EQ(zip.getMembers()[i].attributes, before[i].attributes);
    }
    EXPECT_EQ(std::string(zip.getComment().begin(), zip.getComment().end()), "kept comment");
    // What the other tools make of it is checked on Linux only.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
}

TEST_F(ZipFileTest, BitThreeIsClearedAndSizesWrittenIntoTheLocalHeaderOnRewrite) {
    // Written to a stream that cannot seek, the sizes come behind the data.
    RawArchive raw;
    for (const char* name : {"s.txt", "s.txt", "t.txt"}) {
        raw.members.push_back(Deflated(name, Repeat("streamed ", 30)));
        raw.members.back().descriptor = true;
    }
    const std::string path = folder.At("streamed.zip");
    ASSERT_TRUE(WriteFileBytes(path, Build(raw)));
    const std::string before = ReadFileBytes(path);
    ASSERT_GT(before.size(), 30u);
    ASSERT_EQ(static_cast<uint8_t>(before[6]) & 8, 8);
    ASSERT_EQ(before.substr(18, 4), LE32(0));
    {
        ZipFile zip(Wide(path), nullptr, false, false, false);
        ASSERT_EQ(zip.getMembers().size(), 2u);
        EXPECT_EQ(zip.getMembers()[0].flags & kZipSizesFollowData, kZipSizesFollowData);
        EXPECT_EQ(zip.close(), 0);
        EXPECT_EQ(zip.getMembers()[0].flags & kZipSizesFollowData, 0);
    }
    const std::string bytes = ReadFileBytes(path);
    EXPECT_EQ(static_cast<uint8_t>(bytes[6]) & 8, 0);
    EXPECT_EQ(bytes.substr(22, 4), LE32(270));
    EXPECT_NE(bytes.substr(18, 4), LE32(0));
    // What the other tools make of it is checked on Linux only.
    if (!kLinuxTools)
        return;
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t '" + path + "'", &output), 0) << output;
    EXPECT_EQ(RunCommand("7z t '" + path + "'", &output), 0) << output;
}

TEST_F(ZipFileTest, WithoutProviderThePasswordIsTheDefaultWithStatusTwo) {
    RawArchive raw;
    raw.members = {Member("a", "1")};
    auto zip = OpenBytes(Build(raw));
    WString password;
    EXPECT_EQ(zip->getPassword(*zip, u"a", 0, false, password),
              MZipDataSecurityProvider::kPasswordAskAgain);
    EXPECT_EQ(password, WString(kZipDefaultPassword));
}

class RecordingProvider : public MZipDataSecurityProvider {
public:
    int32_t getPassword(ZipFile&, const WString& memberName, uint32_t index, bool,
                        WString& password) override {
        askedName = memberName;
        askedIndex = index;
        password = u"secret";
        return kPasswordOnce;
    }
    void confirmPassword(ZipFile&, const WString& memberName, const WString&) override {
        confirmed = memberName;
    }
    void fillSalt(ZipFile&, ByteBuffer& buffer) override {
        std::fill(buffer.begin(), buffer.end(), 7);
    }

    WString askedName;
    uint32_t askedIndex = 0;
    WString confirmed;
};

TEST_F(ZipFileTest, ProviderHearsTheMemberPathBuiltFromTheIndex) {
    RawArchive raw;
    raw.members = {Member("dir/a.txt", "1")};
    const std::string bytes = Build(raw);
    RecordingProvider provider;
    ZipFile zip(std::make_unique<MemoryInputStream>(ByteBuffer(bytes.begin(), bytes.end())),
                &provider);
    WString password;
    EXPECT_EQ(zip.getPassword(zip, u"ignored", 0, false, password),
              MZipDataSecurityProvider::kPasswordOnce);
    EXPECT_EQ(password, u"secret");
    EXPECT_EQ(provider.askedName, u"dir/a.txt");
    zip.confirmPassword(zip, u"dir/a.txt", password);
    EXPECT_EQ(provider.confirmed, u"dir/a.txt");
    ByteBuffer salt(16, 0);
    zip.fillSalt(zip, salt);
    EXPECT_EQ(salt, ByteBuffer(16, 7));
}

TEST_F(ZipFileTest, WithoutProviderSaltsAreRandom) {
    auto zip = OpenBytes(Build(RawArchive{}));
    ByteBuffer first(16, 0);
    ByteBuffer second(16, 0);
    zip->fillSalt(*zip, first);
    zip->fillSalt(*zip, second);
    EXPECT_NE(first, second);
    EXPECT_NE(first, ByteBuffer(16, 0));
}

TEST_F(ZipFileTest, MemberPathOfABadIndexIsCodeMinus6) {
    auto zip = OpenBytes(Build(RawArchive{}));
    try {
        zip->getMemberPath(0);
        FAIL();
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), kZipBadIndex);
    }
    EXPECT_THROW(zip->getMemberPath(kZipPendingBit), OVException);
}

}  // namespace
