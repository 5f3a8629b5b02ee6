// MemoryStreams.h: streams over bytes in memory, for archives read from a buffer and for tests.
#pragma once

#include "streams/OutputStream.h"

#include <cstdint>
#include <utility>

// Reads a buffer it owns; seekable, resettable.
class MemoryInputStream : public SeekableInputStream {
public:
    explicit MemoryInputStream(ByteBuffer bytes) : bytes(std::move(bytes)) {}

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;
    // Moves by `count`, limited to the buffer; returns the position reached, as a file does.
    int64_t skip(int64_t count) override;
    int64_t available() override { return static_cast<int64_t>(bytes.size()) - position; }
    void reset() override { position = 0; }
    int64_t seek(int64_t target) override;

private:
    ByteBuffer bytes;
    int64_t position = 0;
};

// Collects what is written.
class MemoryOutputStream : public OutputStream {
public:
    void write(const uint8_t* buffer, int64_t length) override;
    using OutputStream::write;

    const ByteBuffer& getBytes() const { return bytes; }
    // Hands over what was written, leaving the stream empty.
    ByteBuffer takeBytes() { return std::exchange(bytes, {}); }

private:
    ByteBuffer bytes;
};
