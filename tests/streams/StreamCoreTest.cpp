// StreamCoreTest.cpp: the stream roots, the window, the suffix filter and the counting sink.
#include "StreamTestSupport.h"
#include "common/OVException.h"
#include "streams/InputStream.h"
#include "streams/OutputStream.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using streamtest::RecordingOutputStream;
using streamtest::ScriptedInputStream;

ByteBuffer Pattern(size_t size) {
    ByteBuffer data(size);
    for (size_t i = 0; i < size; ++i)
        data[i] = static_cast<uint8_t>((i * 7 + 3) & 0xFF);
    return data;
}

// Runs `body` and returns the message of the OVException it throws, or "" when it throws none.
template <typename Body> std::string ThrownMessage(Body body) {
    try {
        body();
    } catch (const OVException& e) {
        return e.what();
    }
    return "";
}

ByteBuffer Slice(const ByteBuffer& data, size_t from, size_t count) {
    return ByteBuffer(data.begin() + static_cast<std::ptrdiff_t>(from),
                      data.begin() + static_cast<std::ptrdiff_t>(from + count));
}

// Reads a suffix stream to its end with the read sizes `nextSize` gives.
template <typename NextSize> ByteBuffer ReadAll(SuffixInputStream& stream, NextSize nextSize) {
    ByteBuffer out;
    for (;;) {
        ByteBuffer chunk;
        const int64_t got = stream.read(chunk, nextSize());
        if (got < 0)
            break;
        out.insert(out.end(), chunk.begin(), chunk.end());
    }
    return out;
}

ByteBuffer SuffixOf(const SuffixInputStream& stream) {
    uint32_t length = 0;
    const uint8_t* suffix = stream.getSuffix(&length);
    return ByteBuffer(suffix, suffix + length);
}

}  // namespace

// ---- Root behaviour ----

TEST(InputStreamRoot, ReadIntoBufferOfZeroReturnsZeroAndDoesNotTouchTheSource) {
    ScriptedInputStream source(Pattern(10));
    ByteBuffer buffer(5, 0xAA);
    EXPECT_EQ(source.read(buffer, 0), 0);
    EXPECT_EQ(source.readCalls, 0);
    EXPECT_TRUE(buffer.empty());
}

TEST(InputStreamRoot, ReadIntoBufferResizesToWhatCame) {
    ScriptedInputStream source(Pattern(10), 4);
    ByteBuffer buffer;
    EXPECT_EQ(source.read(buffer, 8), 4);
    EXPECT_EQ(buffer, Slice(Pattern(10), 0, 4));
    EXPECT_EQ(source.asked, std::vector<int64_t>{8});
    EXPECT_EQ(source.read(buffer, 100), 4);
    EXPECT_EQ(buffer, Slice(Pattern(10), 4, 4));
}

TEST(InputStreamRoot, ReadIntoBufferAtTheEndEmptiesItAndReturnsMinusOne) {
    ScriptedInputStream source(ByteBuffer{});
    ByteBuffer buffer(3, 1);
    EXPECT_EQ(source.read(buffer, 16), -1);
    EXPECT_TRUE(buffer.empty());
}

TEST(InputStreamRoot, TimedReadBelowOneForwardsToThePlainRead) {
    ScriptedInputStream source(Pattern(10));
    uint8_t buffer[10] = {};
    EXPECT_EQ(source.read(buffer, 10, 0), 10);
    EXPECT_EQ(ByteBuffer(buffer, buffer + 10), Pattern(10));
    EXPECT_EQ(source.readCalls, 1);
}

TEST(InputStreamRoot, TimedReadOfOneOrMoreThrows) {
    ScriptedInputStream source(Pattern(10));
    uint8_t buffer[10] = {};
    EXPECT_EQ(ThrownMessage([&] { source.read(buffer, 10, 1); }),
              "Timeout read not implemented by current stream class");
    EXPECT_EQ(source.readCalls, 0);
}

TEST(InputStreamRoot, CloseAndAvailableDoNothingInTheRoot) {
    struct Bare : InputStream {
        int64_t read(uint8_t*, int64_t) override { return -1; }
    } bare;
    bare.close();
    EXPECT_EQ(bare.available(), 0);
}

