// FileContentsTest.cpp: the single-file and path helpers of CUtils, whole-file reads and
// writes, the path of the running module, the clock and alerts.
#include "FileUtilsTestSupport.h"
#include "TestSupport.h"
#include "common/CUtils.h"
#include "common/PlatformHooks.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#ifdef _WIN32
#include <windows.h>
#endif
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using fileutilstest::MakeFolder;
using testfiles::Exists;
using testfiles::ListNames;
using testfiles::MakeLink;
using testfiles::ReadFileBytes;
using testfiles::ReadFileText;
using testfiles::TempFolder;
using testfiles::Wide;
using testfiles::WriteFileBytes;
using testsupport::ScopedCurrentFolder;

}  // namespace

// ---- Single files ----

TEST(DeleteFileOV, DeletesFileButNotFolderOrMissing) {
    TempFolder folder;
    WriteFileBytes(folder.At("file"), "x");
    MakeFolder(folder.At("dir"));
    EXPECT_TRUE(CUtils::DeleteFileOV(folder.WideAt("file")));
    EXPECT_FALSE(Exists(folder.At("file")));
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("dir")));
    EXPECT_TRUE(fs::is_directory(folder.At("dir")));
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("missing")));
    EXPECT_FALSE(CUtils::DeleteFileOV(u""));
}

TEST(DeleteFileOV, LinkIsDeletedNotItsTarget) {
    TempFolder folder;
    WriteFileBytes(folder.At("target"), "x");
    if (!MakeLink(folder.At("target"), folder.At("link"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    EXPECT_TRUE(CUtils::DeleteFileOV(folder.WideAt("link")));
    EXPECT_FALSE(Exists(folder.At("link")));
    EXPECT_EQ(ReadFileBytes(folder.At("target")), "x");
}

TEST(DeleteFileOV, PathWithLoneSurrogateDeletesNothing) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    WriteFileBytes(folder.At("victim"), "x");
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("victim") + u'\xD800'));
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("victim") + u'\xDC00' + u"tail"));
    EXPECT_EQ(ReadFileBytes(folder.At("victim")), "x");
}

TEST(DeleteFileOV, PathWithNullCharacterDeletesNothing) {
    TempFolder folder;
    WriteFileBytes(folder.At("victim"), "x");
    EXPECT_FALSE(CUtils::DeleteFileOV(folder.WideAt("victim") + WString(1, u'\0') + u"tail"));
    EXPECT_EQ(ReadFileBytes(folder.At("victim")), "x");
}

TEST(FileExists, TrueForFileAndFolderFalseOtherwise) {
    TempFolder folder;
    WriteFileBytes(folder.At("file"), "");
    EXPECT_TRUE(CUtils::FileExists(folder.WideAt("file")));
    EXPECT_TRUE(CUtils::FileExists(folder.WidePath()));
    EXPECT_FALSE(CUtils::FileExists(folder.WideAt("missing")));
    EXPECT_FALSE(CUtils::FileExists(u""));
}

TEST(IsDirectory, TrueOnlyForFolder) {
    TempFolder folder;
    WriteFileBytes(folder.At("file"), "");
    EXPECT_TRUE(CUtils::IsDirectory(folder.WidePath()));
    EXPECT_FALSE(CUtils::IsDirectory(folder.WideAt("file")));
    EXPECT_FALSE(CUtils::IsDirectory(folder.WideAt("missing")));
    EXPECT_FALSE(CUtils::IsDirectory(u""));
}

// ---- Paths ----

TEST(GetFileName, TextAfterTheLastSeparatorOfEitherKind) {
    EXPECT_EQ(CUtils::GetFileName(u"/lib/doors/D01.gsm"), u"D01.gsm");
    EXPECT_EQ(CUtils::GetFileName(u"C:\\lib\\D01.gsm"), u"D01.gsm");
    EXPECT_EQ(CUtils::GetFileName(u"C:\\lib/doors\\D01.gsm"), u"D01.gsm");
    EXPECT_EQ(CUtils::GetFileName(u"lib\\doors/D01.gsm"), u"D01.gsm");
}

TEST(GetFileName, PathEndingInSeparatorIsEmpty) {
    EXPECT_EQ(CUtils::GetFileName(u"/lib/doors/"), u"");
    EXPECT_EQ(CUtils::GetFileName(u"C:\\lib\\"), u"");
}

TEST(GetFileName, NoSeparatorOrEmptyIsEmpty) {
    EXPECT_EQ(CUtils::GetFileName(u"D01.gsm"), u"");
    EXPECT_EQ(CUtils::GetFileName(u""), u"");
}

TEST(PathSeparators, BothKindsAreReadThePlatformsIsWritten) {
    EXPECT_EQ(CUtils::GetPathSeparators(), u"\\/");
#ifdef _WIN32
    EXPECT_EQ(CUtils::GetPathSeparator(), u"\\");
#else
    EXPECT_EQ(CUtils::GetPathSeparator(), u"/");
#endif
    EXPECT_TRUE(CUtils::IsPathSeparator(47));
    EXPECT_TRUE(CUtils::IsPathSeparator(92));
    EXPECT_FALSE(CUtils::IsPathSeparator(u':'));
    EXPECT_FALSE(CUtils::IsPathSeparator(u'|'));
    EXPECT_FALSE(CUtils::IsPathSeparator(u'\0'));
    EXPECT_FALSE(CUtils::IsPathSeparator(u'\uFF0F'));
}

