// BrokenArchiveTest.cpp: truncated and tampered archives, made byte by byte, through orvzip and
// CUtils::UnzipFile: each ends in a failure with a message or in a clean result, never in a crash,
// a hang, a file outside the target or a part-written file.
#include "ZipRawArchive.h"
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using ziptest::Build;
using ziptest::Deflated;
using ziptest::FilesBelow;
using ziptest::kLinuxTools;
using ziptest::Member;
using ziptest::Quote;
using ziptest::RawArchive;
using ziptest::ReadFileBytes;
using ziptest::Repeat;
using ziptest::RunCommand;
using ziptest::TempFolder;
using ziptest::Wide;
using ziptest::WriteFileBytes;

namespace {

// An archive's bytes and the places in them that a damage changes, found as a reader finds them:
// the end records, a member's central record and local header, the data of a central Zip64 block.
class Layout {
public:
    explicit Layout(std::string bytes) : bytes(std::move(bytes)) {}

    size_t End() const { return bytes.rfind(ziptest::LE32(0x06054B50)); }
    size_t Zip64End() const { return bytes.rfind(ziptest::LE32(0x06064B50)); }
    size_t Locator() const { return bytes.rfind(ziptest::LE32(0x07064B50)); }

    size_t Record(const std::string& name) const {
        uint64_t at = Get32(End() + 16);
        if (at == 0xFFFFFFFF)
            at = Get64(Zip64End() + 48);
        while (bytes.compare(at, 4, ziptest::LE32(0x02014B50)) == 0) {
            const uint64_t nameLength = Get16(at + 28);
            if (bytes.compare(at + 46, nameLength, name) == 0)
                return at;
            at += 46 + nameLength + Get16(at + 30) + Get16(at + 32);
        }
        ADD_FAILURE() << "no central record of " << name;
        return 0;
    }
    size_t Local(const std::string& name) const { return Get32(Record(name) + 42); }
    size_t Extra64(const std::string& name) const {
        const size_t record = Record(name);
        size_t at = record + 46 + Get16(record + 28);
        const size_t end = at + Get16(record + 30);
        for (; at < end; at += 4 + Get16(at + 2)) {
            if (Get16(at) == 1)
                return at + 4;
        }
        ADD_FAILURE() << "no Zip64 block in " << name;
        return 0;
    }

    uint64_t Get16(size_t at) const { return Get(at, 2); }
    uint64_t Get32(size_t at) const { return Get(at, 4); }
    uint64_t Get64(size_t at) const { return Get(at, 8); }
    void Put16(size_t at, uint64_t value) { Put(at, 2, value); }
    void Put32(size_t at, uint64_t value) { Put(at, 4, value); }
    void Put64(size_t at, uint64_t value) { Put(at, 8, value); }

    std::string bytes;

private:
    uint64_t Get(size_t at, int width) const {
        uint64_t value = 0;
        for (int i = width - 1; i >= 0; --i)
            value = (value << 8) | static_cast<uint8_t>(bytes.at(at + static_cast<size_t>(i)));
        return value;
    }
    void Put(size_t at, int width, uint64_t value) {
        for (int i = 0; i < width; ++i, value >>= 8)
            bytes.at(at + static_cast<size_t>(i)) = static_cast<char>(value & 0xFF);
    }
};

using Damage = std::function<void(Layout&)>;

// A damage and the words that name it.
struct Case {
    const char* what;
    Damage damage;
};

// The members of the archive that Make writes, as they read when whole.
std::map<std::string, std::string> WholeMembers() {
    std::string b;
    for (int c = 0; c < 256; ++c)
        b += static_cast<char>(c);
    return {{"a.txt", Repeat("alpha ", 300)},
            {"dir/b.bin", Repeat(b, 20)},
            {"dir/c.txt", Repeat("gamma ", 300)}};
}

class BrokenArchiveTest : public ::testing::Test {
protected:
    // Three members: deflated, stored, and one stored with Zip64 sizes in its local header; with
    // `zip64End` every member's sizes and offset stand in Zip64 blocks, in its local header and
    // its central record, and the Zip64 end records are written. Then `damage` changes it.
    std::string Make(const Damage& damage, bool zip64End = false) {
        const std::map<std::string, std::string> whole = WholeMembers();
        RawArchive raw;
        raw.zip64 = zip64End;
        raw.members = {Deflated("a.txt", whole.at("a.txt")),
                       Member("dir/b.bin", whole.at("dir/b.bin")),
                       Member("dir/c.txt", whole.at("dir/c.txt"))};
        raw.members[2].zip64Local = true;
        for (ziptest::RawMember& member : raw.members) {
            member.zip64Local = member.zip64Local || zip64End;
            member.zip64Central = zip64End;
        }
        Layout layout(Build(raw));
        damage(layout);
        const std::string archive = temp.At("broken.zip");
        EXPECT_TRUE(WriteFileBytes(archive, layout.bytes));
        return archive;
    }

