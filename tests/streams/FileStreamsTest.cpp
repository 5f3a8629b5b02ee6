// FileStreamsTest.cpp: the file input and output streams on real files in a temporary folder.
#include "streams/FileStreams.h"

#include "TestFiles.h"
#include "common/OVException.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#ifndef _WIN32
#include <unistd.h>
#endif

namespace fs = std::filesystem;

namespace {

using testfiles::ReadFileBytes;
using testfiles::Wide;
using testfiles::WriteFileBytes;

ByteBuffer Pattern(size_t size) {
    ByteBuffer data(size);
    for (size_t i = 0; i < size; ++i)
        data[i] = static_cast<uint8_t>((i * 13 + 5) & 0xFF);
    return data;
}

// The thrown OVException, if any, of `body`.
template <typename Body> std::optional<OVException> Thrown(Body body) {
    try {
        body();
    } catch (const OVException& e) {
        return e;
    }
    return std::nullopt;
}

class FileStreamsTest : public ::testing::Test {
protected:
    std::string Path(const std::string& name) const { return folder.At(name); }
    WString WidePath(const std::string& name) const { return folder.WideAt(name); }

    void WriteFile(const std::string& name, const ByteBuffer& data) const {
        WriteFileBytes(Path(name), std::string(data.begin(), data.end()));
    }
    ByteBuffer ReadFile(const std::string& name) const {
        const std::string bytes = ReadFileBytes(Path(name));
        return ByteBuffer(bytes.begin(), bytes.end());
    }

    testfiles::TempFolder folder;
};

#ifndef _WIN32  // a pipe by path through /proc
// Both ends of a pipe, reachable by path through /proc, where no seek can succeed.
struct Pipe {
    Pipe() { EXPECT_EQ(::pipe(ends), 0); }
    ~Pipe() {
        ::close(ends[0]);
        ::close(ends[1]);
    }
    WString ReadPath() const { return Wide("/proc/self/fd/" + std::to_string(ends[0])); }
    WString WritePath() const { return Wide("/proc/self/fd/" + std::to_string(ends[1])); }
    int ends[2] = {-1, -1};
};
#endif

}  // namespace

// ---- FileInputStream ----

TEST_F(FileStreamsTest, DefaultInputStreamIsNotOpen) {
    FileInputStream stream;
    EXPECT_FALSE(stream.isOpen());
}

TEST_F(FileStreamsTest, InputStreamReadsTheWholeFileThenEnds) {
    const ByteBuffer data = Pattern(100000);
    WriteFile("in.bin", data);
    FileInputStream stream(WidePath("in.bin"));
    EXPECT_TRUE(stream.isOpen());
    EXPECT_EQ(stream.available(), 100000);
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 60000), 60000);
    EXPECT_EQ(buffer, ByteBuffer(data.begin(), data.begin() + 60000));
    EXPECT_EQ(stream.available(), 40000);
    EXPECT_EQ(stream.read(buffer, 60000), 40000);
    EXPECT_EQ(buffer, ByteBuffer(data.begin() + 60000, data.end()));
    EXPECT_EQ(stream.available(), 0);
    EXPECT_EQ(stream.read(buffer, 10), -1);
}

TEST_F(FileStreamsTest, InputStreamReadsAUnicodePath) {
    WriteFile("žluťoučký kůň.bin", Pattern(5));
    FileInputStream stream(WidePath("žluťoučký kůň.bin"));
    EXPECT_EQ(stream.available(), 5);
}

TEST_F(FileStreamsTest, ReadAtTheEndOfAnEmptyFileReturnsMinusOne) {
    WriteFile("empty.bin", {});
    FileInputStream stream(WidePath("empty.bin"));
    EXPECT_EQ(stream.available(), 0);
    uint8_t buffer[8] = {};
    EXPECT_EQ(stream.read(buffer, 8), -1);
}

TEST_F(FileStreamsTest, ReadOfZeroBeforeTheEndReturnsZero) {
    WriteFile("in.bin", Pattern(10));
    FileInputStream stream(WidePath("in.bin"));
    uint8_t buffer[1] = {};
    EXPECT_EQ(stream.read(buffer, 0), 0);
    EXPECT_EQ(stream.available(), 10);
}

