// ZipRecords.cpp: walking the extra blocks of a record, reading a run of bytes, and the present
// time as a member's stamp.
#include "ZipRecords.h"

#include "ZipPort.h"

#include <ctime>

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

uint64_t PresentDosStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    zipport::LocalTime(now, local);
    const uint32_t date = static_cast<uint32_t>(((local.tm_year - 80) << 9) |
                                                ((local.tm_mon + 1) << 5) | local.tm_mday);
    const uint32_t time =
        static_cast<uint32_t>((local.tm_hour << 11) | (local.tm_min << 5) | (local.tm_sec / 2));
    return DosStamp(static_cast<uint16_t>(time), static_cast<uint16_t>(date));
}

}  // namespace ziprecords