TEST(ToFileSystemPath, IsTheUtf8OfThePath) {
    EXPECT_EQ(CUtils::ToFileSystemPath(u"/lib/Dveře/D01.gsm").string(), "/lib/Dve\xc5\x99"
                                                                        "e/D01.gsm");
}

// ---- Whole-file reads and writes ----

TEST(TouchFile, CreatesMissingFileEmpty) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::TouchFile(folder.WideAt("new.txt")));
    EXPECT_TRUE(fs::is_regular_file(folder.At("new.txt")));
    EXPECT_EQ(fs::file_size(folder.At("new.txt")), 0u);
}

TEST(TouchFile, ExistingFileIsOpenedForOutputAndEmptied) {
    TempFolder folder;
    WriteFileBytes(folder.At("old.txt"), "content");
    EXPECT_TRUE(CUtils::TouchFile(folder.WideAt("old.txt")));
    EXPECT_EQ(fs::file_size(folder.At("old.txt")), 0u);
}

TEST(TouchFile, FileInMissingFolderIsFalse) {
    TempFolder folder;
    EXPECT_FALSE(CUtils::TouchFile(folder.WideAt("missing/new.txt")));
    EXPECT_FALSE(Exists(folder.At("missing")));
}

TEST(TouchFile, PathWithLoneSurrogateCreatesNothing) {
    TempFolder folder;
    ScopedCurrentFolder inside(folder.Path());
    MakeFolder(folder.At("dir"));
    EXPECT_FALSE(CUtils::TouchFile(folder.WideAt("dir/new") + u'\xD800'));
    EXPECT_TRUE(ListNames(folder.At("dir")).empty());
}

TEST(WriteStringToFile, WritesBytesUnchanged) {
    TempFolder folder;
    const std::string bytes("line\r\nnext\n\0\xff end", 17);
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), bytes, false));
    EXPECT_EQ(ReadFileBytes(folder.At("out.bin")), bytes);
}

TEST(WriteStringToFile, WithoutAppendReplacesWithAppendAdds) {
    TempFolder folder;
    WriteFileBytes(folder.At("out.bin"), "old content");
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), "new", false));
    EXPECT_EQ(ReadFileBytes(folder.At("out.bin")), "new");
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), "+more", true));
    EXPECT_EQ(ReadFileBytes(folder.At("out.bin")), "new+more");
}

TEST(WriteStringToFile, EmptyBytesMakeEmptyFile) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::WriteStringToFile(folder.WideAt("out.bin"), "", false));
    EXPECT_TRUE(fs::is_regular_file(folder.At("out.bin")));
    EXPECT_EQ(fs::file_size(folder.At("out.bin")), 0u);
}

TEST(WriteStringToFile, UnopenableFileIsFalse) {
    TempFolder folder;
    EXPECT_FALSE(CUtils::WriteStringToFile(folder.WideAt("missing/out.bin"), "x", false));
    EXPECT_FALSE(CUtils::WriteStringToFile(folder.WidePath(), "x", true));
    EXPECT_FALSE(CUtils::WriteStringToFile(u"", "x", false));
}

TEST(AppendStringToFile, CreatesThenAppends) {
    TempFolder folder;
    EXPECT_TRUE(CUtils::AppendStringToFile(folder.WideAt("log.txt"), "first\n"));
    EXPECT_TRUE(CUtils::AppendStringToFile(folder.WideAt("log.txt"), "second\n"));
    EXPECT_EQ(ReadFileText(folder.At("log.txt")), "first\nsecond\n");
}

TEST(AppendStringToFile, UnopenableFileIsFalse) {
    TempFolder folder;
    EXPECT_FALSE(CUtils::AppendStringToFile(folder.WideAt("missing/log.txt"), "x"));
    EXPECT_FALSE(CUtils::AppendStringToFile(folder.WidePath(), "x"));
    EXPECT_FALSE(Exists(folder.At("missing")));
}

TEST(ReadTextFile, ByteOrderMarkComesFirstAsCharacter) {
    TempFolder folder;
    WriteFileBytes(folder.At("bom.txt"), "\xef\xbb\xbfname = 1");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("bom.txt")), u"\uFEFFname = 1");
}

TEST(ReadTextFile, MultiByteTextIsDecoded) {
    TempFolder folder;
    WriteFileBytes(folder.At("text.txt"),
                   "P\xc5\x99\xc3\xadli\xc5\xa1 \xe2\x82\xac \xf0\x9f\x98\x80\n");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("text.txt")), u"Příliš € \U0001F600\n");
}

TEST(ReadTextFile, StopsAtFirstBytesThatAreNotUtf8) {
    TempFolder folder;
    WriteFileBytes(folder.At("bad.txt"), "good \xc5\x99 \xff\xfe more");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("bad.txt")), u"good ř ");
    WriteFileBytes(folder.At("cut.txt"), "ends in \xe2\x82");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("cut.txt")), u"ends in ");
}

