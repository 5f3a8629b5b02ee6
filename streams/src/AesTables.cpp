// AesTables.cpp: AES (128, 192 and 256-bit keys) as word-wise table look-ups on big-endian words.
// The tables are computed at compile time from the field arithmetic, so there is no hand-typed
// constant data to get wrong.
#include "AesTables.h"

#include <cstdint>

namespace aestables {

namespace {

constexpr uint8_t rotl8(uint8_t x, int shift) {
    return static_cast<uint8_t>((x << shift) | (x >> (8 - shift)));
}

// Multiplication in GF(2^8) modulo x^8 + x^4 + x^3 + x + 1.
constexpr uint8_t gmul(uint8_t a, uint8_t b) {
    uint8_t product = 0;
    while (b != 0) {
        if (b & 1) {
            product ^= a;
        }
        a = static_cast<uint8_t>((a << 1) ^ ((a & 0x80) ? 0x1B : 0));
        b >>= 1;
    }
    return product;
}

constexpr uint32_t rotr32(uint32_t x, int shift) { return (x >> shift) | (x << (32 - shift)); }

constexpr uint32_t word(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3) {
    return (uint32_t{b0} << 24) | (uint32_t{b1} << 16) | (uint32_t{b2} << 8) | uint32_t{b3};
}

struct Tables {
    uint8_t sbox[256] = {};
    uint8_t inverseSbox[256] = {};
    uint32_t encrypt[4][256] = {};
    uint32_t decrypt[4][256] = {};
};

constexpr Tables makeTables() {
    Tables t;
    // Walks the multiplicative group with generator 3 (p) and its inverse (q) in step, so each
    // p meets its inverse q: 255 steps instead of a search for every inverse.
    uint8_t p = 1;
    uint8_t q = 1;
    do {
        p = static_cast<uint8_t>(p ^ (p << 1) ^ ((p & 0x80) ? 0x1B : 0));
        q = static_cast<uint8_t>(q ^ (q << 1));
        q = static_cast<uint8_t>(q ^ (q << 2));
        q = static_cast<uint8_t>(q ^ (q << 4));
        if (q & 0x80) {
            q ^= 0x09;
        }
        const uint8_t affine =
            static_cast<uint8_t>(q ^ rotl8(q, 1) ^ rotl8(q, 2) ^ rotl8(q, 3) ^ rotl8(q, 4) ^ 0x63);
        t.sbox[p] = affine;
    } while (p != 1);
    t.sbox[0] = 0x63;
    for (int i = 0; i < 256; ++i) {
        t.inverseSbox[t.sbox[i]] = static_cast<uint8_t>(i);
    }
    for (int i = 0; i < 256; ++i) {
        const uint8_t s = t.sbox[i];
        const uint32_t e = word(gmul(s, 2), s, s, gmul(s, 3));
        const uint8_t v = t.inverseSbox[i];
        const uint32_t d = word(gmul(v, 14), gmul(v, 9), gmul(v, 13), gmul(v, 11));
        for (int r = 0; r < 4; ++r) {
            t.encrypt[r][i] = r == 0 ? e : rotr32(e, 8 * r);
            t.decrypt[r][i] = r == 0 ? d : rotr32(d, 8 * r);
        }
    }
    return t;
}

constexpr Tables kTables = makeTables();
constexpr const uint8_t* Sb = kTables.sbox;
constexpr const uint8_t* Si = kTables.inverseSbox;
constexpr const uint32_t (&Te)[4][256] = kTables.encrypt;
constexpr const uint32_t (&Td)[4][256] = kTables.decrypt;

static_assert(kTables.sbox[0x00] == 0x63 && kTables.sbox[0x53] == 0xED &&
              kTables.sbox[0xFF] == 0x16);
static_assert(kTables.encrypt[0][0] == 0xC66363A5u);
static_assert(kTables.decrypt[0][0] == 0x51F4A750u);

inline uint32_t load(const uint8_t* p) { return word(p[0], p[1], p[2], p[3]); }

inline void store(uint8_t* p, uint32_t w) {
    p[0] = static_cast<uint8_t>(w >> 24);
    p[1] = static_cast<uint8_t>(w >> 16);
    p[2] = static_cast<uint8_t>(w >> 8);
    p[3] = static_cast<uint8_t>(w);
}

inline uint32_t subWord(uint32_t w) {
    return word(Sb[w >> 24], Sb[(w >> 16) & 0xFF], Sb[(w >> 8) & 0xFF], Sb[w & 0xFF]);
}

}  // namespace

void ExpandKey(const uint8_t* key, int32_t keyWords, int32_t totalWords, uint32_t* w) {
    for (int32_t i = 0; i < keyWords; ++i) {
        w[i] = load(key + 4 * i);
    }
    uint8_t rcon = 1;
    for (int32_t i = keyWords; i < totalWords; ++i) {
        uint32_t temp = w[i - 1];
        if (i % keyWords == 0) {
            temp = subWord(rotr32(temp, 24)) ^ (uint32_t{rcon} << 24);
            rcon = gmul(rcon, 2);
        } else if (keyWords > 6 && i % keyWords == 4) {
            temp = subWord(temp);
        }
        w[i] = w[i - keyWords] ^ temp;
    }
}

void EncryptBlock(const uint32_t* rk, int32_t rounds, const uint8_t* in, uint8_t* out) {
    uint32_t s0 = load(in) ^ rk[0];
    uint32_t s1 = load(in + 4) ^ rk[1];
    uint32_t s2 = load(in + 8) ^ rk[2];
    uint32_t s3 = load(in + 12) ^ rk[3];
    for (int32_t r = 1; r < rounds; ++r) {
        rk += 4;
        const uint32_t t0 = Te[0][s0 >> 24] ^ Te[1][(s1 >> 16) & 0xFF] ^ Te[2][(s2 >> 8) & 0xFF] ^
                            Te[3][s3 & 0xFF] ^ rk[0];
        const uint32_t t1 = Te[0][s1 >> 24] ^ Te[1][(s2 >> 16) & 0xFF] ^ Te[2][(s3 >> 8) & 0xFF] ^
                            Te[3][s0 & 0xFF] ^ rk[1];
        const uint32_t t2 = Te[0][s2 >> 24] ^ Te[1][(s3 >> 16) & 0xFF] ^ Te[2][(s0 >> 8) & 0xFF] ^
                            Te[3][s1 & 0xFF] ^ rk[2];
        const uint32_t t3 = Te[0][s3 >> 24] ^ Te[1][(s0 >> 16) & 0xFF] ^ Te[2][(s1 >> 8) & 0xFF] ^
                            Te[3][s2 & 0xFF] ^ rk[3];
        s0 = t0;
        s1 = t1;
        s2 = t2;
        s3 = t3;
    }
    rk += 4;
    store(out,
          word(Sb[s0 >> 24], Sb[(s1 >> 16) & 0xFF], Sb[(s2 >> 8) & 0xFF], Sb[s3 & 0xFF]) ^ rk[0]);
    store(out + 4,
          word(Sb[s1 >> 24], Sb[(s2 >> 16) & 0xFF], Sb[(s3 >> 8) & 0xFF], Sb[s0 & 0xFF]) ^ rk[1]);
    store(out + 8,
          word(Sb[s2 >> 24], Sb[(s3 >> 16) & 0xFF], Sb[(s0 >> 8) & 0xFF], Sb[s1 & 0xFF]) ^ rk[2]);
    store(out + 12,
          word(Sb[s3 >> 24], Sb[(s0 >> 16) & 0xFF], Sb[(s1 >> 8) & 0xFF], Sb[s2 & 0xFF]) ^ rk[3]);
}

// The equivalent inverse cipher: same round structure as encryption, over the decryption schedule.
void DecryptBlock(const uint32_t* rk, int32_t rounds, const uint8_t* in, uint8_t* out) {
    uint32_t s0 = load(in) ^ rk[0];
    uint32_t s1 = load(in + 4) ^ rk[1];
    uint32_t s2 = load(in + 8) ^ rk[2];
    uint32_t s3 = load(in + 12) ^ rk[3];
    for (int32_t r = 1; r < rounds; ++r) {
        rk += 4;
        const uint32_t t0 = Td[0][s0 >> 24] ^ Td[1][(s3 >> 16) & 0xFF] ^ Td[2][(s2 >> 8) & 0xFF] ^
                            Td[3][s1 & 0xFF] ^ rk[0];
        const uint32_t t1 = Td[0][s1 >> 24] ^ Td[1][(s0 >> 16) & 0xFF] ^ Td[2][(s3 >> 8) & 0xFF] ^
                            Td[3][s2 & 0xFF] ^ rk[1];
        const uint32_t t2 = Td[0][s2 >> 24] ^ Td[1][(s1 >> 16) & 0xFF] ^ Td[2][(s0 >> 8) & 0xFF] ^
                            Td[3][s3 & 0xFF] ^ rk[2];
        const uint32_t t3 = Td[0][s3 >> 24] ^ Td[1][(s2 >> 16) & 0xFF] ^ Td[2][(s1 >> 8) & 0xFF] ^
                            Td[3][s0 & 0xFF] ^ rk[3];
        s0 = t0;
        s1 = t1;
        s2 = t2;
        s3 = t3;
    }
    rk += 4;
    store(out,
          word(Si[s0 >> 24], Si[(s3 >> 16) & 0xFF], Si[(s2 >> 8) & 0xFF], Si[s1 & 0xFF]) ^ rk[0]);
    store(out + 4,
          word(Si[s1 >> 24], Si[(s0 >> 16) & 0xFF], Si[(s3 >> 8) & 0xFF], Si[s2 & 0xFF]) ^ rk[1]);
    store(out + 8,
          word(Si[s2 >> 24], Si[(s1 >> 16) & 0xFF], Si[(s0 >> 8) & 0xFF], Si[s3 & 0xFF]) ^ rk[2]);
    store(out + 12,
          word(Si[s3 >> 24], Si[(s2 >> 16) & 0xFF], Si[(s1 >> 8) & 0xFF], Si[s0 & 0xFF]) ^ rk[3]);
}

// InvMixColumns of one word: the decryption tables already hold it, composed with the inverse
// S-box, which the forward S-box undoes.
uint32_t InverseMixColumn(uint32_t w) {
    return Td[0][Sb[w >> 24]] ^ Td[1][Sb[(w >> 16) & 0xFF]] ^ Td[2][Sb[(w >> 8) & 0xFF]] ^
           Td[3][Sb[w & 0xFF]];
}

}  // namespace aestables