TEST_F(FileStreamsTest, OpenOfAMissingFileThrowsWithErrnoAndLeavesItClosed) {
    FileInputStream stream;
    const auto e = Thrown([&] { stream.open(WidePath("missing.bin"), false); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "Failed to read file info");
    EXPECT_EQ(e->GetCode(), ENOENT);
    EXPECT_FALSE(stream.isOpen());
    EXPECT_FALSE(fs::exists(Path("missing.bin")));
}

TEST_F(FileStreamsTest, ConstructorOnAMissingFileThrows) {
    const auto e = Thrown([&] { FileInputStream stream(WidePath("missing.bin")); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "Failed to read file info");
}

TEST_F(FileStreamsTest, OpenWithCreateMakesAnEmptyFile) {
    FileInputStream stream;
    stream.open(WidePath("made.bin"), true);
    EXPECT_TRUE(stream.isOpen());
    EXPECT_TRUE(fs::exists(Path("made.bin")));
    EXPECT_EQ(fs::file_size(Path("made.bin")), 0u);
    EXPECT_EQ(stream.available(), 0);
    uint8_t buffer[4] = {};
    EXPECT_EQ(stream.read(buffer, 4), -1);
}

TEST_F(FileStreamsTest, OpenWithCreateOfAnExistingFileReadsIt) {
    WriteFile("in.bin", Pattern(7));
    FileInputStream stream;
    stream.open(WidePath("in.bin"), true);
    EXPECT_EQ(stream.available(), 7);
    EXPECT_EQ(fs::file_size(Path("in.bin")), 7u);
}

TEST_F(FileStreamsTest, OpenThatCannotCreateThrowsWithErrnoAndThePath) {
    FileInputStream stream;
    const WString path = WidePath("no-such-folder/made.bin");
    const auto e = Thrown([&] { stream.open(path, true); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::string(e->what()),
              "Failed to open file input stream" + Path("no-such-folder/made.bin"));
    EXPECT_EQ(e->GetCode(), ENOENT);
    EXPECT_FALSE(stream.isOpen());
}

TEST_F(FileStreamsTest, OpenOnAnOpenStreamThrowsAndLeavesItOpen) {
    WriteFile("a.bin", Pattern(10));
    WriteFile("b.bin", Pattern(20));
    FileInputStream stream(WidePath("a.bin"));
    const auto e = Thrown([&] { stream.open(WidePath("b.bin"), false); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "File input stream is already opened");
    EXPECT_EQ(e->GetCode(), 0);
    EXPECT_TRUE(stream.isOpen());
    EXPECT_EQ(stream.available(), 10);
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 100), 10);
    EXPECT_EQ(buffer, Pattern(10));
}

TEST_F(FileStreamsTest, OperationsOnANotOpenedStreamThrow) {
    FileInputStream stream;
    uint8_t buffer[4] = {};
    for (const auto& e : {Thrown([&] { stream.read(buffer, 4); }), Thrown([&] { stream.skip(1); }),
                          Thrown([&] { stream.available(); }), Thrown([&] { stream.reset(); })}) {
        ASSERT_TRUE(e.has_value());
        EXPECT_STREQ(e->what(), "File input stream is not opened");
        EXPECT_EQ(e->GetCode(), 0);
    }
}

TEST_F(FileStreamsTest, OperationsAfterCloseThrowNotOpened) {
    WriteFile("in.bin", Pattern(10));
    FileInputStream stream(WidePath("in.bin"));
    stream.close();
    EXPECT_FALSE(stream.isOpen());
    uint8_t buffer[4] = {};
    const auto e = Thrown([&] { stream.read(buffer, 4); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "File input stream is not opened");
    stream.close();  // closing again does nothing
    EXPECT_FALSE(stream.isOpen());
}

TEST_F(FileStreamsTest, SeekOnAClosedStreamThrowsNotOpened) {
    WriteFile("in.bin", Pattern(10));
    FileInputStream stream(WidePath("in.bin"));
    stream.close();
    const auto e = Thrown([&] { stream.seek(3); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "File input stream is not opened");
}

#ifdef _WIN32
TEST_F(FileStreamsTest, OpenOfAFolderThrowsOpenFailure) {
    // Windows refuses to open a folder as a file at all.
    fs::create_directories(folder.Path() / "sub");
    const auto e = Thrown([&] { FileInputStream stream(WidePath("sub")); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::string(e->what()), "Failed to open file input stream" + Path("sub"));
    EXPECT_NE(e->GetCode(), 0);
}
#else
TEST_F(FileStreamsTest, ReadOfAFolderThrowsReadError) {
    fs::create_directories(folder.Path() / "sub");
    FileInputStream stream(WidePath("sub"));
    uint8_t buffer[16] = {};
    const auto e = Thrown([&] { stream.read(buffer, 16); });
    ASSERT_TRUE(e.has_value());
    const std::string message = e->what();
    const std::string expected = "File input stream read error";
    ASSERT_GT(message.size(), expected.size());
    EXPECT_EQ(message.substr(0, expected.size()), expected);
    EXPECT_NE(message.substr(expected.size()).find_first_of("0123456789"), std::string::npos);
    EXPECT_EQ(message.substr(expected.size()).find_first_not_of("-0123456789"), std::string::npos);
    EXPECT_EQ(e->GetCode(), 0);
}
#endif

TEST_F(FileStreamsTest, SkipPastTheEndStopsAtSize) {
    const ByteBuffer data = Pattern(50);
    WriteFile("in.bin", data);
    FileInputStream stream(WidePath("in.bin"));
    EXPECT_EQ(stream.skip(20), 20);
    EXPECT_EQ(stream.skip(1000), 50);
    EXPECT_EQ(stream.available(), 0);
    uint8_t buffer[4] = {};
    EXPECT_EQ(stream.read(buffer, 4), -1);
}

TEST_F(FileStreamsTest, SkipByALargeNegativeStopsAtZero) {
    const ByteBuffer data = Pattern(50);
    WriteFile("in.bin", data);
    FileInputStream stream(WidePath("in.bin"));
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 30), 30);
    EXPECT_EQ(stream.skip(-10), 20);
    EXPECT_EQ(stream.read(buffer, 5), 5);
    EXPECT_EQ(buffer, ByteBuffer(data.begin() + 20, data.begin() + 25));
    EXPECT_EQ(stream.skip(-1000000), 0);
    EXPECT_EQ(stream.available(), 50);
    EXPECT_EQ(stream.skip(INT64_MIN), 0);
    EXPECT_EQ(stream.read(buffer, 3), 3);
    EXPECT_EQ(buffer, ByteBuffer(data.begin(), data.begin() + 3));
}

TEST_F(FileStreamsTest, SkipByTheLargestCountStopsAtSize) {
    WriteFile("in.bin", Pattern(50));
    FileInputStream stream(WidePath("in.bin"));
    EXPECT_EQ(stream.skip(10), 10);
    EXPECT_EQ(stream.skip(INT64_MAX), 50);
}

TEST_F(FileStreamsTest, SeekIsAbsoluteAndLimitedToTheFile) {
    const ByteBuffer data = Pattern(50);
    WriteFile("in.bin", data);
    FileInputStream stream(WidePath("in.bin"));
    EXPECT_EQ(stream.seek(40), 40);
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 5), 5);
    EXPECT_EQ(buffer, ByteBuffer(data.begin() + 40, data.begin() + 45));
    EXPECT_EQ(stream.seek(12), 12);
    EXPECT_EQ(stream.available(), 38);
    EXPECT_EQ(stream.seek(500), 50);
    EXPECT_EQ(stream.available(), 0);
    EXPECT_EQ(stream.seek(-7), 0);
    EXPECT_EQ(stream.read(buffer, 2), 2);
    EXPECT_EQ(buffer, ByteBuffer(data.begin(), data.begin() + 2));
}

TEST_F(FileStreamsTest, ResetAtPositionZeroStaysThere) {
    const ByteBuffer data = Pattern(10);
    WriteFile("in.bin", data);
    FileInputStream stream(WidePath("in.bin"));
    EXPECT_NO_THROW(stream.reset());
    EXPECT_EQ(stream.available(), 10);
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 10), 10);
    EXPECT_EQ(buffer, data);
}

