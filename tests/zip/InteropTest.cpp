// InteropTest.cpp: archives made by Info-ZIP zip, 7-Zip and python3's zipfile, read by orvzip and
// compared byte for byte with what unzip or 7z extract; the archives that the save path rewrites
// and that orvzip create makes are checked by those tools; and orvzip's command line.
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
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using ziptest::FilesBelow;
using ziptest::ListNames;
using ziptest::Narrow;
using ziptest::Quote;
using ziptest::ReadFileBytes;
using ziptest::RunCommand;
using ziptest::RunPython;
using ziptest::TempFolder;
using ziptest::Wide;
using ziptest::WriteFileBytes;

namespace {

const std::string kUsageLines = "usage: orvzip list ARCHIVE\n"
                                "       orvzip test ARCHIVE [--password P]\n"
                                "       orvzip extract ARCHIVE DIR [--password P] [--clean]\n"
                                "       orvzip create ARCHIVE [--password P | --no-encryption] "
                                "PATH...\n";

// How orvzip is started: the one of this build, or the command in ORV_ORVZIP_COMMAND, so that
// the same comparisons check the Windows orvzip.exe under wine.
std::string OrvzipCommand() {
    const char* command = std::getenv("ORV_ORVZIP_COMMAND");
    return command != nullptr && *command != '\0' ? std::string(command) : Quote(ORVZIP);
}

// Runs orvzip with `arguments` under a time limit, after the shell text `prefix` (a change of
// folder, a program that runs it); its exit status and all it printed, the Windows console's
// "\r\n" read as "\n".
int Orvzip(const std::string& arguments, std::string* output = nullptr,
           const std::string& prefix = "") {
    const int status =
        RunCommand(prefix + "timeout 60 " + OrvzipCommand() + " " + arguments, output);
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

// A tree to archive with orvzip create, in `root`: MakeTree's files and folders, Czech names,
// and a hidden file.
void MakeCreateTree(const std::string& root) {
    MakeTree(root);
    ASSERT_TRUE(WriteFileBytes(root + "/čeština/Řeřicha.txt", "úpěl ďábelské ódy"));
    ASSERT_TRUE(WriteFileBytes(root + "/žluťoučký kůň.txt", MixedBytes(3000, 3)));
    ASSERT_TRUE(WriteFileBytes(root + "/sub/.hidden", "hidden"));
}

// The files below `root` under the member paths a folder named `name` gives them.
std::map<std::string, std::string> StoredUnder(const std::string& name, const std::string& root) {
    std::map<std::string, std::string> files;
    for (const auto& [path, bytes] : FilesBelow(root)) {
        files[name + "/" + path] = bytes;
    }
    return files;
}

size_t Occurrences(const std::string& text, const std::string& piece) {
    size_t count = 0;
    for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
        ++count;
    }
    return count;
}

// python3's zipfile on an archive made of the folder "src" beside it: the names are those of its
// files, `whole` runs once with the archive open as `z`, and `check` for each member as `info`
// with `source` its file's path.
// The library marks a UTF-8 name with a Unicode path block rather than the UTF-8 flag, and
// python's zipfile reads no such block: a name without the flag is read back from code page 437.
bool PythonChecksCreatedArchive(const std::string& archive, const std::string& whole,
                                const std::string& check) {
    std::string output;
    const bool passed = RunPython(
        "import os\n"
        "base = os.path.dirname(path)\n"
        "def name_of(info):\n"
        "    if info.flag_bits & 0x800:\n"
        "        return info.filename\n"
        "    try:\n"
        "        return info.filename.encode('cp437').decode('utf-8')\n"
        "    except UnicodeError:\n"
        "        return info.filename\n"
        "expected = sorted(os.path.relpath(os.path.join(d, f), base)\n"
        "                  for d, _, files in os.walk(os.path.join(base, 'src')) for f in files)\n"
        "with zipfile.ZipFile(path) as z:\n"
        "    names = sorted(name_of(info) for info in z.infolist())\n"
        "    assert names == expected, (names, expected)\n" +
            whole +
            "    for info in z.infolist():\n"
            "        source = os.path.join(base, name_of(info))\n" +
            check + "print('checked', len(names))\n",
        archive, &output);
    EXPECT_TRUE(passed) << output;
    EXPECT_NE(output.find("checked "), std::string::npos) << output;
    return passed;
}

TEST_F(InteropTest, CreatedUnencryptedArchivePassesUnzip7zPythonAndOrvzip) {
    const std::string source = temp.At("src");
    MakeCreateTree(source);
    const std::string archive = temp.At("plain.zip");
    std::string output;
    ASSERT_EQ(Orvzip("create " + Quote(archive) + " --no-encryption " + Quote(source), &output), 0)
        << output;
    EXPECT_NE(output.find("added   src/čeština/Řeřicha.txt\n"), std::string::npos) << output;
    EXPECT_NE(output.find("orvzip: empty folder not stored: src/empty-folder/\n"),
              std::string::npos)
        << output;
    EXPECT_EQ(RunCommand("unzip -t " + Quote(archive), &output), 0) << output;
    EXPECT_NE(output.find("No errors detected"), std::string::npos) << output;
    EXPECT_EQ(RunCommand("7z t " + Quote(archive), &output), 0) << output;
    EXPECT_NE(output.find("Everything is Ok"), std::string::npos) << output;
    PythonChecksCreatedArchive(archive, "    assert z.testzip() is None\n",
                               "        assert info.compress_type == zipfile.ZIP_DEFLATED\n"
                               "        assert not info.flag_bits & 1, info\n"
                               "        with open(source, 'rb') as f:\n"
                               "            assert z.read(info) == f.read(), info\n");
    const std::string listing = ExpectSameAsReference(archive, Unzip(archive));
    const auto expected = StoredUnder("src", source);
    EXPECT_EQ(FilesBelow(temp.At("ours")), expected);
    EXPECT_EQ(Occurrences(listing, "\ndeflate none "), expected.size()) << listing;
    EXPECT_EQ(listing.find("aes"), std::string::npos) << listing;
    EXPECT_EQ(listing.find("empty-folder"), std::string::npos) << listing;
}

TEST_F(InteropTest, CreatedArchiveIsEncryptedWithTheBuiltInPasswordByDefault) {
    const std::string source = temp.At("src");
    MakeCreateTree(source);
    const std::string archive = temp.At("aes.zip");
    std::string output;
    ASSERT_EQ(Orvzip("create " + Quote(archive) + " " + Quote(source), &output), 0) << output;
    const std::string password = Narrow(kZipDefaultPassword);
    EXPECT_EQ(RunCommand("7z t -p" + Quote(password) + " " + Quote(archive), &output), 0) << output;
    EXPECT_NE(output.find("Everything is Ok"), std::string::npos) << output;
    EXPECT_NE(RunCommand("7z t -pwrong " + Quote(archive), &output), 0) << output;
    // AES (method 99) is beyond python's zipfile: its directory is read, sizes and all.
    PythonChecksCreatedArchive(archive, "",
                               "        assert info.compress_type == 99, info\n"
                               "        assert info.flag_bits & 1, info\n"
                               "        assert info.file_size == os.path.getsize(source)\n");
    const std::string listing = ExpectSameAsReference(archive, SevenZipExtract(archive, password));
    const auto expected = StoredUnder("src", source);
    EXPECT_EQ(FilesBelow(temp.At("ours")), expected);
    EXPECT_EQ(Occurrences(listing, "\ndeflate aes256 "), expected.size()) << listing;
}

TEST_F(InteropTest, CreatedArchiveWithAPasswordOpensWithThatPasswordOnly) {
    const std::string source = temp.At("src");
    MakeCreateTree(source);
    const std::string archive = temp.At("secret.zip");
    const std::string password = "open sesame";
    std::string output;
    ASSERT_EQ(
        Orvzip("create " + Quote(archive) + " --password " + Quote(password) + " " + Quote(source),
               &output),
        0)
        << output;
    EXPECT_EQ(RunCommand("7z t -p" + Quote(password) + " " + Quote(archive), &output), 0) << output;
    EXPECT_NE(output.find("Everything is Ok"), std::string::npos) << output;
    EXPECT_NE(
        RunCommand("7z t -p" + Quote(Narrow(kZipDefaultPassword)) + " " + Quote(archive), &output),
        0)
        << output;
    const std::string listing =
        ExpectSameAsReference(archive, SevenZipExtract(archive, password), password);
    EXPECT_EQ(FilesBelow(temp.At("ours")), StoredUnder("src", source));
    EXPECT_NE(listing.find("deflate aes256 "), std::string::npos) << listing;
    // The built-in password opens none of it.
    EXPECT_EQ(Orvzip("test " + Quote(archive), &output), 1) << output;
    EXPECT_NE(output.find("FAILED  src/a.txt: Invalid password"), std::string::npos) << output;
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
    for (const std::string& arguments :
         std::vector<std::string>{std::string(""),
                                  std::string("frobnicate ") + a,
                                  std::string("list"),
                                  "list " + a + " extra",
                                  "list " + a + " --password p",
                                  std::string("test"),
                                  "test " + a + " --clean",
                                  "test " + a + " --password",
                                  "test " + a + " --bogus",
                                  "extract " + a,
                                  "extract " + a + " " + d + " extra",
                                  "extract " + a + " " + d + " --password",
                                  "extract " + a + " " + d + " -x",
                                  "extract " + a + " " + d + " --clean --clean",
                                  "list " + a + " --no-encryption",
                                  "extract " + a + " " + d + " --no-encryption",
                                  std::string("create"),
                                  "create " + d,
                                  "create " + d + " " + a + " --clean",
                                  "create " + d + " " + a + " --password",
                                  "create " + d + " " + a + " --password p --password q",
                                  "create " + d + " " + a + " --no-encryption --no-encryption",
                                  "create " + d + " " + a + " --password p --no-encryption",
                                  "create " + d + " " + a + " --no-encryption --password p"}) {
        std::string output;
        EXPECT_EQ(Orvzip(arguments, &output), 2) << arguments;
        EXPECT_NE(output.find(kUsageLines), std::string::npos) << arguments << "\n" << output;
    }
    EXPECT_FALSE(fs::exists(temp.At("out")));
}

TEST(OrvzipCommandLine, HelpPrintsTheUsageAndExitsWith0) {
    for (const char* arguments : {"--help", "-h"}) {
        std::string output;
        EXPECT_EQ(Orvzip(arguments, &output), 0) << arguments;
        EXPECT_NE(output.find(kUsageLines), std::string::npos) << arguments << "\n" << output;
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

// Runs orvzip create with `arguments`, after the shell text `prefix`, and expects it to fail with
// `message` and to leave the folder `temp` as it was: no archive and no part file.
void ExpectCreateRefused(const TempFolder& temp, const std::string& arguments,
                         const std::string& message, const std::string& prefix = "") {
    const auto before = ListNames(temp.At(""));
    std::string output;
    EXPECT_EQ(Orvzip("create " + arguments, &output, prefix), 1) << arguments << "\n" << output;
    EXPECT_NE(output.find(message), std::string::npos) << output;
    EXPECT_EQ(output.find("usage:"), std::string::npos) << output;
    EXPECT_EQ(ListNames(temp.At("")), before) << output;
}

TEST(OrvzipCommandLine, CreateStoresAFileUnderItsNameAndAFolderUnderItsOwnName) {
    TempFolder temp;
    ASSERT_TRUE(WriteFileBytes(temp.At("in/one.txt"), "one"));
    ASSERT_TRUE(WriteFileBytes(temp.At("in/tree/x.txt"), "x"));
    ASSERT_TRUE(WriteFileBytes(temp.At("in/tree/sub/y.txt"), "y"));
    std::string output;
    // A trailing separator and "." name the folder itself, as its absolute path ends.
    ASSERT_EQ(Orvzip("create ../names.zip --no-encryption one.txt tree/", &output,
                     "cd " + Quote(temp.At("in")) + " && "),
              0)
        << output;
    ASSERT_EQ(Orvzip("create ../../dot.zip --no-encryption .", &output,
                     "cd " + Quote(temp.At("in/tree")) + " && "),
              0)
        << output;
    ASSERT_EQ(Orvzip("create " + Quote(temp.At("absolute.zip")) + " --no-encryption " +
                         Quote(temp.At("in/tree/sub/y.txt")),
                     &output),
              0)
        << output;
    EXPECT_NE(output.find("added   y.txt\n"), std::string::npos) << output;
    const std::map<std::string, std::string> expected{
        {"names.zip", "one.txt\ntree/sub/y.txt\ntree/x.txt\n"},
        {"dot.zip", "tree/sub/y.txt\ntree/x.txt\n"},
        {"absolute.zip", "y.txt\n"}};
    for (const auto& [archive, names] : expected) {
        EXPECT_EQ(RunCommand("unzip -Z1 " + Quote(temp.At(archive)), &output), 0) << output;
        EXPECT_EQ(output, names) << archive;
    }
    EXPECT_EQ(
        Orvzip("extract " + Quote(temp.At("names.zip")) + " " + Quote(temp.At("out")), &output), 0)
        << output;
    EXPECT_EQ(FilesBelow(temp.At("out")),
              (std::map<std::string, std::string>{
                  {"one.txt", "one"}, {"tree/x.txt", "x"}, {"tree/sub/y.txt", "y"}}));
}

TEST(OrvzipCommandLine, CreateRefusesAnExistingArchiveAndLeavesItAsItIs) {
    TempFolder temp;
    ASSERT_TRUE(WriteFileBytes(temp.At("in/a.txt"), "a"));
    const std::string archive = temp.At("exists.zip");
    ASSERT_TRUE(WriteFileBytes(archive, "precious"));
    ExpectCreateRefused(temp, Quote(archive) + " " + Quote(temp.At("in")),
                        "orvzip: " + archive + ": already exists");
    EXPECT_EQ(ReadFileBytes(archive), "precious");
}

TEST(OrvzipCommandLine, CreateRefusesAMissingPathAndWritesNothing) {
    TempFolder temp;
    ASSERT_TRUE(WriteFileBytes(temp.At("in/a.txt"), "a"));
    const std::string missing = temp.At("in/missing.txt");
    ExpectCreateRefused(
        temp, Quote(temp.At("out.zip")) + " " + Quote(temp.At("in/a.txt")) + " " + Quote(missing),
        "orvzip: " + missing + ": no such file or folder\n");
}

TEST(OrvzipCommandLine, CreateRefusesTwoInputsThatWouldBeOneFile) {
    TempFolder temp;
    ASSERT_TRUE(WriteFileBytes(temp.At("a/x.txt"), "first"));
    ASSERT_TRUE(WriteFileBytes(temp.At("b/x.txt"), "second"));
    ASSERT_TRUE(WriteFileBytes(temp.At("a/lib/part.gsm"), "part"));
    ASSERT_TRUE(WriteFileBytes(temp.At("b/lib"), "a file named as a folder"));
    const std::string out = Quote(temp.At("out.zip")) + " ";
    ExpectCreateRefused(temp, out + Quote(temp.At("a/x.txt")) + " " + Quote(temp.At("b/x.txt")),
                        temp.At("a/x.txt") + " and " + temp.At("b/x.txt") +
                            " would both be stored as x.txt");
    ExpectCreateRefused(temp, out + Quote(temp.At("a/lib")) + " " + Quote(temp.At("a/lib")),
                        "would both be stored as lib/part.gsm");
    ExpectCreateRefused(temp, out + Quote(temp.At("a/lib")) + " " + Quote(temp.At("b/lib")),
                        temp.At("b/lib") + " would be stored as lib, which " +
                            temp.At("a/lib/part.gsm") + " needs as its folder");
}

TEST(OrvzipCommandLine, CreateRefusesAFolderToWriteIntoThatDoesNotExist) {
    TempFolder temp;
    ASSERT_TRUE(WriteFileBytes(temp.At("in/a.txt"), "a"));
    const std::string archive = temp.At("nowhere/out.zip");
    ExpectCreateRefused(temp, Quote(archive) + " " + Quote(temp.At("in")),
                        "orvzip: " + archive + ": no folder ");
}

TEST(OrvzipCommandLine, CreateRefusesFoldersWithNoFileAndAnEmptyPassword) {
    TempFolder temp;
    fs::create_directories(temp.At("empty/inner"));
    ASSERT_TRUE(WriteFileBytes(temp.At("in/a.txt"), "a"));
    const std::string out = Quote(temp.At("out.zip")) + " ";
    ExpectCreateRefused(temp, out + Quote(temp.At("empty")),
                        "orvzip: empty folder not stored: empty/inner/\n"
                        "orvzip: no file to store");
    ExpectCreateRefused(temp, out + "--password '' " + Quote(temp.At("in")),
                        "orvzip: an empty password");
}

// Paths that no ANSI code page of a Windows program's argv carries whole: Czech letters that the
// Western European one lacks and Greek ones that the Central European one lacks. Each is named on
// the command line absolute, and relative to a current folder with such a name too.
TEST(OrvzipCommandLine, CreateAndExtractTakePathsOutsideTheAnsiCodePage) {
    TempFolder temp;
    const std::string folder = "Příliš žluťoučký kůň";
    const std::string home = temp.At("ódy Ωμέγα");
    ASSERT_TRUE(WriteFileBytes(home + "/" + folder + "/úpěl ďábelské.txt", "úpěl ďábelské ódy"));
    ASSERT_TRUE(WriteFileBytes(home + "/" + folder + "/čeština/Řeřicha.txt", "řeřicha"));
    const auto expected = StoredUnder(folder, home + "/" + folder);
    const std::string archive = home + "/archiv Ω.zip";
    std::string output;
    ASSERT_EQ(Orvzip("create " + Quote(archive) + " " + Quote(home + "/" + folder), &output), 0)
        << output;
    EXPECT_NE(output.find("added   " + folder + "/úpěl ďábelské.txt\n"), std::string::npos)
        << output;
    EXPECT_EQ(Orvzip("test " + Quote(archive), &output), 0) << output;
    EXPECT_NE(output.find("OK      " + folder + "/čeština/Řeřicha.txt\n"), std::string::npos)
        << output;
    const std::string out = temp.At("výstup ř/Ωμέγα");
    ASSERT_EQ(Orvzip("extract " + Quote(archive) + " " + Quote(out), &output), 0) << output;
    EXPECT_EQ(FilesBelow(out), expected);

    const std::string inHome = "cd " + Quote(home) + " && ";
    ASSERT_EQ(Orvzip("create 'kůň Ω.zip' --no-encryption " + Quote(folder), &output, inHome), 0)
        << output;
    ASSERT_EQ(Orvzip("extract 'kůň Ω.zip' 'rozbaleno ř' --clean", &output, inHome), 0) << output;
    EXPECT_EQ(FilesBelow(home + "/rozbaleno ř"), expected);
}

// Files as only the Linux orvzip sees them: wine's server opens a Windows program's files with
// its own rights, shows a link as what it leads to, and shows a name with a "\" under another
// name. So these run against this build's orvzip alone, in a folder with "in/a.txt".
class OrvzipCreateOnLinux : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::getenv("ORV_ORVZIP_COMMAND") != nullptr) {
            GTEST_SKIP() << "the Linux orvzip's view of files";
        }
        ASSERT_TRUE(WriteFileBytes(temp.At("in/a.txt"), "a"));
    }

