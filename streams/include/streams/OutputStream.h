// OutputStream.h: the output roots of the stream library and the counting filter.
//
// A filter either owns its sink (given as a unique_ptr) or borrows it (a reference). A filter's
// destructor destroys an owned sink without closing or flushing it on its own account; streams
// that buffer flush in their own destructors.
#pragma once

#include "streams/InputStream.h"

#include <cstdint>
#include <memory>

class OutputStream {
public:
    virtual ~OutputStream() = default;

    virtual void write(const uint8_t* buffer, int64_t length) = 0;
    virtual void close() {}
    virtual void flush() {}

    void write(const ByteBuffer& buffer) {
        write(buffer.data(), static_cast<int64_t>(buffer.size()));
    }
};

class FilterOutputStream : public OutputStream {
public:
    explicit FilterOutputStream(std::unique_ptr<OutputStream> sink);
    explicit FilterOutputStream(OutputStream& sink);

    void close() override;
    void flush() override;

    OutputStream& getSink() { return *sink; }

protected:
    OutputStream* sink;

private:
    std::unique_ptr<OutputStream> ownedSink;
};

// Counts the bytes written through it.
class CountingOutputStream : public FilterOutputStream {
public:
    using FilterOutputStream::FilterOutputStream;

    void write(const uint8_t* buffer, int64_t length) override;
    using OutputStream::write;
    virtual uint64_t getCount() const { return count; }

private:
    uint64_t count = 0;
};
