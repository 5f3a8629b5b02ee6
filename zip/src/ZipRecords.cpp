// ZipRecords.cpp: walking the extra blocks of a record.
#include "ZipRecords.h"

#include "common/CUtils.h"

namespace ziprecords {

std::optional<ExtraBlock> FindExtraBlock(const uint8_t* extra, size_t extraLength, uint16_t id) {
    size_t at = 0;
    while (at + 4 <= extraLength) {
        const uint16_t blockId = CUtils::ReadLE16(extra + at);
        const uint16_t size = CUtils::ReadLE16(extra + at + 2);
        if (at + 4 + size > extraLength)
            break;
        if (blockId == id)
            return ExtraBlock{blockId, extra + at + 4, size};
        at += 4 + size;
    }
    return std::nullopt;
}

}  // namespace ziprecords