TEST(InputStreamRoot, SkipReadsThroughInChunksOf65536) {
    ScriptedInputStream source(Pattern(300000));
    EXPECT_EQ(source.skip(200000), 200000);
    EXPECT_EQ(source.asked, (std::vector<int64_t>{65536, 65536, 65536, 3392}));
    EXPECT_EQ(source.position, 200000);
}

TEST(InputStreamRoot, SkipGoesOnOverShortReads) {
    ScriptedInputStream source(Pattern(100), 7);
    EXPECT_EQ(source.skip(50), 50);
    EXPECT_EQ(source.position, 50);
}

TEST(InputStreamRoot, SkipPastTheEndReturnsWhatWasPassedOver) {
    ScriptedInputStream source(Pattern(1000));
    EXPECT_EQ(source.skip(5000), 1000);
    EXPECT_EQ(source.skip(10), 0);
}

TEST(InputStreamRoot, SkipOfZeroReadsNothing) {
    ScriptedInputStream source(Pattern(10));
    EXPECT_EQ(source.skip(0), 0);
    EXPECT_EQ(source.readCalls, 0);
}

TEST(InputStreamRoot, NegativeSkipThrows) {
    ScriptedInputStream source(Pattern(10));
    EXPECT_EQ(ThrownMessage([&] { source.skip(-1); }), "Invalid negative skip");
    EXPECT_EQ(source.readCalls, 0);
}

TEST(InputStreamRoot, ResetThrows) {
    ScriptedInputStream source(Pattern(10));
    EXPECT_EQ(ThrownMessage([&] { source.reset(); }),
              "Reset is not implemented by the subclass of InputStream");
}

TEST(InputStreamTransfer, LengthZeroMovesNothingAndReturnsZero) {
    ScriptedInputStream source(Pattern(10));
    RecordingOutputStream sink;
    EXPECT_EQ(source.transfer(sink, 0), 0);
    EXPECT_EQ(source.readCalls, 0);
    EXPECT_EQ(sink.writeCalls, 0);
}

TEST(InputStreamTransfer, UntilTheEndOverAnEmptySourceReturnsZero) {
    ScriptedInputStream source(ByteBuffer{});
    RecordingOutputStream sink;
    EXPECT_EQ(source.transfer(sink, -1), 0);
    EXPECT_TRUE(sink.data.empty());
    EXPECT_EQ(sink.writeCalls, 0);
}

TEST(InputStreamTransfer, KnownLengthMovesExactlyThatInChunks) {
    ScriptedInputStream source(Pattern(200000));
    RecordingOutputStream sink;
    EXPECT_EQ(source.transfer(sink, 100000), 100000);
    EXPECT_EQ(source.asked, (std::vector<int64_t>{65536, 34464}));
    EXPECT_EQ(sink.data, Slice(Pattern(200000), 0, 100000));
}

TEST(InputStreamTransfer, KnownLengthOverAShortSourceThrows) {
    ScriptedInputStream source(Pattern(10));
    RecordingOutputStream sink;
    EXPECT_EQ(ThrownMessage([&] { source.transfer(sink, 20); }), "transfer error");
    EXPECT_TRUE(sink.data.empty());
}

TEST(InputStreamTransfer, KnownLengthOverShortReadsThrows) {
    ScriptedInputStream source(Pattern(1000), 100);
    RecordingOutputStream sink;
    EXPECT_EQ(ThrownMessage([&] { source.transfer(sink, 1000); }), "transfer error");
}

TEST(InputStreamTransfer, UntilTheEndGoesOnOverShortReads) {
    const ByteBuffer data = Pattern(150000);
    ScriptedInputStream source(data, 1000);
    RecordingOutputStream sink;
    EXPECT_EQ(source.transfer(sink, -1), 150000);
    EXPECT_EQ(sink.data, data);
    EXPECT_EQ(sink.writeCalls, 150);
}

TEST(InputStreamTransfer, UntilTheEndOverLargeSourceMovesEverything) {
    const ByteBuffer data = Pattern(140000);
    ScriptedInputStream source(data);
    RecordingOutputStream sink;
    EXPECT_EQ(source.transfer(sink, -5), 140000);
    EXPECT_EQ(sink.data, data);
}

// ---- PartialInputStream ----

TEST(PartialInputStream, LengthZeroReturnsEndAtFirstReadWithoutReadingTheSource) {
    ScriptedInputStream source(Pattern(10));
    PartialInputStream window(source, 0, 0);
    uint8_t buffer[4] = {};
    EXPECT_EQ(window.read(buffer, 4), -1);
    EXPECT_EQ(source.readCalls, 0);
}

