// GSGuid.cpp: GS::Guid's text form and the making of new identifiers.
#include "hostkit/GSGuid.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <random>

namespace GS {

const Guid NULLGuid;

namespace {

// The 16 bytes in the text's order: time_low, time_mid and time_hi_and_version as numbers (most
// significant digit first), then the clock sequence and the node byte by byte.
std::array<uint8_t, 16> TextOrderBytes(const API_Guid& guid) {
    std::array<uint8_t, 16> bytes{};
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(guid.time_low >> (8 * (3 - i)));
    }
    bytes[4] = static_cast<uint8_t>(guid.time_mid >> 8);
    bytes[5] = static_cast<uint8_t>(guid.time_mid);
    bytes[6] = static_cast<uint8_t>(guid.time_hi_and_version >> 8);
    bytes[7] = static_cast<uint8_t>(guid.time_hi_and_version);
    bytes[8] = guid.clock_seq_hi_and_reserved;
    bytes[9] = guid.clock_seq_low;
    for (int i = 0; i < 6; ++i) {
        bytes[10 + i] = guid.node[i];
    }
    return bytes;
}

API_Guid FromTextOrderBytes(const std::array<uint8_t, 16>& bytes) {
    API_Guid guid;
    guid.time_low = (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) |
                    (uint32_t{bytes[2]} << 8) | bytes[3];
    guid.time_mid = static_cast<uint16_t>((bytes[4] << 8) | bytes[5]);
    guid.time_hi_and_version = static_cast<uint16_t>((bytes[6] << 8) | bytes[7]);
    guid.clock_seq_hi_and_reserved = bytes[8];
    guid.clock_seq_low = bytes[9];
    for (int i = 0; i < 6; ++i) {
        guid.node[i] = bytes[10 + i];
    }
    return guid;
}

bool IsDashPosition(std::size_t position) {
    return position == 8 || position == 13 || position == 18 || position == 23;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

}  // namespace

bool Guid::IsNull() const { return value == API_Guid{}; }

std::string Guid::ToString() const {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    const std::array<uint8_t, 16> bytes = TextOrderBytes(value);
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(kDigits[bytes[i] >> 4]);
        text.push_back(kDigits[bytes[i] & 0xF]);
    }
    return text;
}

bool Guid::FromString(const std::string& text) {
    value = API_Guid{};
    if (text.size() != 36) {
        return false;
    }
    std::array<uint8_t, 16> bytes{};
    std::size_t digit = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (IsDashPosition(position)) {
            if (text[position] != '-') {
                return false;
            }
            continue;
        }
        const int nibble = HexValue(text[position]);
        if (nibble < 0) {
            return false;
        }
        bytes[digit / 2] = static_cast<uint8_t>((bytes[digit / 2] << 4) | nibble);
        ++digit;
    }
    value = FromTextOrderBytes(bytes);
    return true;
}

Guid Guid::Generate() {
    // One generator for the process, seeded once; identifiers need not be secret, only unique.
    static std::mutex mutex;
    static std::mt19937_64 generator{[] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }()};
    std::array<uint8_t, 16> bytes{};
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const uint64_t high = generator();
        const uint64_t low = generator();
        for (int i = 0; i < 8; ++i) {
            bytes[i] = static_cast<uint8_t>(high >> (8 * i));
            bytes[8 + i] = static_cast<uint8_t>(low >> (8 * i));
        }
    }
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4: random
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // the RFC 4122 variant
    return Guid(FromTextOrderBytes(bytes));
}

}  // namespace GS
