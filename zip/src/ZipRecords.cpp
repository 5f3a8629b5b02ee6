// ZipRecords.cpp: walking the extra blocks of a record, and reading a run of bytes.
#include "ZipRecords.h"

namespace ziprecords {

std::optional<ExtraBlock> FindExtraBlock(const uint8_t* extra, size_t extraLength, uint16_t id) {
    size_t at = 0;
    while (at + ExtraBlockHeader::kSize <= extraLength) {
        const uint16_t blockId = ReadField(extra + at, ExtraBlockHeader::Id);
        const uint16_t size = ReadField(extra + at, ExtraBlockHeader::Size);
        const uint8_t* data = extra + at + ExtraBlockHeader::kSize;
        if (at + ExtraBlockHeader::kSize + size > extraLength) {
            break;
        }
        if (blockId == id) {
            return ExtraBlock{blockId, data, size};
        }
        at += ExtraBlockHeader::kSize + size;
    }
    return std::nullopt;
}

int64_t ReadFully(InputStream& stream, uint8_t* buffer, int64_t length) {
    int64_t total = 0;
    while (total < length) {
        const int64_t got = stream.read(buffer + total, length - total);
        if (got <= 0) {
            break;
        }
        total += got;
    }
    return total;
}

}  // namespace ziprecords
