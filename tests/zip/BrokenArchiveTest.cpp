// BrokenArchiveTest.cpp: truncated and tampered archives through orvzip and CUtils::UnzipFile:
// each ends in a failure with a message or in a clean result, never in a crash, a hang, a file
// outside the target or a part-written file.
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using ziptest::FilesBelow;
using ziptest::Quote;
using ziptest::ReadFileBytes;
using ziptest::RunCommand;
using ziptest::RunPython;
using ziptest::TempFolder;
using ziptest::Wide;
using ziptest::WriteFileBytes;

namespace {

// Three members: deflated, stored, and one stored with Zip64 sizes in its local header; with
// `zip64End` the limits of zipfile are lowered so that the central records carry Zip64 blocks
// and the Zip64 end records are written. `mutation` is python code run over `data` (the archive's
// bytes) with these names: `eocd` (offset of the end record), `record(name)` (offset of a central
// record), `local(name)` (offset of a local header), `put(fmt, offset, value)`, `get(fmt, offset)`,
// `extra64(name)` (offset of the Zip64 block's data in a central record).
const char kArchiveProgram[] = R"(import struct
if ZIP64_END:
    zipfile.ZIP_FILECOUNT_LIMIT = 1
    zipfile.ZIP64_LIMIT = 1000
with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
    z.writestr('a.txt', 'alpha ' * 300)
    info = zipfile.ZipInfo('dir/b.bin')
    info.compress_type = zipfile.ZIP_STORED
    z.writestr(info, bytes(range(256)) * 20)
    info = zipfile.ZipInfo('dir/c.txt')
    info.compress_type = zipfile.ZIP_STORED
    with z.open(info, 'w', force_zip64=True) as f:
        f.write(b'gamma ' * 300)
data = bytearray(open(path, 'rb').read())
eocd = data.rfind(b'PK\x05\x06')
def get(fmt, offset):
    return struct.unpack_from(fmt, data, offset)[0]
def put(fmt, offset, value):
    struct.pack_into(fmt, data, offset, value)
def record(name):
    p = get('<I', eocd + 16) if get('<I', eocd + 16) != 0xFFFFFFFF else get('<Q', data.rfind(b'PK\x06\x06') + 48)
    while data[p:p + 4] == b'PK\x01\x02':
        n, e, c = struct.unpack_from('<HHH', data, p + 28)
        if data[p + 46:p + 46 + n] == name.encode():
            return p
        p += 46 + n + e + c
    raise Exception('no record ' + name)
def local(name):
    return get('<I', record(name) + 42)
def extra64(name):
    p = record(name)
    n, e = struct.unpack_from('<HH', data, p + 28)
    q = p + 46 + n
    while q < p + 46 + n + e:
        i, s = struct.unpack_from('<HH', data, q)
        if i == 1:
            return q + 4
        q += 4 + s
    raise Exception('no zip64 block')
MUTATION
open(path, 'wb').write(data)
)";

class BrokenArchiveTest : public ::testing::Test {
protected:
    std::string Make(const std::string& mutation, bool zip64End = false) {
        std::string program = kArchiveProgram;
        program.replace(program.find("ZIP64_END"), 9, zip64End ? "True" : "False");
        program.replace(program.find("MUTATION"), 8, mutation);
        const std::string archive = temp.At("broken.zip");
        std::string output;
        EXPECT_TRUE(RunPython(program, archive, &output)) << output;
        return archive;
    }