    TempFolder temp;
};

TEST_F(OrvzipCreateOnLinux, AFileThatCannotBeReadLeavesNothing) {
    ASSERT_TRUE(WriteFileBytes(temp.At("in/b.txt"), MixedBytes(100000, 5)));
    // Last in the archive's order, so that the others were added when it fails.
    const std::string locked = temp.At("in/z-locked.txt");
    ASSERT_TRUE(WriteFileBytes(locked, "locked"));
    fs::permissions(locked, fs::perms::none);
    // Root reads any file: its rights to pass over file modes are taken from orvzip.
    const std::string withoutOverride = ::geteuid() == 0
                                            ? "setpriv --inh-caps=-dac_override,-dac_read_search "
                                              "--bounding-set=-dac_override,-dac_read_search "
                                            : "";
    ExpectCreateRefused(temp, Quote(temp.At("out.zip")) + " " + Quote(temp.At("in")),
                        "orvzip: " + locked + ": cannot be read: ", withoutOverride);
}

TEST_F(OrvzipCreateOnLinux, ALinkToAFileStoresWhatItHoldsAndALinkToAFolderIsRefused) {
    ASSERT_TRUE(WriteFileBytes(temp.At("elsewhere/target.txt"), "target"));
    ASSERT_TRUE(testfiles::MakeLink(temp.At("elsewhere/target.txt"), temp.At("in/link.txt")));
    std::string output;
    ASSERT_EQ(Orvzip("create " + Quote(temp.At("linked.zip")) + " --no-encryption " +
                         Quote(temp.At("in")),
                     &output),
              0)
        << output;
    ASSERT_EQ(
        Orvzip("extract " + Quote(temp.At("linked.zip")) + " " + Quote(temp.At("out")), &output), 0)
        << output;
    EXPECT_EQ(FilesBelow(temp.At("out")),
              (std::map<std::string, std::string>{{"in/a.txt", "a"}, {"in/link.txt", "target"}}));

    // A link back up the tree would never end.
    ASSERT_TRUE(testfiles::MakeLink(temp.At("in"), temp.At("in/loop")));
    ExpectCreateRefused(temp, Quote(temp.At("loop.zip")) + " " + Quote(temp.At("in")),
                        "orvzip: " + temp.At("in/loop") +
                            ": a link to a folder, which is not followed");
}

TEST_F(OrvzipCreateOnLinux, ANameTheLibraryRefusesLeavesNothing) {
    ASSERT_TRUE(WriteFileBytes(temp.At("in/z\\bad.txt"), "bad"));
    ExpectCreateRefused(temp, Quote(temp.At("out.zip")) + " " + Quote(temp.At("in")),
                        ": cannot be stored as in/z\\bad.txt: Member path is not a relative "
                        "path inside the archive");
}

}  // namespace
