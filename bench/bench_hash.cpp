// bench_hash.cpp: throughput of the byte-wise Crc32, alone and through a hash stream, next to
// zlib's crc32; and of HMAC-SHA1 fed through a HashOutputStream next to mbed TLS's one-call HMAC,
// on the same buffers.
#include "streams/Hash.h"

#include <benchmark/benchmark.h>
#include <mbedtls/md.h>
#include <random>
#include <zlib.h>

namespace {

ByteBuffer RandomBuffer(int64_t length) {
    std::mt19937 generator(42);
    ByteBuffer bytes(static_cast<size_t>(length));
    for (auto& byte : bytes)
        byte = static_cast<uint8_t>(generator());
    return bytes;
}

// Swallows what is written, so that only the hashing is measured.
class NullOutputStream : public OutputStream {
public:
    void write(const uint8_t* buffer, int64_t length) override {
        benchmark::DoNotOptimize(buffer);
        benchmark::DoNotOptimize(length);
    }
    using OutputStream::write;
};

void OurCrc32(benchmark::State& state) {
    const ByteBuffer data = RandomBuffer(state.range(0));
    for (auto _ : state) {
        Crc32 crc;
        crc.update(data.data(), static_cast<int64_t>(data.size()));
        benchmark::DoNotOptimize(crc.result());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// The same checksum written through a hash stream: what the stream layering adds.
void OurCrc32Stream(benchmark::State& state) {
    const ByteBuffer data = RandomBuffer(state.range(0));
    HashOutputStream stream(std::make_unique<NullOutputStream>(), std::make_unique<Crc32>());
    uint8_t digest[4];
    for (auto _ : state) {
        stream.getHashObject().reset();
        stream.write(data);
        stream.getHash(digest, sizeof digest);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void ZlibCrc32(benchmark::State& state) {
    const ByteBuffer data = RandomBuffer(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(crc32(0L, data.data(), static_cast<uInt>(data.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void OurHmacSha1Stream(benchmark::State& state) {
    const ByteBuffer data = RandomBuffer(state.range(0));
    const ByteBuffer key = RandomBuffer(32);
    HashOutputStream stream(std::make_unique<NullOutputStream>(),
                            std::make_unique<HMAC>(std::make_unique<Sha1>(), key.data(),
                                                   static_cast<int64_t>(key.size())));
    uint8_t digest[20];
    for (auto _ : state) {
        stream.getHashObject().reset();
        stream.write(data);
        stream.getHash(digest, sizeof digest);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void MbedTlsHmacSha1(benchmark::State& state) {
    const ByteBuffer data = RandomBuffer(state.range(0));
    const ByteBuffer key = RandomBuffer(32);
    const mbedtls_md_info_t* sha1 = mbedtls_md_info_from_type(MBEDTLS_MD_SHA1);
    uint8_t digest[20];
    for (auto _ : state) {
        mbedtls_md_hmac(sha1, key.data(), key.size(), data.data(), data.size(), digest);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(OurCrc32)->Arg(4096)->Arg(1 << 20);
BENCHMARK(OurCrc32Stream)->Arg(4096)->Arg(1 << 20);
BENCHMARK(ZlibCrc32)->Arg(4096)->Arg(1 << 20);
BENCHMARK(OurHmacSha1Stream)->Arg(64)->Arg(4096)->Arg(1 << 20);
BENCHMARK(MbedTlsHmacSha1)->Arg(64)->Arg(4096)->Arg(1 << 20);

BENCHMARK_MAIN();
