// HashStreams.cpp: stream filters that feed a hash with every byte passing through.
#include "streams/Hash.h"

HashInputStream::HashInputStream(std::unique_ptr<InputStream> source, std::unique_ptr<MHash> hash)
    : FilterInputStream(std::move(source)), hash(std::move(hash)) {}

int64_t HashInputStream::read(uint8_t* buffer, int64_t length) {
    const int64_t got = source->read(buffer, length);
    if (got >= 1) {
        hash->update(buffer, got);
    }
    return got;
}

void HashInputStream::reset() {
    hash->reset();
    source->reset();
}

HashOutputStream::HashOutputStream(std::unique_ptr<OutputStream> sink, std::unique_ptr<MHash> hash)
    : FilterOutputStream(std::move(sink)), hash(std::move(hash)) {}

void HashOutputStream::write(const uint8_t* buffer, int64_t length) {
    hash->update(buffer, length);
    sink->write(buffer, length);
}
