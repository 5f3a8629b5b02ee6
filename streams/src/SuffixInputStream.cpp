// SuffixInputStream.cpp: passes a source on but holds back its last bytes as a suffix.
#include "common/OVException.h"
#include "streams/InputStream.h"

#include <algorithm>
#include <cstring>

SuffixInputStream::SuffixInputStream(std::unique_ptr<InputStream> source, uint32_t suffixLength)
    : FilterInputStream(std::move(source)), front(suffixLength), spare(suffixLength),
      suffixLength(suffixLength) {}

SuffixInputStream::~SuffixInputStream() {
    // The suffix may be key-derived material; volatile keeps the zeroing from being dropped.
    for (ByteBuffer* held : {&front, &spare}) {
        volatile uint8_t* bytes = held->data();
        for (size_t i = 0; i < held->size(); ++i) {
            bytes[i] = 0;
        }
    }
}

int64_t SuffixInputStream::read(uint8_t* buffer, int64_t length) {
    const int64_t hold = suffixLength;
    if (!primed) {
        if (source->read(front.data(), hold) != hold) {
            throw OVException("Stream is too short to get whole suffix");
        }
        primed = true;
    }
    const int64_t got = source->read(buffer, length);
    if (got < 1) {
        return got;
    }
    if (got < hold) {
        // Give the oldest held bytes, then hold the new ones behind the rest.
        std::memcpy(spare.data(), buffer, static_cast<size_t>(got));
        std::memcpy(buffer, front.data(), static_cast<size_t>(got));
        std::memmove(front.data(), front.data() + got, static_cast<size_t>(hold - got));
        std::memcpy(front.data() + (hold - got), spare.data(), static_cast<size_t>(got));
    } else {
        // The last new bytes become the held tail; the old tail goes in front of the rest.
        if (hold > 0) {
            std::memcpy(spare.data(), buffer + (got - hold), static_cast<size_t>(hold));
            std::memmove(buffer + hold, buffer, static_cast<size_t>(got - hold));
            std::memcpy(buffer, front.data(), static_cast<size_t>(hold));
        }
        front.swap(spare);
    }
    return got;
}

int64_t SuffixInputStream::skip(int64_t count) {
    if (count >= 0) {
        return InputStream::skip(count);
    }
    // The held tail is ahead of what the caller has seen, so step back over it as well and fill
    // it again at the next read.
    const int64_t moved = source->skip(count - suffixLength);
    primed = false;
    return moved + suffixLength;
}

void SuffixInputStream::reset() {
    InputStream::reset();
    primed = false;
}

const uint8_t* SuffixInputStream::getSuffix(uint32_t* length) const {
    if (length != nullptr) {
        *length = suffixLength;
    }
    return front.data();
}