    // Runs orvzip's list, test and extract and UnzipFile on `archive`. Each may succeed or fail
    // with a message; with `mustFail`, extract, test and UnzipFile must fail. Nothing may crash,
    // hang, land outside the target or stay half-written. Notes in `extracted` and `unzipped`
    // whether extract and UnzipFile succeeded, into `box`/out and `box`/in-process.
    void ExpectHandled(const std::string& archive, bool mustFail, const std::string& what) {
        SCOPED_TRACE(what);
        ++round;
        box = temp.At("box" + std::to_string(round));
        extracted = false;
        unzipped = false;
        fs::create_directories(box);
        // orvzip runs through the Linux shell, under a time limit and with the sanitizers' exit
        // code; the Windows programs check the library in-process only.
        if (kLinuxTools) {
            ExpectOrvzipHandles(archive, mustFail);
        }
        try {
            unzipped = CUtils::UnzipFile(Wide(archive), Wide(box + "/in-process"), false);
        } catch (const OVException&) {
        }
        if (mustFail) {
            EXPECT_FALSE(unzipped);
        }
        // Only the two targets stand in the box, and no part file in either.
        for (const auto& item : fs::directory_iterator(box)) {
            const std::string name = item.path().filename().string();
            EXPECT_TRUE(name == "out" || name == "in-process") << name;
        }
        for (const auto& item : fs::recursive_directory_iterator(box))
            EXPECT_NE(item.path().extension().string(), ".orvpart") << item.path();
    }

    void ExpectOrvzipHandles(const std::string& archive, bool mustFail) {
        const std::string target = box + "/out";
        for (const std::string& command : {"list " + Quote(archive), "test " + Quote(archive),
                                           "extract " + Quote(archive) + " " + Quote(target)}) {
            std::string output;
            const int status =
                RunCommand("ASAN_OPTIONS=exitcode=86 UBSAN_OPTIONS=exitcode=86 timeout 20 " +
                               Quote(ORVZIP) + " " + command,
                           &output);
            ASSERT_NE(status, 124) << command << " hung";
            ASSERT_TRUE(status == 0 || status == 1) << command << " ended with " << status << "\n"
                                                    << output;
            EXPECT_EQ(output.find("Sanitizer"), std::string::npos) << command << "\n" << output;
            EXPECT_EQ(output.find("runtime error"), std::string::npos) << command << "\n" << output;
            // A failure names itself: a FAILED line of test, or an "orvzip: " message.
            if (status == 1) {
                EXPECT_TRUE(output.find("FAILED") != std::string::npos ||
                            output.find("orvzip: ") != std::string::npos)
                    << output;
            }
            if (mustFail && command.rfind("list", 0) != 0) {
                EXPECT_EQ(status, 1) << command << "\n" << output;
            }
            extracted = command.rfind("extract", 0) == 0 && status == 0;
        }
    }

    // Whatever extract and UnzipFile wrote in the last round, where they succeeded, is exactly
    // `expected`: a damage that went unnoticed still gave whole members.
    void ExpectExtractedWhere(const std::map<std::string, std::string>& expected) {
        if (extracted) {
            EXPECT_EQ(FilesBelow(box + "/out"), expected);
        }
        if (unzipped) {
            EXPECT_EQ(FilesBelow(box + "/in-process"), expected);
        }
    }