TEST_F(FileStreamsTest, ResetGoesBackToTheStart) {
    const ByteBuffer data = Pattern(10);
    WriteFile("in.bin", data);
    FileInputStream stream(WidePath("in.bin"));
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 10), 10);
    EXPECT_EQ(stream.read(buffer, 10), -1);
    stream.reset();
    EXPECT_EQ(stream.available(), 10);
    EXPECT_EQ(stream.read(buffer, 10), 10);
    EXPECT_EQ(buffer, data);
}

TEST_F(FileStreamsTest, SizeIsTakenAtOpen) {
    WriteFile("in.bin", Pattern(10));
    FileInputStream stream(WidePath("in.bin"));
    WriteFile("in.bin", Pattern(30));
    EXPECT_EQ(stream.available(), 10);
    EXPECT_EQ(stream.skip(100), 10);
}

#ifndef _WIN32  // a pipe by path through /proc
TEST_F(FileStreamsTest, SkipOnAPipeThrowsSkipFailed) {
    Pipe pipe;
    FileInputStream stream(pipe.ReadPath());
    const auto e = Thrown([&] { stream.skip(0); });
    ASSERT_TRUE(e.has_value());
    const std::string message = e->what();
    EXPECT_EQ(message.rfind("File input stream skip failed ", 0), 0u) << message;
    EXPECT_EQ(message.substr(30).find_first_not_of("0123456789"), std::string::npos) << message;
    EXPECT_EQ(e->GetCode(), 0);
    const auto onReset = Thrown([&] { stream.reset(); });
    ASSERT_TRUE(onReset.has_value());
    EXPECT_EQ(std::string(onReset->what()).rfind("File input stream skip failed ", 0), 0u);
}
#endif