TEST(PartialInputStream, ReadsOnlyTheWindow) {
    const ByteBuffer data = Pattern(100);
    ScriptedInputStream source(data);
    PartialInputStream window(source, 20, 30);
    ByteBuffer buffer;
    EXPECT_EQ(window.read(buffer, 100), 20);
    EXPECT_EQ(buffer, Slice(data, 30, 20));
    EXPECT_EQ(source.asked.back(), 20);
    EXPECT_EQ(window.read(buffer, 100), -1);
}

TEST(PartialInputStream, OffsetCountsFromTheSourcesPresentPosition) {
    const ByteBuffer data = Pattern(100);
    ScriptedInputStream source(data, 0, true);
    source.position = 10;
    PartialInputStream window(source, 5, 20);
    ByteBuffer buffer;
    EXPECT_EQ(window.read(buffer, 10), 5);
    EXPECT_EQ(buffer, Slice(data, 30, 5));
}

TEST(PartialInputStream, ShortReadsOfTheSourceAreReturnedAsTheyStand) {
    const ByteBuffer data = Pattern(100);
    ScriptedInputStream source(data, 3);
    PartialInputStream window(source, 10, 0);
    ByteBuffer buffer;
    EXPECT_EQ(window.read(buffer, 8), 3);
    EXPECT_EQ(window.available(), 7);
    EXPECT_EQ(window.read(buffer, 8), 3);
    EXPECT_EQ(window.read(buffer, 8), 3);
    EXPECT_EQ(window.read(buffer, 8), 1);
    EXPECT_EQ(buffer, Slice(data, 9, 1));
    EXPECT_EQ(window.read(buffer, 8), -1);
}

TEST(PartialInputStream, SourceEndInsideTheWindowIsPassedOn) {
    ScriptedInputStream source(Pattern(10));
    PartialInputStream window(source, 50, 5);
    ByteBuffer buffer;
    EXPECT_EQ(window.read(buffer, 100), 5);
    EXPECT_EQ(window.read(buffer, 100), -1);
    EXPECT_EQ(window.available(), 0);
}

TEST(PartialInputStream, MoveToTheWindowOverAShortSourceThrows) {
    ScriptedInputStream source(Pattern(10));
    EXPECT_EQ(ThrownMessage([&] { PartialInputStream window(source, 5, 20); }),
              "Failed to reset partial input stream");
}

TEST(PartialInputStream, OwningFormClosesAndDestroysTheSource) {
    bool destroyed = false;
    auto source = std::make_unique<ScriptedInputStream>(Pattern(10));
    ScriptedInputStream* raw = source.get();
    source->destroyed = &destroyed;
    {
        PartialInputStream window(std::move(source), 4, 2);
        EXPECT_EQ(&window.getSource(), raw);
        ByteBuffer buffer;
        EXPECT_EQ(window.read(buffer, 10), 4);
        EXPECT_EQ(buffer, Slice(Pattern(10), 2, 4));
        EXPECT_FALSE(destroyed);
    }
    EXPECT_TRUE(destroyed);
}

TEST(PartialInputStream, BorrowingFormLeavesTheSourceOpenAndAlive) {
    bool destroyed = false;
    ScriptedInputStream source(Pattern(10));
    source.destroyed = &destroyed;
    { PartialInputStream window(source, 4, 2); }
    EXPECT_FALSE(destroyed);
    EXPECT_EQ(source.closeCalls, 0);
    source.destroyed = nullptr;
}

TEST(PartialInputStream, CloseForwardsToAnOwnedSource) {
    auto owned = std::make_unique<ScriptedInputStream>(Pattern(10));
    ScriptedInputStream& source = *owned;
    PartialInputStream window(std::move(owned), 4, 2);
    window.close();
    EXPECT_EQ(source.closeCalls, 1);
}

TEST(PartialInputStream, CloseLeavesABorrowedSourceOpen) {
    ScriptedInputStream source(Pattern(10));
    PartialInputStream window(source, 4, 2);
    window.close();
    EXPECT_EQ(source.closeCalls, 0);
}

TEST(FilterInputStream, ClosingAnOwnedChainStopsAtABorrowedSource) {
    ScriptedInputStream archive(Pattern(10));
    {
        auto window = std::make_unique<PartialInputStream>(archive, 4, 2);
        PartialInputStream outer(std::move(window), 2, 0);
        outer.close();
    }
    EXPECT_EQ(archive.closeCalls, 0);
}

