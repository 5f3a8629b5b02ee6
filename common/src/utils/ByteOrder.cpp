// ByteOrder.cpp: little- and big-endian values read and written byte by byte, as the archive
// records hold them; a pointer may be unaligned, and a null one does nothing or gives 0.
#include "common/CUtils.h"

namespace {

template <typename Value> void WriteLittle(uint8_t* target, Value value) {
    if (target == nullptr) {
        return;
    }
    for (size_t i = 0; i < sizeof(Value); ++i) {
        target[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

template <typename Value> Value ReadLittle(const uint8_t* source) {
    if (source == nullptr) {
        return 0;
    }
    Value value = 0;
    for (size_t i = 0; i < sizeof(Value); ++i) {
        value |= static_cast<Value>(static_cast<Value>(source[i]) << (8 * i));
    }
    return value;
}

}  // namespace

void CUtils::WriteLE64(uint8_t* target, uint64_t value) { WriteLittle(target, value); }
void CUtils::WriteLE32(uint8_t* target, uint32_t value) { WriteLittle(target, value); }
void CUtils::WriteLE16(uint8_t* target, uint16_t value) { WriteLittle(target, value); }

void CUtils::WriteBE32(uint8_t* target, uint32_t value) {
    if (target == nullptr) {
        return;
    }
    for (size_t i = 0; i < 4; ++i) {
        target[i] = static_cast<uint8_t>(value >> (8 * (3 - i)));
    }
}

uint64_t CUtils::ReadLE64(const uint8_t* source) { return ReadLittle<uint64_t>(source); }
uint32_t CUtils::ReadLE32(const uint8_t* source) { return ReadLittle<uint32_t>(source); }
uint16_t CUtils::ReadLE16(const uint8_t* source) { return ReadLittle<uint16_t>(source); }

uint32_t CUtils::ReadBE32(const uint8_t* source) {
    if (source == nullptr) {
        return 0;
    }
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) {
        value = (value << 8) | source[i];
    }
    return value;
}