#ifndef _WIN32  // a pipe by path through /proc
TEST_F(FileStreamsTest, SeekOnAPipeThrowsSeekFailed) {
    Pipe pipe;
    FileInputStream stream(pipe.ReadPath());
    const auto e = Thrown([&] { stream.seek(0); });
    ASSERT_TRUE(e.has_value());
    const std::string message = e->what();
    EXPECT_EQ(message.rfind("File input stream seek failed ", 0), 0u) << message;
    EXPECT_EQ(message.substr(30).find_first_not_of("0123456789"), std::string::npos) << message;
}
#endif

TEST_F(FileStreamsTest, ReopenAfterCloseReadsTheNewFile) {
    const ByteBuffer first = Pattern(10);
    const ByteBuffer second = Pattern(40);
    WriteFile("a.bin", first);
    WriteFile("b.bin", second);
    FileInputStream stream(WidePath("a.bin"));
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 100), 10);
    stream.close();
    stream.open(WidePath("b.bin"), false);
    EXPECT_TRUE(stream.isOpen());
    EXPECT_EQ(stream.read(buffer, 100), 40);
    EXPECT_EQ(buffer, second);
    EXPECT_EQ(stream.read(buffer, 100), -1);
}

TEST_F(FileStreamsTest, ReopenKeepsTheCountedPositionUntilReset) {
    // Close leaves size and position as they were, and open takes only a new size.
    WriteFile("a.bin", Pattern(10));
    WriteFile("b.bin", Pattern(40));
    FileInputStream stream(WidePath("a.bin"));
    EXPECT_EQ(stream.skip(6), 6);
    stream.close();
    stream.open(WidePath("b.bin"), false);
    EXPECT_EQ(stream.available(), 34);
    stream.reset();
    EXPECT_EQ(stream.available(), 40);
}

TEST_F(FileStreamsTest, TwoInputStreamsOnOneFileAreIndependent) {
    const ByteBuffer data = Pattern(20);
    WriteFile("in.bin", data);
    FileInputStream one(WidePath("in.bin"));
    FileInputStream two(WidePath("in.bin"));
    ByteBuffer buffer;
    EXPECT_EQ(one.skip(15), 15);
    EXPECT_EQ(two.read(buffer, 4), 4);
    EXPECT_EQ(buffer, ByteBuffer(data.begin(), data.begin() + 4));
    EXPECT_EQ(one.read(buffer, 10), 5);
    EXPECT_EQ(buffer, ByteBuffer(data.begin() + 15, data.end()));
}

TEST_F(FileStreamsTest, InputStreamWorksInAWindow) {
    const ByteBuffer data = Pattern(100);
    WriteFile("in.bin", data);
    FileInputStream stream(WidePath("in.bin"));
    PartialInputStream window(stream, 10, 60);
    ByteBuffer buffer;
    EXPECT_EQ(window.read(buffer, 100), 10);
    EXPECT_EQ(buffer, ByteBuffer(data.begin() + 60, data.begin() + 70));
    window.reset();
    EXPECT_EQ(window.read(buffer, 3), 3);
    EXPECT_EQ(buffer, ByteBuffer(data.begin() + 60, data.begin() + 63));
}

// ---- FileOutputStream ----

TEST_F(FileStreamsTest, OutputStreamWritesAFile) {
    const ByteBuffer data = Pattern(200000);
    {
        FileOutputStream out(WidePath("out.bin"), FileOutputStream::kCreate);
        out.write(data.data(), 150000);
        out.write(ByteBuffer(data.begin() + 150000, data.end()));
        out.write(data.data(), 0);
    }
    EXPECT_EQ(ReadFile("out.bin"), data);
}