TEST(PartialInputStream, SkipPastTheEndStopsAtTheEnd) {
    const ByteBuffer data = Pattern(100);
    ScriptedInputStream source(data, 0, true);
    PartialInputStream window(source, 20, 30);
    EXPECT_EQ(window.skip(5), 5);
    EXPECT_EQ(window.skip(1000), 15);
    EXPECT_EQ(source.position, 50);
    EXPECT_EQ(window.available(), 0);
    uint8_t buffer[4] = {};
    EXPECT_EQ(window.read(buffer, 4), -1);
}

TEST(PartialInputStream, NegativeSkipLargerThanPositionStopsAtTheWindowStart) {
    const ByteBuffer data = Pattern(100);
    ScriptedInputStream source(data, 0, true);
    PartialInputStream window(source, 20, 30);
    EXPECT_EQ(window.skip(8), 8);
    EXPECT_EQ(window.skip(-3), -3);
    EXPECT_EQ(window.skip(-1000), -5);
    EXPECT_EQ(source.position, 30);
    ByteBuffer buffer;
    EXPECT_EQ(window.read(buffer, 100), 20);
    EXPECT_EQ(buffer, Slice(data, 30, 20));
}

TEST(PartialInputStream, SkipMovesByWhatTheSourceReallyPassedOver) {
    ScriptedInputStream source(Pattern(10));
    PartialInputStream window(source, 50, 2);
    EXPECT_EQ(window.skip(30), 8);
    EXPECT_EQ(window.available(), 0);
}

TEST(PartialInputStream, AvailableIsTheSmallerOfSourceAndWindow) {
    ScriptedInputStream source(Pattern(100));
    PartialInputStream window(source, 20, 30);
    EXPECT_EQ(window.available(), 20);  // source has 70
    uint8_t buffer[15] = {};
    EXPECT_EQ(window.read(buffer, 15), 15);
    EXPECT_EQ(window.available(), 5);

    ScriptedInputStream shortSource(Pattern(40));
    PartialInputStream wide(shortSource, 20, 30);
    EXPECT_EQ(wide.available(), 10);  // source has 10
}

TEST(PartialInputStream, ResetResetsTheSourceAndMovesBackToTheWindow) {
    const ByteBuffer data = Pattern(100);
    ScriptedInputStream source(data, 0, true);
    PartialInputStream window(source, 20, 30);
    ByteBuffer buffer;
    EXPECT_EQ(window.read(buffer, 12), 12);
    window.reset();
    EXPECT_EQ(source.resetCalls, 1);
    EXPECT_EQ(source.position, 30);
    EXPECT_EQ(window.available(), 20);
    EXPECT_EQ(window.read(buffer, 100), 20);
    EXPECT_EQ(buffer, Slice(data, 30, 20));
}

TEST(PartialInputStream, ResetOverASourceWithoutResetThrows) {
    ScriptedInputStream source(Pattern(100));
    PartialInputStream window(source, 20, 30);
    EXPECT_EQ(ThrownMessage([&] { window.reset(); }),
              "Reset is not implemented by the subclass of InputStream");
}

TEST(PartialInputStream, ResetWhenTheSourceShrankThrows) {
    ScriptedInputStream source(Pattern(100), 0, true);
    PartialInputStream window(source, 20, 30);
    source.data.resize(10);
    EXPECT_EQ(ThrownMessage([&] { window.reset(); }), "Failed to reset partial input stream");
}

// ---- SuffixInputStream ----

TEST(SuffixInputStream, OverExactlyTheSuffixDeliversNothingAndReturnsTheSourcesEnd) {
    const ByteBuffer data = Pattern(10);
    auto owned = std::make_unique<ScriptedInputStream>(data);
    ScriptedInputStream* source = owned.get();
    SuffixInputStream stream(std::move(owned), 10);
    uint8_t buffer[16] = {};
    EXPECT_EQ(stream.read(buffer, 16), -1);
    EXPECT_EQ(source->asked, (std::vector<int64_t>{10, 16}));
    EXPECT_EQ(SuffixOf(stream), data);
}

