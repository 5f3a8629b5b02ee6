// StreamTestSupport.h: stand-in streams for the tests of the stream library and of what is built
// on it: a source that delivers in chunks and records how it is asked, a sink that records what
// reaches it, and reading a stream to its end. Where plain bytes in memory are enough, tests take
// the library's MemoryInputStream and MemoryOutputStream instead.
#pragma once

#include "streams/InputStream.h"
#include "streams/OutputStream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace streamtest {

// A source over `data` that records the calls it gets and delivers at most `maxChunk` bytes a
// read (no limit at 0). With `seekable` it also skips both ways and resets; without, it keeps the
// root's skip (reading through) and reset (throwing), as a pipe would.
class ScriptedInputStream : public InputStream {
public:
    explicit ScriptedInputStream(ByteBuffer data, int64_t maxChunk = 0, bool seekable = false)
        : data(std::move(data)), maxChunk(maxChunk), seekable(seekable) {}
    ~ScriptedInputStream() override {
        if (destroyed != nullptr) {
            *destroyed = true;
        }
    }

    int64_t read(uint8_t* buffer, int64_t length) override {
        ++readCalls;
        asked.push_back(length);
        const int64_t left = static_cast<int64_t>(data.size()) - position;
        if (length > 0 && left == 0) {
            return -1;
        }
        int64_t take = std::min(length, left);
        if (maxChunk > 0) {
            take = std::min(take, maxChunk);
        }
        if (take > 0) {
            std::memcpy(buffer, data.data() + position, static_cast<size_t>(take));
        }
        position += take;
        return take;
    }
    using InputStream::read;
    void close() override { ++closeCalls; }
    int64_t skip(int64_t count) override {
        if (!seekable) {
            return InputStream::skip(count);
        }
        const int64_t target =
            std::clamp<int64_t>(position + count, 0, static_cast<int64_t>(data.size()));
        const int64_t moved = target - position;
        position = target;
        return moved;
    }
    int64_t available() override { return static_cast<int64_t>(data.size()) - position; }
    void reset() override {
        if (!seekable) {
            InputStream::reset();
        }
        ++resetCalls;
        position = 0;
    }

    ByteBuffer data;
    int64_t maxChunk;
    bool seekable;
    int64_t position = 0;
    int readCalls = 0;
    int closeCalls = 0;
    int resetCalls = 0;
    std::vector<int64_t> asked;  // the length of every read, in order
    bool* destroyed = nullptr;   // set true by the destructor when given
};

// A sink that keeps what is written in `data` and counts the calls it gets.
class RecordingOutputStream : public OutputStream {
public:
    ~RecordingOutputStream() override {
        if (destroyed != nullptr) {
            *destroyed = true;
        }
    }
    void write(const uint8_t* buffer, int64_t length) override {
        data.insert(data.end(), buffer, buffer + length);
        ++writeCalls;
    }
    using OutputStream::write;
    void close() override { ++closeCalls; }
    void flush() override { ++flushCalls; }

    ByteBuffer data;
    int writeCalls = 0;
    int closeCalls = 0;
    int flushCalls = 0;
    bool* destroyed = nullptr;  // set true by the destructor when given
};

// Everything `stream` delivers up to its end, read `chunk` bytes at a time.
inline ByteBuffer ReadAll(InputStream& stream, int64_t chunk = 4096) {
    ByteBuffer all;
    ByteBuffer buffer(static_cast<size_t>(chunk));
    for (;;) {
        const int64_t got = stream.read(buffer.data(), chunk);
        if (got < 0) {
            break;
        }
        all.insert(all.end(), buffer.begin(), buffer.begin() + got);
    }
    return all;
}

}  // namespace streamtest
