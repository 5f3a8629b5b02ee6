// ZipSaveTest.cpp: the rewrite of an archive when its last steps fail: a write that the disk
// cuts short, and a rename that fails after the old archive was removed. Each failure is made in
// a forked child (a file size limit, a system call filter), so that it works for root as well and
// stays out of the other tests.
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "common/OVException.h"
#include "zip/ZipFile.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#ifndef _WIN32
#include <sys/resource.h>
#endif

namespace fs = std::filesystem;
#ifndef _WIN32
using ziptest::ForbidRenames;
using ziptest::InChild;
#endif
using ziptest::ReadFileBytes;
using ziptest::RunPython;
using ziptest::TempFolder;
using ziptest::Wide;

namespace {

// Stored members, so that the sizes are known: a.txt twice (the duplicate makes the archive
// rewrite itself on close), b.txt once; about 3 KB after the rewrite.
const char kDuplicates[] = R"(
with zipfile.ZipFile(path, 'w') as z:
    z.writestr('a.txt', 'a' * 1500)
    z.writestr('b.txt', 'b' * 1500)
    z.writestr('a.txt', 'A' * 1500)
)";

class ZipSaveTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string output;
        ASSERT_TRUE(RunPython(kDuplicates, archive, &output)) << output;
        before = ReadFileBytes(archive);
    }

    TempFolder temp;
    const std::string archive = temp.At("dups.zip");
    const std::string temporary = archive + ".temp";
    std::string before;
};

#ifndef _WIN32  // a forked child and a system call filter
TEST_F(ZipSaveTest, AWriteCutShortByTheDiskFailsAndLeavesTheArchiveAsItWas) {
    const std::string report = InChild([&] {
        // Files may not grow past 1 KB: the rewrite fits in the C library's buffer, so the disk
        // refuses it only when the buffer is written out at the end.
        const rlimit limit{1024, 1024};
        std::signal(SIGXFSZ, SIG_IGN);
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return std::string("no limit");
        ZipFile zip(Wide(archive), nullptr, false, false, false);
        if (!zip.isModified())
            return std::string("not modified");
        return "close=" + std::to_string(zip.close());
    });
    EXPECT_EQ(report, "close=14");
    EXPECT_TRUE(ReadFileBytes(archive) == before);
    EXPECT_FALSE(fs::exists(temporary));
}
#endif

#ifndef _WIN32  // a forked child and a system call filter
TEST_F(ZipSaveTest, ARenameThatFailsAfterTheOldArchiveWentKeepsTheNewOneUnderTheTemporaryName) {
    const std::string report = InChild([&] {
        if (!ForbidRenames())
            return std::string("no filter");
        ZipFile zip(Wide(archive), nullptr, false, false, false);
        std::string result = "close=" + std::to_string(zip.close());
        // A second attempt, here by open and again by the destructor, must not undo the first.
        try {
            zip.open();
            result += " open=ok";
        } catch (const OVException& e) {
            result += " open=" + std::to_string(e.GetCode()) + " " + e.what();
        }
        return result;
    });
    if (report == "no filter")
        GTEST_SKIP() << "this system cannot filter system calls";
    EXPECT_EQ(report, "close=14 open=15 Failed to save zip file");
    // The rename removed the old archive first; the rewritten one is whole under the other name.
    EXPECT_FALSE(fs::exists(archive));
    ASSERT_TRUE(fs::exists(temporary));
    std::string output;
    EXPECT_TRUE(RunPython("z = zipfile.ZipFile(path)\n"
                          "assert z.testzip() is None\n"
                          "assert z.namelist() == ['a.txt', 'b.txt'], z.namelist()\n"
                          "assert z.read('b.txt') == b'b' * 1500\n",
                          temporary, &output))
        << output;
}
#endif

}  // namespace