TEST(SuffixInputStream, OverOneByteFewerThanTheSuffixThrowsAtTheFirstRead) {
    SuffixInputStream stream(std::make_unique<ScriptedInputStream>(Pattern(9)), 10);
    uint8_t buffer[16] = {};
    EXPECT_EQ(ThrownMessage([&] { stream.read(buffer, 16); }),
              "Stream is too short to get whole suffix");
}

TEST(SuffixInputStream, EmptySourceThrowsAtTheFirstRead) {
    SuffixInputStream stream(std::make_unique<ScriptedInputStream>(ByteBuffer{}), 10);
    uint8_t buffer[16] = {};
    EXPECT_EQ(ThrownMessage([&] { stream.read(buffer, 16); }),
              "Stream is too short to get whole suffix");
}

TEST(SuffixInputStream, ConstructionReadsNothing) {
    auto owned = std::make_unique<ScriptedInputStream>(Pattern(5));
    ScriptedInputStream* source = owned.get();
    SuffixInputStream stream(std::move(owned), 10);
    EXPECT_EQ(source->readCalls, 0);
}

TEST(SuffixInputStream, GetSuffixGivesTheSuffixLength) {
    SuffixInputStream stream(std::make_unique<ScriptedInputStream>(Pattern(5)), 7);
    uint32_t length = 0;
    EXPECT_NE(stream.getSuffix(&length), nullptr);
    EXPECT_EQ(length, 7u);
}

TEST(SuffixInputStream, EveryFixedReadSizeGivesThePlainSplit) {
    for (const uint32_t suffix : {1u, 2u, 5u, 10u, 16u}) {
        for (const size_t size : {size_t{0}, size_t{1}, size_t{3}, size_t{9}, size_t{10},
                                  size_t{11}, size_t{37}, size_t{100}, size_t{257}}) {
            const size_t total = size + suffix;
            const ByteBuffer data = Pattern(total);
            for (int64_t readSize = 1; readSize <= 4 * static_cast<int64_t>(suffix) + 3;
                 ++readSize) {
                SCOPED_TRACE("suffix " + std::to_string(suffix) + " body " + std::to_string(size) +
                             " read " + std::to_string(readSize));
                SuffixInputStream stream(std::make_unique<ScriptedInputStream>(data), suffix);
                EXPECT_EQ(ReadAll(stream, [&] { return readSize; }), Slice(data, 0, size));
                EXPECT_EQ(SuffixOf(stream), Slice(data, size, suffix));
            }
        }
    }
}

TEST(SuffixInputStream, RandomMixturesOfReadSizesGiveThePlainSplit) {
    std::mt19937 random(12345);
    for (int round = 0; round < 400; ++round) {
        const uint32_t suffix = 1 + random() % 24;
        const size_t size = random() % 600;
        const ByteBuffer data = Pattern(size + suffix + round);
        const size_t body = data.size() - suffix;
        // Short source reads that still fill the suffix at once.
        const int64_t maxChunk = round % 2 == 0 ? 0 : suffix + random() % 40;
        const int64_t largest = 1 + random() % (3 * suffix + 50);
        SCOPED_TRACE("round " + std::to_string(round));
        SuffixInputStream stream(std::make_unique<ScriptedInputStream>(data, maxChunk), suffix);
        const ByteBuffer got = ReadAll(stream, [&] {
            return static_cast<int64_t>(1 + random() % static_cast<uint32_t>(largest));
        });
        EXPECT_EQ(got, Slice(data, 0, body));
        EXPECT_EQ(SuffixOf(stream), Slice(data, body, suffix));
    }
}

TEST(SuffixInputStream, ReadReturnsWhatTheSourceGave) {
    const ByteBuffer data = Pattern(40);
    SuffixInputStream stream(std::make_unique<ScriptedInputStream>(data, 12), 10);
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 100), 12);
    EXPECT_EQ(buffer, Slice(data, 0, 12));
    EXPECT_EQ(stream.read(buffer, 3), 3);
    EXPECT_EQ(buffer, Slice(data, 12, 3));
}

TEST(SuffixInputStream, ForwardSkipPassesThroughReadAndKeepsTheSuffix) {
    const ByteBuffer data = Pattern(200);
    SuffixInputStream stream(std::make_unique<ScriptedInputStream>(data), 10);
    EXPECT_EQ(stream.skip(50), 50);
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 20), 20);
    EXPECT_EQ(buffer, Slice(data, 50, 20));
    EXPECT_EQ(stream.skip(1000), 120);
    EXPECT_EQ(SuffixOf(stream), Slice(data, 190, 10));
}

