// StreamCore.cpp: the base behaviour of the stream roots and of the plain filters.
#include "common/OVException.h"
#include "streams/OutputStream.h"

#include <algorithm>

int64_t InputStream::read(ByteBuffer& buffer, int64_t maxLength) {
    buffer.resize(static_cast<size_t>(std::max<int64_t>(maxLength, 0)));
    if (maxLength <= 0) {
        return 0;
    }
    const int64_t got = read(buffer.data(), maxLength);
    buffer.resize(got >= 0 ? static_cast<size_t>(got) : 0);
    return got;
}

int64_t InputStream::read(uint8_t* buffer, int64_t length, int32_t timeout) {
    if (timeout < 1) {
        return read(buffer, length);
    }
    throw OVException("Timeout read not implemented by current stream class");
}

int64_t InputStream::skip(int64_t count) {
    if (count < 0) {
        throw OVException("Invalid negative skip");
    }
    uint8_t chunk[kChunk];
    int64_t remaining = count;
    while (remaining > 0) {
        const int64_t got = read(chunk, std::min(remaining, kChunk));
        if (got <= 0) {
            break;
        }
        remaining -= got;
    }
    return count - remaining;
}

void InputStream::reset() {
    throw OVException("Reset is not implemented by the subclass of InputStream");
}

int64_t InputStream::transfer(OutputStream& output, int64_t length) {
    constexpr int64_t kUntilEnd = INT64_MAX;
    int64_t limit = length < 0 ? kUntilEnd : length;
    uint8_t chunk[kChunk];
    while (limit > 0) {
        const int64_t asked = std::min(limit, kChunk);
        const int64_t got = read(chunk, asked);
        if (got < asked) {
            if (length >= 0) {
                throw OVException("transfer error");
            }
            // Until the end, a short read is no end: only nothing at all is.
            if (got < 1) {
                break;
            }
        }
        output.write(chunk, got);
        limit -= got;
    }
    return length < 0 ? kUntilEnd - limit : length;
}

FilterInputStream::FilterInputStream(std::unique_ptr<InputStream> source)
    : source(source.get()), ownedSource(std::move(source)) {}

FilterInputStream::FilterInputStream(InputStream& source) : source(&source) {}

FilterInputStream::~FilterInputStream() { FilterInputStream::close(); }

void FilterInputStream::close() {
    // A chain closes what it owns. A borrowed source stays open for its owner: the archive's
    // stream outlives each member read through a window on it.
    if (ownedSource) {
        ownedSource->close();
    }
}

FilterOutputStream::FilterOutputStream(std::unique_ptr<OutputStream> sink)
    : sink(sink.get()), ownedSink(std::move(sink)) {}

FilterOutputStream::FilterOutputStream(OutputStream& sink) : sink(&sink) {}

void FilterOutputStream::close() { sink->close(); }

void FilterOutputStream::flush() { sink->flush(); }

void CountingOutputStream::write(const uint8_t* buffer, int64_t length) {
    sink->write(buffer, length);
    count += static_cast<uint64_t>(length);
}
