// PartialInputStream.cpp: a window of fixed length over a source, starting at an offset.
#include "common/OVException.h"
#include "streams/InputStream.h"

#include <algorithm>

PartialInputStream::PartialInputStream(std::unique_ptr<InputStream> source, int64_t length,
                                       int64_t offset)
    : FilterInputStream(std::move(source)), offset(offset), length(length) {
    moveToWindow();
}

PartialInputStream::PartialInputStream(InputStream& source, int64_t length, int64_t offset)
    : FilterInputStream(source), offset(offset), length(length) {
    moveToWindow();
}

void PartialInputStream::moveToWindow() {
    // The offset counts from wherever the source stands now; callers rewind it first.
    if (source->skip(offset) != offset) {
        throw OVException("Failed to reset partial input stream");
    }
    position = 0;
}

int64_t PartialInputStream::read(uint8_t* buffer, int64_t length) {
    const int64_t allowed = std::min(length, this->length - position);
    if (allowed <= 0) {
        return -1;
    }
    const int64_t got = source->read(buffer, allowed);
    if (got > 0) {
        position += got;
    }
    return got;
}

int64_t PartialInputStream::skip(int64_t count) {
    // Limited both ways so that a skip never leaves the window.
    const int64_t limited =
        count >= 0 ? std::min(count, length - position) : std::max(count, -position);
    const int64_t moved = source->skip(limited);
    position += moved;
    return moved;
}

int64_t PartialInputStream::available() { return std::min(source->available(), length - position); }

void PartialInputStream::reset() {
    source->reset();
    moveToWindow();
}