TEST_F(FileStreamsTest, ModeZeroTruncatesAnExistingFile) {
    WriteFile("out.bin", Pattern(100));
    {
        FileOutputStream out(WidePath("out.bin"), 0);
        EXPECT_EQ(fs::file_size(Path("out.bin")), 0u);
        out.write(ByteBuffer{1, 2, 3});
    }
    EXPECT_EQ(ReadFile("out.bin"), (ByteBuffer{1, 2, 3}));
}

TEST_F(FileStreamsTest, ModeOneAppendsAtTheEnd) {
    WriteFile("out.bin", ByteBuffer{1, 2, 3});
    {
        FileOutputStream out(WidePath("out.bin"), FileOutputStream::kAppendExisting);
        out.write(ByteBuffer{4, 5});
    }
    EXPECT_EQ(ReadFile("out.bin"), (ByteBuffer{1, 2, 3, 4, 5}));
}

TEST_F(FileStreamsTest, ModeOneOnAMissingFileFailsWithTheOpenMessage) {
    const auto e = Thrown([&] { FileOutputStream out(WidePath("missing.bin"), 1); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::string(e->what()), "Failed to open file input stream" + Path("missing.bin"));
    EXPECT_EQ(e->GetCode(), ENOENT);
    EXPECT_FALSE(fs::exists(Path("missing.bin")));
}

TEST_F(FileStreamsTest, ModeTwoOnAnExistingFileFailsBeforeTouchingIt) {
    const ByteBuffer data = Pattern(100);
    WriteFile("out.bin", data);
    const auto before = fs::last_write_time(Path("out.bin"));
    const auto e = Thrown([&] { FileOutputStream out(WidePath("out.bin"), 2); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::string(e->what()), "File output stream file already exists" + Path("out.bin"));
    EXPECT_EQ(e->GetCode(), 0);
    EXPECT_EQ(ReadFile("out.bin"), data);
    EXPECT_EQ(fs::last_write_time(Path("out.bin")), before);
}

TEST_F(FileStreamsTest, ModeTwoOnAMissingFileCreatesIt) {
    {
        FileOutputStream out(WidePath("new.bin"), FileOutputStream::kCreateNew);
        out.write(ByteBuffer{9, 8});
    }
    EXPECT_EQ(ReadFile("new.bin"), (ByteBuffer{9, 8}));
}

TEST_F(FileStreamsTest, ModeTwoInAMissingFolderFailsWithTheOpensErrno) {
    const auto e = Thrown([&] { FileOutputStream out(WidePath("no-such-folder/x.bin"), 2); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::string(e->what()),
              "Failed to open file input stream" + Path("no-such-folder/x.bin"));
    // The code is the open's, not the later look-up's; Windows' exclusive make gives EACCES.
#ifdef _WIN32
    EXPECT_EQ(e->GetCode(), EACCES);
#else
    EXPECT_EQ(e->GetCode(), ENOENT);
#endif
}

TEST_F(FileStreamsTest, ModeTwoRefusesALinkThatLeadsNowhereRatherThanWriteThroughIt) {
    // The link is no file to the existence test; the open, made exclusively, still refuses it.
    if (!testfiles::MakeLink(Path("elsewhere.bin"), Path("link.bin"))) {
        GTEST_SKIP() << "no symbolic links here";
    }
    const auto e = Thrown([&] { FileOutputStream out(WidePath("link.bin"), 2); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::string(e->what()), "Failed to open file input stream" + Path("link.bin"));
    EXPECT_EQ(e->GetCode(), EEXIST);
    EXPECT_FALSE(fs::exists(Path("elsewhere.bin")));
}

TEST_F(FileStreamsTest, OutputOpenFailureCarriesErrnoAndThePath) {
    const auto e = Thrown([&] { FileOutputStream out(WidePath("no-such-folder/x.bin"), 0); });
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::string(e->what()),
              "Failed to open file input stream" + Path("no-such-folder/x.bin"));
    EXPECT_EQ(e->GetCode(), ENOENT);
}

TEST_F(FileStreamsTest, WriteAfterCloseThrows) {
    FileOutputStream out(WidePath("out.bin"), 0);
    out.write(ByteBuffer{1});
    out.close();
    const auto e = Thrown([&] { out.write(ByteBuffer{2}); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "File output stream already closed");
    EXPECT_EQ(e->GetCode(), 0);
    EXPECT_EQ(ReadFile("out.bin"), (ByteBuffer{1}));
}

TEST_F(FileStreamsTest, SeekAfterCloseThrows) {
    FileOutputStream out(WidePath("out.bin"), 0);
    out.close();
    const auto e = Thrown([&] { out.seek(0); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "File output stream already closed");
}

TEST_F(FileStreamsTest, FlushAfterCloseThrows) {
    FileOutputStream out(WidePath("out.bin"), 0);
    out.close();
    const auto e = Thrown([&] { out.flush(); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "File output stream already closed");
}

TEST_F(FileStreamsTest, FlushPutsTheBytesInTheFile) {
    FileOutputStream out(WidePath("out.bin"), 0);
    out.write(ByteBuffer{1, 2, 3, 4});
    out.flush();
    EXPECT_EQ(ReadFile("out.bin"), (ByteBuffer{1, 2, 3, 4}));
}

TEST_F(FileStreamsTest, OutputSeekOverwritesInPlace) {
    {
        FileOutputStream out(WidePath("out.bin"), 0);
        out.write(ByteBuffer{1, 2, 3, 4, 5});
        out.seek(1);
        out.write(ByteBuffer{9, 9});
    }
    EXPECT_EQ(ReadFile("out.bin"), (ByteBuffer{1, 9, 9, 4, 5}));
}

#ifndef _WIN32  // a pipe by path through /proc
TEST_F(FileStreamsTest, OutputSeekOnAPipeThrows) {
    Pipe pipe;
    FileOutputStream out(pipe.WritePath(), 0);
    const auto e = Thrown([&] { out.seek(0); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "Failed to seek to desired position");
    EXPECT_EQ(e->GetCode(), 0);
}
#endif

TEST_F(FileStreamsTest, WriteThatCannotCompleteThrowsWithTheErrorIndicator) {
    FileOutputStream out(u"/dev/full", 0);
    const ByteBuffer data = Pattern(1 << 20);
    const auto e = Thrown([&] { out.write(data); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "Failed to write all data to file outptu stream");
    EXPECT_NE(e->GetCode(), 0);
}

TEST_F(FileStreamsTest, CommitPutsTheBytesInTheFileAndClosesIt) {
    FileOutputStream out(WidePath("out.bin"), 0);
    out.write(ByteBuffer{1, 2, 3, 4});
    out.commit(true);
    EXPECT_EQ(ReadFile("out.bin"), (ByteBuffer{1, 2, 3, 4}));
    const auto e = Thrown([&] { out.write(ByteBuffer{5}); });
    ASSERT_TRUE(e.has_value());
    EXPECT_STREQ(e->what(), "File output stream already closed");
}

TEST_F(FileStreamsTest, CommitThrowsForAFullDiskWhetherOrNotItForcesTheDisk) {
    for (const bool toDisk : {true, false}) {
        SCOPED_TRACE(toDisk);
        FileOutputStream out(u"/dev/full", 0);
        // Small enough to stay in the C library's buffer until it is written out.
        out.write(ByteBuffer{1, 2, 3, 4});
        const auto e = Thrown([&] { out.commit(toDisk); });
        ASSERT_TRUE(e.has_value());
        EXPECT_STREQ(e->what(), "Failed to write file output stream to disk");
        EXPECT_EQ(e->GetCode(), ENOSPC);
        // Closed all the same.
        EXPECT_TRUE(Thrown([&] { out.flush(); }).has_value());
    }
}

TEST_F(FileStreamsTest, CommitThrowsForAFailureThatFlushLetPass) {
    for (const bool toDisk : {true, false}) {
        SCOPED_TRACE(toDisk);
        FileOutputStream out(u"/dev/full", 0);
        out.write(ByteBuffer{1, 2, 3, 4});
        EXPECT_FALSE(Thrown([&] { out.flush(); }).has_value());
        const auto e = Thrown([&] { out.commit(toDisk); });
        ASSERT_TRUE(e.has_value());
        EXPECT_STREQ(e->what(), "Failed to write file output stream to disk");
    }
}

#ifndef _WIN32  // a pipe by path through /proc
TEST_F(FileStreamsTest, CommitOnAPipeWhichHasNoDiskSucceeds) {
    Pipe pipe;
    FileOutputStream out(pipe.WritePath(), 0);
    out.write(ByteBuffer{7, 8});
    out.commit(true);
    uint8_t got[2] = {};
    ASSERT_EQ(::read(pipe.ends[0], got, 2), 2);
    EXPECT_EQ(got[0], 7);
    EXPECT_EQ(got[1], 8);
}
#endif
