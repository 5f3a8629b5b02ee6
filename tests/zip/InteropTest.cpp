// InteropTest.cpp: archives made by Info-ZIP zip, 7-Zip and python3's zipfile, read by orvzip and
// compared byte for byte with what unzip or 7z extract; the archive the save path rewrites is
// checked by those tools; and orvzip's command line.
#include "ZipTestSupport.h"
#include "common/CUtils.h"
#include "zip/ZipCrypto.h"
#include "zip/ZipFile.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using ziptest::FilesBelow;
using ziptest::Narrow;
using ziptest::Quote;
using ziptest::ReadFileBytes;
using ziptest::RunCommand;
using ziptest::RunPython;
using ziptest::TempFolder;
using ziptest::Wide;
using ziptest::WriteFileBytes;

namespace {

const std::string kUsageLine = "usage: orvzip list ARCHIVE | test ARCHIVE [--password P] | extract "
                               "ARCHIVE DIR [--password P] [--clean]";

// How orvzip is started: the one of this build, or the command in ORV_ORVZIP_COMMAND, so that
// the same comparisons check the Windows orvzip.exe under wine.
std::string OrvzipCommand() {
    const char* command = std::getenv("ORV_ORVZIP_COMMAND");
    return command != nullptr && *command != '\0' ? std::string(command) : Quote(ORVZIP);
}

// Runs orvzip with `arguments` under a time limit; its exit status and all it printed, the
// Windows console's "\r\n" read as "\n".
int Orvzip(const std::string& arguments, std::string* output = nullptr) {
    const int status = RunCommand("timeout 60 " + OrvzipCommand() + " " + arguments, output);
    if (output != nullptr) {
        output->erase(std::remove(output->begin(), output->end(), '\r'), output->end());
    }
    return status;
}

// Bytes that deflate can shrink but not to nothing, the same in every run.
std::string MixedBytes(size_t length, uint32_t seed) {
    std::string bytes;
    uint32_t state = seed;
    while (bytes.size() < length) {
        state = state * 1103515245u + 12345u;
        bytes += static_cast<char>((state >> 16) % 16 == 0 ? state >> 8 : 'a' + (state >> 20) % 6);
    }
    return bytes;
}

// A small tree: text, larger mixed bytes, an empty file, nested folders and an empty folder.
void MakeTree(const std::string& root) {
    fs::create_directories(root + "/sub/deeper");
    fs::create_directories(root + "/empty-folder");
    ASSERT_TRUE(WriteFileBytes(root + "/a.txt", "alpha\nbeta\n"));
    ASSERT_TRUE(WriteFileBytes(root + "/b.bin", MixedBytes(200000, 7)));
    ASSERT_TRUE(WriteFileBytes(root + "/empty.txt", ""));
    ASSERT_TRUE(WriteFileBytes(root + "/sub/c.txt", std::string(5000, 'c')));
    ASSERT_TRUE(WriteFileBytes(root + "/sub/deeper/d.bin", MixedBytes(70000, 11)));
}

class InteropTest : public ::testing::Test {
protected:
    // orvzip extract, test and list against the reference extraction by `reference` (a shell
    // command extracting into the folder it is given last). Returns what list printed.
    std::string ExpectSameAsReference(const std::string& archive, const std::string& reference,
                                      const std::string& password = "") {
        const std::string option = password.empty() ? "" : " --password " + Quote(password);
        const std::string ours = temp.At("ours");
        const std::string theirs = temp.At("theirs");
        std::string output;
        EXPECT_EQ(RunCommand(reference + Quote(theirs), &output), 0) << output;
        EXPECT_EQ(Orvzip("extract " + Quote(archive) + " " + Quote(ours) + option, &output), 0)
            << output;
        const auto expected = FilesBelow(theirs);
        EXPECT_FALSE(expected.empty());
        EXPECT_EQ(FilesBelow(ours), expected);
        EXPECT_EQ(Orvzip("test " + Quote(archive) + option, &output), 0) << output;
        EXPECT_EQ(output.find("FAILED"), std::string::npos) << output;
        for (const auto& [name, bytes] : expected)
            EXPECT_NE(output.find("OK      " + name), std::string::npos) << name << "\n" << output;
        std::string listing;
        EXPECT_EQ(Orvzip("list " + Quote(archive), &listing), 0) << listing;
        for (const auto& [name, bytes] : expected) {
            EXPECT_NE(listing.find(" " + name + "\n"), std::string::npos) << name << "\n"
                                                                          << listing;
        }
        return listing;
    }