    // Runs list, test and extract and UnzipFile on `archive`. Each may succeed or fail with a
    // message; with `mustFail`, extract, test and UnzipFile must fail. Nothing may crash, hang,
    // land outside the target or stay half-written. Notes in `extracted` and `unzipped` whether
    // extract and UnzipFile succeeded, into `box`/out and `box`/in-process.
    void ExpectHandled(const std::string& archive, bool mustFail, const std::string& what) {
        SCOPED_TRACE(what);
        ++round;
        box = temp.At("box" + std::to_string(round));
        extracted = false;
        unzipped = false;
        const std::string target = box + "/out";
        fs::create_directories(box);
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

// The members of the archive that Make writes, as they read when whole.
std::map<std::string, std::string> WholeMembers() {
    std::string b;
    for (int i = 0; i < 20; ++i)
        for (int c = 0; c < 256; ++c)
            b += static_cast<char>(c);
    std::string a, c;
    for (int i = 0; i < 300; ++i) {
        a += "alpha ";
        c += "gamma ";
    }
    return {{"a.txt", a}, {"dir/b.bin", b}, {"dir/c.txt", c}};
}

TEST_F(BrokenArchiveTest, IntactArchiveExtracts) {
    SKIP_WITHOUT_LINUX_TOOLS();
    const std::string archive = Make("pass");
    ExpectHandled(archive, false, "intact");
    EXPECT_TRUE(extracted);
    EXPECT_TRUE(unzipped);
    ExpectExtractedWhere(WholeMembers());
}

TEST_F(BrokenArchiveTest, ArchiveTruncatedAnywhereFails) {
    SKIP_WITHOUT_LINUX_TOOLS();
    const std::string archive = Make("pass");
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
    SKIP_WITHOUT_LINUX_TOOLS();
    ExpectHandled(Make("data[local('a.txt')] ^= 0xFF"), true, "local signature");
}

TEST_F(BrokenArchiveTest, WrongCentralRecordSignatureFails) {
    SKIP_WITHOUT_LINUX_TOOLS();
    ExpectHandled(Make("data[record('dir/b.bin')] ^= 0xFF"), true, "central signature");
}

TEST_F(BrokenArchiveTest, WrongEndRecordSignatureFails) {
    SKIP_WITHOUT_LINUX_TOOLS();
    ExpectHandled(Make("data[eocd + 1] ^= 0xFF"), true, "end signature");
}

TEST_F(BrokenArchiveTest, WrongZip64EndRecordSignatureFails) {
    SKIP_WITHOUT_LINUX_TOOLS();
    ExpectHandled(Make("data[data.rfind(b'PK\\x06\\x06')] ^= 0xFF", true), true, "zip64 end");
}

TEST_F(BrokenArchiveTest, UncompressedSizeThatLiesFails) {
    SKIP_WITHOUT_LINUX_TOOLS();
    for (const char* mutation :
         {"put('<I', record('a.txt') + 24, 1801)", "put('<I', record('a.txt') + 24, 1799)",
          "put('<I', record('a.txt') + 24, 0)", "put('<I', record('a.txt') + 24, 0xFFFFFFFE)",
          "put('<I', record('dir/b.bin') + 24, 5121)"})
        ExpectHandled(Make(mutation), true, mutation);
}

TEST_F(BrokenArchiveTest, CompressedSizeThatLiesFailsOrReadsTheWholeMember) {
    SKIP_WITHOUT_LINUX_TOOLS();
    for (const char* mutation :
         {"put('<I', record('a.txt') + 20, get('<I', record('a.txt') + 20) + 1000)",
          "put('<I', record('a.txt') + 20, get('<I', record('a.txt') + 20) - 5)",
          "put('<I', record('a.txt') + 20, 0)", "put('<I', record('a.txt') + 20, 0xFFFFFFFE)"}) {
        ExpectHandled(Make(mutation), false, mutation);
        ExpectExtractedWhere(WholeMembers());
    }
    // A stored member's window is its data: more or less of it is a different member.
    for (const char* mutation :
         {"put('<I', record('dir/b.bin') + 20, 5130)", "put('<I', record('dir/b.bin') + 20, 5000)"})
        ExpectHandled(Make(mutation), true, mutation);
}

TEST_F(BrokenArchiveTest, NameAndExtraLengthsThatLieFail) {
    SKIP_WITHOUT_LINUX_TOOLS();
    ExpectHandled(Make("put('<H', record('a.txt') + 28, 0xFFFF)"), true, "central name length");
    ExpectHandled(Make("put('<H', local('dir/b.bin') + 28, 0xFFF0)"), true, "local extra length");
    ExpectHandled(Make("put('<H', record('dir/c.txt') + 30, 0xFFFF)"), true, "central extra");
}

TEST_F(BrokenArchiveTest, Zip64SizesThatOverflowFail) {
    SKIP_WITHOUT_LINUX_TOOLS();
    for (const char* mutation :
         {"put('<Q', extra64('dir/c.txt'), 2**64 - 1)", "put('<Q', extra64('dir/c.txt'), 2**63)",
          "put('<Q', extra64('dir/c.txt') + 8, 2**64 - 1)",
          "put('<Q', extra64('dir/c.txt') + 8, 2**63 - 1)",
          "put('<Q', extra64('dir/c.txt') + 8, 2**62)"})
        ExpectHandled(Make(mutation, true), true, mutation);
}

TEST_F(BrokenArchiveTest, Zip64EndRecordFieldsThatOverflowFail) {
    SKIP_WITHOUT_LINUX_TOOLS();
    for (const char* mutation : {"put('<Q', data.rfind(b'PK\\x06\\x06') + 48, 2**64 - 1)",
                                 "put('<Q', data.rfind(b'PK\\x06\\x06') + 48, 2**63)",
                                 "put('<Q', data.rfind(b'PK\\x06\\x06') + 32, 2**64 - 1)",
                                 "put('<Q', data.rfind(b'PK\\x06\\x06') + 32, 2**40)",
                                 "put('<Q', data.rfind(b'PK\\x06\\x07') + 8, 2**64 - 1)",
                                 "put('<Q', data.rfind(b'PK\\x06\\x07') + 8, 2**63)"})
        ExpectHandled(Make(mutation, true), true, mutation);
}

TEST_F(BrokenArchiveTest, EntryPointingOutsideTheFileFails) {
    SKIP_WITHOUT_LINUX_TOOLS();
    for (const char* mutation : {"put('<I', record('a.txt') + 42, len(data) + 100)",
                                 "put('<I', record('a.txt') + 42, 0xFFFFFFFF)",
                                 "put('<I', record('a.txt') + 42, len(data) - 10)",
                                 "put('<I', record('a.txt') + 42, 0x7FFFFFFF)"})
        ExpectHandled(Make(mutation), true, mutation);
    for (const char* mutation : {"put('<Q', extra64('dir/c.txt') + 16, len(data) + 100)",
                                 "put('<Q', extra64('dir/c.txt') + 16, 2**63)",
                                 "put('<Q', extra64('dir/c.txt') + 16, 2**64 - 1)"})
        ExpectHandled(Make(mutation, true), true, mutation);
}

TEST_F(BrokenArchiveTest, DirectoryPointingOutsideTheFileFails) {
    SKIP_WITHOUT_LINUX_TOOLS();
    for (const char* mutation :
         {"put('<I', eocd + 16, len(data) + 1000)", "put('<I', eocd + 16, 0xFFFFFFF0)",
          "put('<H', eocd + 10, 1000); put('<H', eocd + 8, 1000)"})
        ExpectHandled(Make(mutation), true, mutation);
}

TEST_F(BrokenArchiveTest, DirectorySizeThatLiesIsHandled) {
    SKIP_WITHOUT_LINUX_TOOLS();
    // The directory is read by its entry count; a wrong size is noticed or not, never harmful.
    ExpectHandled(Make("put('<I', eocd + 12, get('<I', eocd + 12) + 500)"), false, "size + 500");
    ExpectExtractedWhere(WholeMembers());
    ExpectHandled(Make("put('<I', eocd + 12, 0)"), false, "size 0");
    ExpectExtractedWhere(WholeMembers());
    ExpectHandled(Make("put('<Q', data.rfind(b'PK\\x06\\x06') + 40, 2**64 - 1)", true), false,
                  "zip64 size");
    ExpectExtractedWhere(WholeMembers());
}

TEST_F(BrokenArchiveTest, EndRecordCountingTooFewMembersExtractsWhatItNames) {
    SKIP_WITHOUT_LINUX_TOOLS();
    ExpectHandled(Make("put('<H', eocd + 10, 1); put('<H', eocd + 8, 1)"), false, "count 1");
    // The first record alone: a.txt, by both roads.
    EXPECT_TRUE(extracted);
    EXPECT_TRUE(unzipped);
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
    SKIP_WITHOUT_LINUX_TOOLS();
    // Two names for a.txt's data, each record whole in itself: the full-overlap bomb.
    const std::string archive = Make("a, b = record('a.txt'), record('dir/b.bin')\n"
                                     "put('<H', b + 10, get('<H', a + 10))\n"
                                     "for field in (16, 20, 24, 42):\n"
                                     "    put('<I', b + field, get('<I', a + field))");
    EXPECT_EQ(OpenFailureCode(archive), -18);
    ExpectHandled(archive, true, "shared header");
    EXPECT_FALSE(fs::exists(temp.At("box1/in-process")));
}

TEST_F(BrokenArchiveTest, MemberDataRunningOverTheNextMemberIsRefusedWhenTheArchiveOpens) {
    SKIP_WITHOUT_LINUX_TOOLS();
    // a.txt's data taken to reach over dir/b.bin up to dir/c.txt: inflate stops at its own end,
    // so it would read well, and dir/b.bin's bytes would be read twice.
    const std::string archive =
        Make("put('<I', record('a.txt') + 20, local('dir/c.txt') - local('a.txt') - 35)");
    EXPECT_EQ(OpenFailureCode(archive), -18);
    ExpectHandled(archive, true, "data over the next member");
}

TEST_F(BrokenArchiveTest, MemberDataRunningIntoTheNextHeaderByItsLocalLengthsIsRefusedWhenRead) {
    SKIP_WITHOUT_LINUX_TOOLS();
    // A longer local extra field moves dir/b.bin's data 4 bytes on, into dir/c.txt's header;
    // only the local header tells, so the member is refused when it is opened.
    const std::string archive = Make("put('<H', local('dir/b.bin') + 28, 4)");
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
    SKIP_WITHOUT_LINUX_TOOLS();
    // Deflate data overwritten with noise: inflate fails or the CRC differs.
    ExpectHandled(Make("data[local('a.txt') + 36:local('a.txt') + 44] = bytes(range(8))"), true,
                  "garbled deflate");
}

}  // namespace
