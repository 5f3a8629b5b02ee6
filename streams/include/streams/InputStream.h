// InputStream.h: the input roots of the stream library and its plain input filters.
//
// Streams are synchronous and blocking, and report every failure by throwing OVException. A read
// returns the count of bytes delivered, 0 when nothing could be delivered now, and -1 at the end.
// Filters are chained by composition: a filter either owns its source (given as a unique_ptr,
// closed and destroyed with the filter) or borrows it (given as a reference, left open to the
// caller). Destroying the outermost stream of a chain closes and frees everything it owns.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

// The growable byte array of streams and archives: data pointer and size.
using ByteBuffer = std::vector<uint8_t>;

class InputStream {
public:
    // The chunk that copying operations move through a stack buffer.
    static constexpr int64_t kChunk = 65536;

    virtual ~InputStream() = default;

    virtual int64_t read(uint8_t* buffer, int64_t length) = 0;
    // Reads up to `maxLength` into `buffer`, sized to what came (emptied at the end).
    virtual int64_t read(ByteBuffer& buffer, int64_t maxLength);
    // A timeout below 1 reads as usual; no stream of this library has timed reads.
    virtual int64_t read(uint8_t* buffer, int64_t length, int32_t timeout);
    virtual void close() {}
    // Passes over up to `count` bytes by reading them; returns how many were passed over.
    virtual int64_t skip(int64_t count);
    virtual int64_t available() { return 0; }
    virtual void reset();

    // Copies `length` bytes (all up to the end when negative) to `output`.
    int64_t transfer(class OutputStream& output, int64_t length);
};

class SeekableInputStream : public InputStream {
public:
    // Moves to the absolute `position`; returns the position reached.
    virtual int64_t seek(int64_t position) = 0;
};

class FilterInputStream : public InputStream {
public:
    explicit FilterInputStream(std::unique_ptr<InputStream> source);
    explicit FilterInputStream(InputStream& source);
    // Closes and destroys an owned source; a borrowed one is left open to its owner.
    ~FilterInputStream() override;

    // Closes an owned source; a borrowed one is its owner's to close.
    void close() override;

    InputStream& getSource() { return *source; }

protected:
    InputStream* source;

private:
    std::unique_ptr<InputStream> ownedSource;
};

// A window of `length` bytes of the source, starting `offset` bytes past the source's position at
// construction (the caller rewinds the source first when `offset` is meant as absolute).
class PartialInputStream : public FilterInputStream {
public:
    PartialInputStream(std::unique_ptr<InputStream> source, int64_t length, int64_t offset);
    PartialInputStream(InputStream& source, int64_t length, int64_t offset);

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;
    // Limited to the window; negative counts move back, as far as the window's start.
    int64_t skip(int64_t count) override;
    int64_t available() override;
    void reset() override;

private:
    void moveToWindow();

    int64_t offset;
    int64_t length;
    int64_t position = 0;
};

// Everything of the source but its last `suffixLength` bytes, which getSuffix gives once the
// source has ended (a ZIP member's authentication code, say).
class SuffixInputStream : public FilterInputStream {
public:
    SuffixInputStream(std::unique_ptr<InputStream> source, uint32_t suffixLength);
    // Zeroes both buffers: the suffix may be key-derived material.
    ~SuffixInputStream() override;

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;
    int64_t skip(int64_t count) override;
    void reset() override;

    const uint8_t* getSuffix(uint32_t* length) const;

private:
    ByteBuffer front;  // the held-back tail
    ByteBuffer spare;
    uint32_t suffixLength;
    bool primed = false;
};