    std::string Unzip(const std::string& archive, const std::string& password = "") {
        const std::string option = password.empty() ? "" : "-P " + Quote(password) + " ";
        return "LC_ALL=C.UTF-8 unzip -o -q " + option + Quote(archive) + " -d ";
    }

    std::string SevenZipExtract(const std::string& archive, const std::string& password) {
        return "7z x -y -p" + Quote(password) + " " + Quote(archive) + " -o";
    }

    // Runs Info-ZIP zip with `options` in the source tree, into archive.zip.
    std::string ZipTree(const std::string& options) {
        const std::string source = temp.At("src");
        MakeTree(source);
        const std::string archive = temp.At("archive.zip");
        std::string output;
        EXPECT_EQ(RunCommand("cd " + Quote(source) + " && LC_ALL=C.UTF-8 zip -q " + options + " " +
                                 Quote(archive) + " .",
                             &output),
                  0)
            << output;
        return archive;
    }

    TempFolder temp;
};

TEST_F(InteropTest, InfoZipStoredArchiveExtractsLikeUnzip) {
    const std::string archive = ZipTree("-0 -r");
    const std::string listing = ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_NE(listing.find("stored  none"), std::string::npos) << listing;
    EXPECT_EQ(listing.find("deflate"), std::string::npos) << listing;
}

TEST_F(InteropTest, InfoZipDeflatedArchiveExtractsLikeUnzip) {
    const std::string archive = ZipTree("-9 -r");
    const std::string listing = ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_NE(listing.find("deflate none         200000"), std::string::npos) << listing;
}

TEST_F(InteropTest, InfoZipFoldersExtractLikeUnzipButEmptyFoldersAreNotMade) {
    const std::string archive = ZipTree("-r");
    const std::string listing = ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_NE(listing.find("dir "), std::string::npos) << listing;
    EXPECT_TRUE(fs::is_directory(temp.At("theirs/empty-folder")));
    EXPECT_FALSE(fs::exists(temp.At("ours/empty-folder")));
}

TEST_F(InteropTest, InfoZipCzechNamesExtractLikeUnzip) {
    const std::string source = temp.At("src");
    fs::create_directories(source + "/čeština");
    ASSERT_TRUE(WriteFileBytes(source + "/žluťoučký kůň.txt", "úpěl ďábelské ódy"));
    ASSERT_TRUE(WriteFileBytes(source + "/čeština/Řeřicha.txt", std::string(3000, 'r')));
    const std::string archive = temp.At("czech.zip");
    ASSERT_EQ(
        RunCommand("cd " + Quote(source) + " && LC_ALL=C.UTF-8 zip -q -r " + Quote(archive) + " ."),
        0);
    ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_EQ(ReadFileBytes(temp.At("ours/žluťoučký kůň.txt")), "úpěl ďábelské ódy");
}

TEST_F(InteropTest, InfoZipMemberFromAPipeExtractsLikeUnzip) {
    const std::string archive = temp.At("pipe.zip");
    ASSERT_EQ(RunCommand("printf 'piped data, piped data, piped data\\n' | zip -q " +
                         Quote(archive) + " -"),
              0);
    ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_EQ(ReadFileBytes(temp.At("ours/-")), "piped data, piped data, piped data\n");
}

TEST_F(InteropTest, InfoZipStreamedArchiveWithDataDescriptorExtractsLikeUnzip) {
    const std::string archive = temp.At("pipe.zip");
    // Written to a pipe, zip cannot go back to the header: the sizes follow the data.
    ASSERT_EQ(RunCommand("printf 'piped data, piped data, piped data\\n' | zip -q - - | cat > " +
                         Quote(archive)),
              0);
    const std::string bytes = ReadFileBytes(archive);
    ASSERT_GT(bytes.size(), 8u);
    EXPECT_TRUE((static_cast<uint8_t>(bytes[6]) & 0x08) != 0);
    ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_EQ(ReadFileBytes(temp.At("ours/-")), "piped data, piped data, piped data\n");
}

TEST_F(InteropTest, InfoZipPkwareEncryptedArchiveExtractsWithItsPassword) {
    const std::string archive = ZipTree("-r -e -P secret");
    const std::string listing = ExpectSameAsReference(archive, Unzip(archive, "secret"), "secret");
    EXPECT_NE(listing.find("pkware"), std::string::npos) << listing;
}

TEST_F(InteropTest, InfoZipPkwareArchiveWithAWrongPasswordFails) {
    const std::string archive = ZipTree("-r -e -P secret");
    std::string output;
    EXPECT_EQ(Orvzip("test " + Quote(archive) + " --password wrong", &output), 1) << output;
    EXPECT_NE(output.find("FAILED"), std::string::npos) << output;
    EXPECT_EQ(
        Orvzip("extract " + Quote(archive) + " " + Quote(temp.At("ours")) + " --password wrong",
               &output),
        1)
        << output;
}

TEST_F(InteropTest, SevenZipAesArchiveExtractsLike7z) {
    const std::string source = temp.At("src");
    MakeTree(source);
    const std::string archive = temp.At("aes.zip");
    ASSERT_EQ(RunCommand("cd " + Quote(source) + " && 7z a -tzip -mem=AES256 -psecret " +
                         Quote(archive) + " ."),
              0);
    const std::string listing =
        ExpectSameAsReference(archive, SevenZipExtract(archive, "secret"), "secret");
    EXPECT_NE(listing.find("deflate aes256"), std::string::npos) << listing;
}

TEST_F(InteropTest, SevenZipAesArchiveWithTheBuiltInPasswordNeedsNoPassword) {
    const std::string source = temp.At("src");
    MakeTree(source);
    const std::string archive = temp.At("aes.zip");
    const std::string password = Narrow(kZipDefaultPassword);
    ASSERT_EQ(RunCommand("cd " + Quote(source) + " && 7z a -tzip -mem=AES256 -p" + Quote(password) +
                         " " + Quote(archive) + " ."),
              0);
    ExpectSameAsReference(archive, SevenZipExtract(archive, password));
}

TEST_F(InteropTest, SevenZipAesArchiveWithAnotherPasswordFailsWithoutOne) {
    const std::string source = temp.At("src");
    MakeTree(source);
    const std::string archive = temp.At("aes.zip");
    ASSERT_EQ(RunCommand("cd " + Quote(source) + " && 7z a -tzip -mem=AES256 -psecret " +
                         Quote(archive) + " ."),
              0);
    std::string output;
    EXPECT_EQ(Orvzip("extract " + Quote(archive) + " " + Quote(temp.At("ours")), &output), 1)
        << output;
    EXPECT_NE(output.find("Invalid password"), std::string::npos) << output;
}

// Writes an archive with python3's zipfile by the program `body`.
void PythonArchive(const std::string& archive, const std::string& body) {
    ASSERT_TRUE(RunPython(body, archive));
}

TEST_F(InteropTest, PythonStoredArchiveExtractsLikeUnzip) {
    const std::string archive = temp.At("py.zip");
    PythonArchive(archive, "with zipfile.ZipFile(path, 'w', zipfile.ZIP_STORED) as z:\n"
                           "    z.writestr('a.txt', 'stored text')\n"
                           "    z.writestr('dir/b.bin', bytes(range(256)) * 300)\n"
                           "    z.writestr('dir/empty', b'')\n");
    const std::string listing = ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_NE(listing.find("stored  none"), std::string::npos) << listing;
}

TEST_F(InteropTest, PythonDeflatedArchiveExtractsLikeUnzip) {
    const std::string archive = temp.At("py.zip");
    PythonArchive(archive, "with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:\n"
                           "    z.writestr('a.txt', 'deflated text ' * 1000)\n"
                           "    z.writestr('dir/b.bin', bytes(range(256)) * 300)\n");
    const std::string listing = ExpectSameAsReference(archive, Unzip(archive));
    EXPECT_NE(listing.find("deflate none"), std::string::npos) << listing;
}

TEST_F(InteropTest, PythonForcedZip64ArchiveExtractsLikeUnzip) {
    const std::string archive = temp.At("py64.zip");
    PythonArchive(archive, "with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:\n"
                           "    for name in ('a.txt', 'dir/b.txt'):\n"
                           "        with z.open(name, 'w', force_zip64=True) as f:\n"
                           "            f.write(name.encode() * 5000)\n");
    // The Zip64 extra block (id 1) stands in the archive.
    EXPECT_NE(ReadFileBytes(archive).find(std::string("\x01\x00\x10\x00", 4)), std::string::npos);
    ExpectSameAsReference(archive, Unzip(archive));
}

TEST_F(InteropTest, PythonArchiveWithTheLongestCommentExtractsLikeUnzip) {
    const std::string archive = temp.At("comment.zip");
    PythonArchive(archive, "with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:\n"
                           "    z.writestr('a.txt', 'commented')\n"
                           "    z.comment = b'c' * 65535\n");
    ASSERT_GT(ReadFileBytes(archive).size(), 65535u + 22u);
    ExpectSameAsReference(archive, Unzip(archive));
}

TEST_F(InteropTest, PythonArchiveWithDuplicateNamesExtractsOneFilePerName) {
    const std::string archive = temp.At("dup.zip");
    PythonArchive(archive, "with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:\n"
                           "    z.writestr('x.txt', 'first')\n"
                           "    z.writestr('y.txt', 'only y')\n"
                           "    z.writestr('x.txt', 'second')\n");
    std::string output;
    ASSERT_EQ(RunCommand(Unzip(archive) + Quote(temp.At("theirs")), &output), 0) << output;
    ASSERT_EQ(Orvzip("extract " + Quote(archive) + " " + Quote(temp.At("ours")), &output), 0)
        << output;
    // The library drops the table's second entry: with the pair first in the table, that keeps
    // the first x.txt, where unzip lets the last one win. The other files are the same.
    auto ours = FilesBelow(temp.At("ours"));
    auto theirs = FilesBelow(temp.At("theirs"));
    ASSERT_EQ(ours.size(), 2u);
    EXPECT_EQ(ours["x.txt"], "first");
    EXPECT_EQ(ours["y.txt"], theirs["y.txt"]);
    EXPECT_EQ(Orvzip("test " + Quote(archive), &output), 0) << output;
    // orvzip reads the archive without saving it, even where the library would rewrite it.
    const std::string before = ReadFileBytes(archive);
    EXPECT_EQ(Orvzip("list " + Quote(archive), &output), 0) << output;
    EXPECT_EQ(ReadFileBytes(archive), before);
}

TEST_F(InteropTest, ArchiveRewrittenBySavingDuplicatesPassesUnzipAnd7zTests) {
    const std::string archive = temp.At("dup.zip");
    PythonArchive(archive, "with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:\n"
                           "    z.writestr('x.txt', 'first')\n"
                           "    z.writestr('dir/y.txt', 'y' * 10000)\n"
                           "    z.writestr('x.txt', 'second')\n"
                           "    with z.open('big.bin', 'w', force_zip64=True) as f:\n"
                           "        f.write(bytes(range(256)) * 100)\n");
    const std::string before = ReadFileBytes(archive);
    {
        ZipFile zip(Wide(archive), nullptr, false, false, false);
        EXPECT_TRUE(zip.isModified());
        EXPECT_EQ(zip.close(), 0);
    }
    ASSERT_NE(ReadFileBytes(archive), before);
    std::string output;
    EXPECT_EQ(RunCommand("unzip -t " + Quote(archive), &output), 0) << output;
    EXPECT_NE(output.find("No errors detected"), std::string::npos) << output;
    EXPECT_EQ(RunCommand("7z t " + Quote(archive), &output), 0) << output;
    EXPECT_NE(output.find("Everything is Ok"), std::string::npos) << output;
    ExpectSameAsReference(archive, Unzip(archive));
}

TEST_F(InteropTest, ExtractWithCleanEmptiesTheTargetFirst) {
    const std::string archive = ZipTree("-r");
    fs::create_directories(temp.At("ours"));
    ASSERT_TRUE(WriteFileBytes(temp.At("ours/stale.txt"), "stale"));
    std::string output;
    EXPECT_EQ(
        Orvzip("extract " + Quote(archive) + " " + Quote(temp.At("ours")) + " --clean", &output), 0)
        << output;
    EXPECT_FALSE(fs::exists(temp.At("ours/stale.txt")));
    EXPECT_EQ(ReadFileBytes(temp.At("ours/a.txt")), "alpha\nbeta\n");
}

TEST_F(InteropTest, ExtractReportsRefusedMembersAndFails) {
    const std::string archive = temp.At("evil.zip");
    PythonArchive(archive, "with zipfile.ZipFile(path, 'w') as z:\n"
                           "    z.writestr('good.txt', 'good')\n"
                           "    z.writestr('../evil.txt', 'evil')\n");
    std::string output;
    EXPECT_EQ(Orvzip("extract " + Quote(archive) + " " + Quote(temp.At("box/ours")), &output), 1)
        << output;
    EXPECT_NE(output.find("refused a member outside the target directory: ../evil.txt"),
              std::string::npos)
        << output;
    EXPECT_EQ(ReadFileBytes(temp.At("box/ours/good.txt")), "good");
    EXPECT_FALSE(fs::exists(temp.At("box/evil.txt")));
}

TEST(OrvzipCommandLine, UsageErrorsExitWithStatus2AndTheUsageLine) {
    TempFolder temp;
    const std::string archive = temp.At("a.zip");
    ASSERT_TRUE(RunPython("zipfile.ZipFile(path, 'w').writestr('a', 'a')", archive));
    const std::string a = Quote(archive);
    const std::string d = Quote(temp.At("out"));
    for (const std::string& arguments : std::vector<std::string>{
             std::string(""), std::string("frobnicate ") + a, std::string("list"),
             "list " + a + " extra", "list " + a + " --password p", std::string("test"),
             "test " + a + " --clean", "test " + a + " --password", "test " + a + " --bogus",
             "extract " + a, "extract " + a + " " + d + " extra",
             "extract " + a + " " + d + " --password", "extract " + a + " " + d + " -x",
             "extract " + a + " " + d + " --clean --clean"}) {
        std::string output;
        EXPECT_EQ(Orvzip(arguments, &output), 2) << arguments;
        EXPECT_NE(output.find(kUsageLine), std::string::npos) << arguments << "\n" << output;
    }
    EXPECT_FALSE(fs::exists(temp.At("out")));
}

TEST(OrvzipCommandLine, HelpPrintsTheUsageAndExitsWith0) {
    for (const char* arguments : {"--help", "-h"}) {
        std::string output;
        EXPECT_EQ(Orvzip(arguments, &output), 0) << arguments;
        EXPECT_NE(output.find(kUsageLine), std::string::npos) << arguments << "\n" << output;
    }
}

TEST(OrvzipCommandLine, MissingArchiveExitsWithStatus1AndTheMessage) {
    TempFolder temp;
    for (const std::string command : {"list ", "test ", "extract "}) {
        std::string output;
        const std::string missing = temp.At("missing.zip");
        const std::string tail = command == std::string("extract ") ? " " + temp.At("out") : "";
        EXPECT_EQ(Orvzip(command + Quote(missing) + tail, &output), 1) << command;
        EXPECT_NE(output.find("orvzip: " + missing + ": "), std::string::npos) << output;
        EXPECT_NE(output.find("Failed to read file info (2) - "), std::string::npos) << output;
        // The code's words: the C library's on Linux; on Windows the system's message table's.
        if (std::getenv("ORV_ORVZIP_COMMAND") == nullptr) {
            EXPECT_NE(output.find("No such file or directory"), std::string::npos) << output;
        }
        EXPECT_EQ(output.find("usage:"), std::string::npos) << output;
    }
}

}  // namespace