TEST(ReadTextFile, MissingOrEmptyFileGivesEmptyText) {
    TempFolder folder;
    WriteFileBytes(folder.At("empty.txt"), "");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("missing.txt")), u"");
    EXPECT_EQ(CUtils::ReadTextFile(folder.WideAt("empty.txt")), u"");
    EXPECT_EQ(CUtils::ReadTextFile(u""), u"");
}

// ---- The running module ----

TEST(GetModulePath, OverrideIsAnsweredAndDirectoryCutAtLastSeparator) {
    const WString saved = CUtils::GetModulePath();
    CUtils::SetModulePathOverride(u"/opt/archicad/Add-Ons/OrvUpdate.so");
    EXPECT_EQ(CUtils::GetModulePath(), u"/opt/archicad/Add-Ons/OrvUpdate.so");
    EXPECT_EQ(CUtils::GetModuleDirectory(), u"/opt/archicad/Add-Ons");
    CUtils::SetModulePathOverride(u"C:\\ArchiCAD\\Add-Ons/Orv\\OrvUpdate.apx");
    EXPECT_EQ(CUtils::GetModuleDirectory(), u"C:\\ArchiCAD\\Add-Ons/Orv");
    CUtils::SetModulePathOverride(saved);
    EXPECT_EQ(CUtils::GetModulePath(), saved);
}

TEST(GetModulePath, WithoutOverrideIsTheFileThisCodeIsLinkedInto) {
    const WString saved = CUtils::GetModulePath();
    CUtils::SetModulePathOverride(u"");
    const WString path = CUtils::GetModulePath();
    const WString directory = CUtils::GetModuleDirectory();
    CUtils::SetModulePathOverride(saved);
    // The runtime is linked statically into this test program.
#ifdef _WIN32
    wchar_t file[1024] = {};
    GetModuleFileNameW(nullptr, file, 1024);
    const fs::path program(file);
#else
    const fs::path program = fs::canonical("/proc/self/exe");
#endif
    EXPECT_EQ(path, Wide(testfiles::Utf8Of(program)));
    EXPECT_EQ(directory, Wide(testfiles::Utf8Of(program.parent_path())));
}

// ---- Time and alerts ----

TEST(GetTimeMicroseconds, AnswersTheInstalledClock) {
    testsupport::FixedClock clock(2024, 3, 15, 10, 30, 5);
    EXPECT_EQ(CUtils::GetTimeMicroseconds(), testsupport::FixedClock::Now());
}

TEST(GetTimeMicroseconds, RealClockCountsFrom1601) {
    // The system clock in microseconds since 1601, read on either side of the reading.
    const auto systemClock = [] {
        const auto sinceUnixEpoch = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::system_clock::now().time_since_epoch());
        return static_cast<int64_t>(sinceUnixEpoch.count()) + int64_t{11644473600} * 1000000;
    };
    const int64_t before = systemClock();
    const int64_t actual = static_cast<int64_t>(CUtils::GetTimeMicroseconds());
    const int64_t after = systemClock();
    EXPECT_LE(before, actual);
    EXPECT_LE(actual, after);
}

TEST(ShowMessageBox, FlagsMapToOkButtonWithIcon) {
    testsupport::RecordedPlatform platform;
    const std::vector<std::pair<uint32_t, uint32_t>> mapping = {
        {1, 0x00}, {2, 0x40}, {4, 0x00}, {8, 0x30}, {9, 0x30}, {12, 0x30}, {0, 0x00}};
    for (const auto& [flags, type] : mapping)
        CUtils::ShowMessageBox(nullptr, u"Caption", u"Text", flags);
    ASSERT_EQ(testsupport::RecordedPlatform::alerts.size(), mapping.size());
    for (size_t i = 0; i < mapping.size(); ++i) {
        EXPECT_EQ(testsupport::RecordedPlatform::alerts[i].type, mapping[i].second)
            << "flags " << mapping[i].first;
    }
}

TEST(ShowMessageBox, CaptionAndTextReachTheAlert) {
    testsupport::RecordedPlatform platform;
    CUtils::ShowMessageBox(nullptr, u"OrvUpdate Brennerstein", u"Knihovna je aktuální.", 2);
    ASSERT_EQ(testsupport::RecordedPlatform::alerts.size(), 1u);
    EXPECT_EQ(testsupport::RecordedPlatform::alerts[0].caption, u"OrvUpdate Brennerstein");
    EXPECT_EQ(testsupport::RecordedPlatform::alerts[0].text, u"Knihovna je aktuální.");
}

#ifndef _WIN32  // on Windows the alert is the system's message box
TEST(ShowMessageBox, WithoutHookWritesCaptionAndTextToStandardError) {
    testing::internal::CaptureStderr();
    CUtils::ShowMessageBox(nullptr, u"Alert", u"Něco se stalo", 8);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Alert: N\xc4\x9b"
                                                      "co se stalo\n");
}
#endif
