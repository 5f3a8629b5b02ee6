// MemoryStreams.cpp: streams over bytes in memory.
#include "streams/MemoryStreams.h"

#include <algorithm>
#include <cstring>

int64_t MemoryInputStream::read(uint8_t* buffer, int64_t length) {
    const int64_t left = static_cast<int64_t>(bytes.size()) - position;
    if (left <= 0) {
        return length > 0 ? -1 : 0;
    }
    const int64_t count = std::clamp<int64_t>(length, 0, left);
    std::memcpy(buffer, bytes.data() + position, static_cast<size_t>(count));
    position += count;
    return count;
}

int64_t MemoryInputStream::skip(int64_t count) {
    const int64_t size = static_cast<int64_t>(bytes.size());
    position = count < 0 ? position + std::max(count, -position)
                         : position + std::min(count, size - position);
    return position;
}

int64_t MemoryInputStream::seek(int64_t target) {
    position = std::clamp<int64_t>(target, 0, static_cast<int64_t>(bytes.size()));
    return position;
}

void MemoryOutputStream::write(const uint8_t* buffer, int64_t length) {
    if (length > 0) {
        bytes.insert(bytes.end(), buffer, buffer + length);
    }
}