TEST(SuffixInputStream, NegativeSkipStepsBackAndPrimesAgain) {
    const ByteBuffer data = Pattern(100);
    auto owned = std::make_unique<ScriptedInputStream>(data, 0, true);
    ScriptedInputStream* source = owned.get();
    SuffixInputStream stream(std::move(owned), 10);
    ByteBuffer buffer;
    EXPECT_EQ(stream.read(buffer, 30), 30);
    EXPECT_EQ(source->position, 40);
    EXPECT_EQ(stream.skip(-5), -5);
    EXPECT_EQ(source->position, 25);
    EXPECT_EQ(stream.read(buffer, 10), 10);
    EXPECT_EQ(buffer, Slice(data, 25, 10));
    EXPECT_EQ(ReadAll(stream, [] { return int64_t{7}; }), Slice(data, 35, 55));
    EXPECT_EQ(SuffixOf(stream), Slice(data, 90, 10));
}

TEST(SuffixInputStream, NegativeSkipOverASourceWithoutSeekThrows) {
    SuffixInputStream stream(std::make_unique<ScriptedInputStream>(Pattern(100)), 10);
    ByteBuffer buffer;
    stream.read(buffer, 30);
    EXPECT_EQ(ThrownMessage([&] { stream.skip(-5); }), "Invalid negative skip");
}

TEST(SuffixInputStream, ResetThrowsEvenOverAResettableSource) {
    auto owned = std::make_unique<ScriptedInputStream>(Pattern(100), 0, true);
    ScriptedInputStream* source = owned.get();
    SuffixInputStream stream(std::move(owned), 10);
    EXPECT_EQ(ThrownMessage([&] { stream.reset(); }),
              "Reset is not implemented by the subclass of InputStream");
    EXPECT_EQ(source->resetCalls, 0);
}

TEST(SuffixInputStream, DestroyingItClosesAndDestroysTheSource) {
    bool destroyed = false;
    auto owned = std::make_unique<ScriptedInputStream>(Pattern(100));
    owned->destroyed = &destroyed;
    { SuffixInputStream stream(std::move(owned), 10); }
    EXPECT_TRUE(destroyed);
}

TEST(SuffixInputStream, AvailableIsTheRootsZero) {
    SuffixInputStream stream(std::make_unique<ScriptedInputStream>(Pattern(100)), 10);
    EXPECT_EQ(stream.available(), 0);
}

// ---- CountingOutputStream ----

TEST(CountingOutputStream, CountsAndForwardsEveryWrite) {
    RecordingOutputStream sink;
    CountingOutputStream counting(sink);
    EXPECT_EQ(counting.getCount(), 0u);
    const ByteBuffer data = Pattern(300);
    counting.write(data.data(), 100);
    counting.write(data.data() + 100, 0);
    counting.write(Slice(data, 100, 200));
    EXPECT_EQ(counting.getCount(), 300u);
    EXPECT_EQ(sink.data, data);
    EXPECT_EQ(sink.writeCalls, 3);
}

TEST(CountingOutputStream, CloseAndFlushGoToTheSink) {
    RecordingOutputStream sink;
    CountingOutputStream counting(sink);
    counting.flush();
    counting.close();
    EXPECT_EQ(sink.flushCalls, 1);
    EXPECT_EQ(sink.closeCalls, 1);
    EXPECT_EQ(&counting.getSink(), &sink);
}

TEST(CountingOutputStream, OwningFormDestroysTheSinkWithoutClosingIt) {
    bool destroyed = false;
    auto owned = std::make_unique<RecordingOutputStream>();
    RecordingOutputStream* sink = owned.get();
    owned->destroyed = &destroyed;
    {
        CountingOutputStream counting(std::move(owned));
        counting.write(Pattern(5));
        EXPECT_EQ(sink->closeCalls, 0);
        EXPECT_EQ(sink->flushCalls, 0);
    }
    EXPECT_TRUE(destroyed);
}

TEST(CountingOutputStream, BorrowingFormLeavesTheSinkUnclosed) {
    RecordingOutputStream sink;
    { CountingOutputStream counting(sink); }
    EXPECT_EQ(sink.closeCalls, 0);
    EXPECT_EQ(sink.flushCalls, 0);
}