    TempFolder temp;
    int round = 0;
    std::string box;
    bool extracted = false;
    bool unzipped = false;
};

const Damage kNone = [](Layout&) {};

TEST_F(BrokenArchiveTest, IntactArchiveExtracts) {
    const std::string archive = Make(kNone);
    ExpectHandled(archive, false, "intact");
    EXPECT_TRUE(unzipped);
    if (kLinuxTools) {
        EXPECT_TRUE(extracted);
    }
    ExpectExtractedWhere(WholeMembers());
}

TEST_F(BrokenArchiveTest, ArchiveTruncatedAnywhereFails) {
    const std::string archive = Make(kNone);
    const std::string whole = ReadFileBytes(archive);
    std::vector<size_t> points = {0, 1, 2, 3, 4, 21, 22, 29, 30, 31, 45, 46, 100};
    for (size_t at = 0; at < whole.size(); at += whole.size() / 40 + 1)
        points.push_back(at);
    for (size_t back : {1, 2, 4, 20, 21, 22, 23, 24, 45, 46, 47, 60, 100})
        points.push_back(whole.size() - back);
    for (size_t at : points) {
        const std::string truncated = temp.At("truncated.zip");
        ASSERT_TRUE(WriteFileBytes(truncated, whole.substr(0, at)));
        ExpectHandled(truncated, true, "truncated at " + std::to_string(at));
    }
}

TEST_F(BrokenArchiveTest, WrongLocalHeaderSignatureFails) {
    ExpectHandled(Make([](Layout& a) { a.bytes[a.Local("a.txt")] ^= 0xFF; }), true,
                  "local signature");
}

TEST_F(BrokenArchiveTest, WrongCentralRecordSignatureFails) {
    ExpectHandled(Make([](Layout& a) { a.bytes[a.Record("dir/b.bin")] ^= 0xFF; }), true,
                  "central signature");
}

TEST_F(BrokenArchiveTest, WrongEndRecordSignatureFails) {
    ExpectHandled(Make([](Layout& a) { a.bytes[a.End() + 1] ^= 0xFF; }), true, "end signature");
}

TEST_F(BrokenArchiveTest, WrongZip64EndRecordSignatureFails) {
    ExpectHandled(Make([](Layout& a) { a.bytes[a.Zip64End()] ^= 0xFF; }, true), true, "zip64 end");
}

TEST_F(BrokenArchiveTest, UncompressedSizeThatLiesFails) {
    const Case cases[] = {
        {"a.txt 1801", [](Layout& a) { a.Put32(a.Record("a.txt") + 24, 1801); }},
        {"a.txt 1799", [](Layout& a) { a.Put32(a.Record("a.txt") + 24, 1799); }},
        {"a.txt 0", [](Layout& a) { a.Put32(a.Record("a.txt") + 24, 0); }},
        {"a.txt 0xFFFFFFFE", [](Layout& a) { a.Put32(a.Record("a.txt") + 24, 0xFFFFFFFE); }},
        {"dir/b.bin 5121", [](Layout& a) { a.Put32(a.Record("dir/b.bin") + 24, 5121); }}};
    for (const Case& c : cases)
        ExpectHandled(Make(c.damage), true, c.what);
}

TEST_F(BrokenArchiveTest, CompressedSizeThatLiesFailsOrReadsTheWholeMember) {
    const Case cases[] = {
        {"a.txt + 1000",
         [](Layout& a) {
             const size_t field = a.Record("a.txt") + 20;
             a.Put32(field, a.Get32(field) + 1000);
         }},
        {"a.txt - 5",
         [](Layout& a) {
             const size_t field = a.Record("a.txt") + 20;
             a.Put32(field, a.Get32(field) - 5);
         }},
        {"a.txt 0", [](Layout& a) { a.Put32(a.Record("a.txt") + 20, 0); }},
        {"a.txt 0xFFFFFFFE", [](Layout& a) { a.Put32(a.Record("a.txt") + 20, 0xFFFFFFFE); }}};
    for (const Case& c : cases) {
        ExpectHandled(Make(c.damage), false, c.what);
        ExpectExtractedWhere(WholeMembers());
    }
    // A stored member's window is its data: more or less of it is a different member.
    const Case stored[] = {
        {"dir/b.bin 5130", [](Layout& a) { a.Put32(a.Record("dir/b.bin") + 20, 5130); }},
        {"dir/b.bin 5000", [](Layout& a) { a.Put32(a.Record("dir/b.bin") + 20, 5000); }}};
    for (const Case& c : stored)
        ExpectHandled(Make(c.damage), true, c.what);
}

TEST_F(BrokenArchiveTest, NameAndExtraLengthsThatLieFail) {
    ExpectHandled(Make([](Layout& a) { a.Put16(a.Record("a.txt") + 28, 0xFFFF); }), true,
                  "central name length");
    ExpectHandled(Make([](Layout& a) { a.Put16(a.Local("dir/b.bin") + 28, 0xFFF0); }), true,
                  "local extra length");
    ExpectHandled(Make([](Layout& a) { a.Put16(a.Record("dir/c.txt") + 30, 0xFFFF); }), true,
                  "central extra");
}

TEST_F(BrokenArchiveTest, Zip64SizesThatOverflowFail) {
    const Case cases[] = {
        {"uncompressed 2^64 - 1", [](Layout& a) { a.Put64(a.Extra64("dir/c.txt"), ~0ull); }},
        {"uncompressed 2^63", [](Layout& a) { a.Put64(a.Extra64("dir/c.txt"), 1ull << 63); }},
        {"compressed 2^64 - 1", [](Layout& a) { a.Put64(a.Extra64("dir/c.txt") + 8, ~0ull); }},
        {"compressed 2^63 - 1",
         [](Layout& a) { a.Put64(a.Extra64("dir/c.txt") + 8, (1ull << 63) - 1); }},
        {"compressed 2^62", [](Layout& a) { a.Put64(a.Extra64("dir/c.txt") + 8, 1ull << 62); }}};
    for (const Case& c : cases)
        ExpectHandled(Make(c.damage, true), true, c.what);
}

TEST_F(BrokenArchiveTest, Zip64EndRecordFieldsThatOverflowFail) {
    const Case cases[] = {
        {"offset 2^64 - 1", [](Layout& a) { a.Put64(a.Zip64End() + 48, ~0ull); }},
        {"offset 2^63", [](Layout& a) { a.Put64(a.Zip64End() + 48, 1ull << 63); }},
        {"count 2^64 - 1", [](Layout& a) { a.Put64(a.Zip64End() + 32, ~0ull); }},
        {"count 2^40", [](Layout& a) { a.Put64(a.Zip64End() + 32, 1ull << 40); }},
        {"locator 2^64 - 1", [](Layout& a) { a.Put64(a.Locator() + 8, ~0ull); }},
        {"locator 2^63", [](Layout& a) { a.Put64(a.Locator() + 8, 1ull << 63); }}};
    for (const Case& c : cases)
        ExpectHandled(Make(c.damage, true), true, c.what);
}

TEST_F(BrokenArchiveTest, EntryPointingOutsideTheFileFails) {
    const Case cases[] = {
        {"past the end", [](Layout& a) { a.Put32(a.Record("a.txt") + 42, a.bytes.size() + 100); }},
        {"0xFFFFFFFF", [](Layout& a) { a.Put32(a.Record("a.txt") + 42, 0xFFFFFFFF); }},
        {"10 before the end",
         [](Layout& a) { a.Put32(a.Record("a.txt") + 42, a.bytes.size() - 10); }},
        {"0x7FFFFFFF", [](Layout& a) { a.Put32(a.Record("a.txt") + 42, 0x7FFFFFFF); }}};
    for (const Case& c : cases)
        ExpectHandled(Make(c.damage), true, c.what);
    const Case zip64[] = {
        {"zip64 past the end",
         [](Layout& a) { a.Put64(a.Extra64("dir/c.txt") + 16, a.bytes.size() + 100); }},
        {"zip64 2^63", [](Layout& a) { a.Put64(a.Extra64("dir/c.txt") + 16, 1ull << 63); }},
        {"zip64 2^64 - 1", [](Layout& a) { a.Put64(a.Extra64("dir/c.txt") + 16, ~0ull); }}};
    for (const Case& c : zip64)
        ExpectHandled(Make(c.damage, true), true, c.what);
}

TEST_F(BrokenArchiveTest, DirectoryPointingOutsideTheFileFails) {
    const Case cases[] = {
        {"offset past the end", [](Layout& a) { a.Put32(a.End() + 16, a.bytes.size() + 1000); }},
        {"offset 0xFFFFFFF0", [](Layout& a) { a.Put32(a.End() + 16, 0xFFFFFFF0); }},
        {"count 1000", [](Layout& a) {
             a.Put16(a.End() + 10, 1000);
             a.Put16(a.End() + 8, 1000);
         }}};
    for (const Case& c : cases)
        ExpectHandled(Make(c.damage), true, c.what);
}

TEST_F(BrokenArchiveTest, DirectorySizeThatLiesIsHandled) {
    // The directory is read by its entry count; a wrong size is noticed or not, never harmful.
    ExpectHandled(Make([](Layout& a) { a.Put32(a.End() + 12, a.Get32(a.End() + 12) + 500); }),
                  false, "size + 500");
    ExpectExtractedWhere(WholeMembers());
    ExpectHandled(Make([](Layout& a) { a.Put32(a.End() + 12, 0); }), false, "size 0");
    ExpectExtractedWhere(WholeMembers());
    ExpectHandled(Make([](Layout& a) { a.Put64(a.Zip64End() + 40, ~0ull); }, true), false,
                  "zip64 size");
    ExpectExtractedWhere(WholeMembers());
}

TEST_F(BrokenArchiveTest, EndRecordCountingTooFewMembersExtractsWhatItNames) {
    ExpectHandled(Make([](Layout& a) {
                      a.Put16(a.End() + 10, 1);
                      a.Put16(a.End() + 8, 1);
                  }),
                  false, "count 1");
    // The first record alone: a.txt, by both roads.
    EXPECT_TRUE(unzipped);
    if (kLinuxTools) {
        EXPECT_TRUE(extracted);
    }
    ExpectExtractedWhere({{"a.txt", WholeMembers().at("a.txt")}});
}

// The code with which `archive` fails to open; 1 when it opens.
int32_t OpenFailureCode(const std::string& archive) {
    try {
        ZipFile zip(Wide(archive), nullptr, false, false, false);
    } catch (const OVException& e) {
        return e.GetCode();
    }
    return 1;
}

TEST_F(BrokenArchiveTest, MembersSharingOneLocalHeaderAreRefusedWhenTheArchiveOpens) {
    // Two names for a.txt's data, each record whole in itself: the full-overlap bomb.
    const std::string archive = Make([](Layout& a) {
        const size_t first = a.Record("a.txt");
        const size_t second = a.Record("dir/b.bin");
        a.Put16(second + 10, a.Get16(first + 10));
        for (size_t field : {16, 20, 24, 42})
            a.Put32(second + field, a.Get32(first + field));
    });
    EXPECT_EQ(OpenFailureCode(archive), -18);
    ExpectHandled(archive, true, "shared header");
    EXPECT_FALSE(fs::exists(temp.At("box1/in-process")));
}

TEST_F(BrokenArchiveTest, MemberDataRunningOverTheNextMemberIsRefusedWhenTheArchiveOpens) {
    // a.txt's data taken to reach over dir/b.bin up to dir/c.txt: inflate stops at its own end,
    // so it would read well, and dir/b.bin's bytes would be read twice.
    const std::string archive = Make([](Layout& a) {
        a.Put32(a.Record("a.txt") + 20, a.Local("dir/c.txt") - a.Local("a.txt") - 35);
    });
    EXPECT_EQ(OpenFailureCode(archive), -18);
    ExpectHandled(archive, true, "data over the next member");
}

TEST_F(BrokenArchiveTest, MemberDataRunningIntoTheNextHeaderByItsLocalLengthsIsRefusedWhenRead) {
    // A longer local extra field moves dir/b.bin's data 4 bytes on, into dir/c.txt's header;
    // only the local header tells, so the member is refused when it is opened.
    const std::string archive = Make([](Layout& a) { a.Put16(a.Local("dir/b.bin") + 28, 4); });
    ZipFile zip(Wide(archive), nullptr, false, false, false);
    const std::vector<ZipMemberInfo>& members = zip.getMembers();
    const auto b = std::find_if(members.begin(), members.end(),
                                [](const ZipMemberInfo& m) { return m.name == u"b.bin"; });
    ASSERT_NE(b, members.end());
    try {
        zip.openMember(static_cast<int32_t>(b - members.begin()), nullptr, false);
        ADD_FAILURE() << "dir/b.bin was opened";
    } catch (const OVException& e) {
        EXPECT_EQ(e.GetCode(), -18);
    }
    ExpectHandled(archive, true, "data into the next header");
}

TEST_F(BrokenArchiveTest, MemberDataGarbledFailsWithoutPartialFile) {
    // Deflate data overwritten with noise: inflate fails or the CRC differs.
    ExpectHandled(Make([](Layout& a) {
                      for (size_t i = 0; i < 8; ++i)
                          a.bytes[a.Local("a.txt") + 36 + i] = static_cast<char>(i);
                  }),
                  true, "garbled deflate");
}

}  // namespace
