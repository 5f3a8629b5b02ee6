// Transformation.h: block transformations (raw deflate and inflate, AES) and the two streams that
// put one into a chain.
//
// process(input, inputLength, output, &outputLength): `outputLength` holds the capacity on entry
// and the bytes written on return; the result is the count of input bytes consumed, or one of the
// negative codes below. A transformation belongs to one stream.
#pragma once

#include "streams/OutputStream.h"

#include <cstdint>
#include <memory>

struct z_stream_s;

// Result codes of process.
constexpr int32_t kTransformBadPadding = -4;
constexpr int32_t kTransformNoProcess = -6;
constexpr int32_t kTransformOutputTooSmall = -9;
constexpr int32_t kTransformInputTooShort = -10;
// An inflate failure is zlib's code less this.
constexpr int32_t kTransformZlibBase = 4096;

class MTransformation {
public:
    virtual ~MTransformation() = default;

    virtual int32_t process(const uint8_t* input, int32_t inputLength, uint8_t* output,
                            int32_t* outputLength) = 0;
    virtual int32_t getInputBlockSize() = 0;
    virtual int32_t getOutputBlockSize() = 0;
    virtual void reset() = 0;
};

// Deflate or inflate, raw (no header) or with zlib's header. The compressor finishes the stream
// when it is given an input shorter than one output block.
class ZlibTransformation : public MTransformation {
public:
    ZlibTransformation(bool compress, bool raw);
    ~ZlibTransformation() override;
    ZlibTransformation(const ZlibTransformation&) = delete;
    ZlibTransformation& operator=(const ZlibTransformation&) = delete;

    int32_t process(const uint8_t* input, int32_t inputLength, uint8_t* output,
                    int32_t* outputLength) override;
    int32_t getInputBlockSize() override { return 16; }
    int32_t getOutputBlockSize() override { return 16; }
    void reset() override;

    virtual int32_t deflateBlock(const uint8_t* input, int32_t inputLength, uint8_t* output,
                                 int32_t* outputLength);
    virtual int32_t inflateBlock(const uint8_t* input, int32_t inputLength, uint8_t* output,
                                 int32_t* outputLength);

private:
    void start();
    void end();

    bool raw;
    bool compress;
    int32_t level = -1;
    std::unique_ptr<z_stream_s> stream;
};

// A block cipher in one of four modes, over the block routine of a subclass.
class CipherTransformation : public MTransformation {
public:
    enum Mode : int32_t { kChained = 0, kCounter = 1, kFeedback = 2, kPlainBlocks = 3 };
    enum Padding : int32_t { kZeroFill = 0, kCountFill = 1, kNoPadding = 2 };
    static constexpr int32_t kMaxBlock = 128;

    CipherTransformation(int32_t blockSize, bool encrypting);
    // Wipes the running vector, the block in work and the initial vector.
    ~CipherTransformation() override;

    int32_t process(const uint8_t* input, int32_t inputLength, uint8_t* output,
                    int32_t* outputLength) override;
    int32_t getInputBlockSize() override { return blockSize; }
    int32_t getOutputBlockSize() override;
    void reset() override;
    // Encrypts or decrypts one block; gives the block size, or a negative code.
    virtual int32_t processBlock(const uint8_t* input, uint8_t* output) = 0;

    void setMode(int32_t mode);
    void setPadding(int32_t padding);
    // The initial vector (the counter's start in counter mode); null for zeros.
    void setVector(const uint8_t* vector);

protected:
    int32_t mode = kChained;
    int32_t padding = kNoPadding;
    bool encrypting;
    uint8_t chain[kMaxBlock] = {};
    uint8_t scratch[kMaxBlock] = {};
    int32_t blockSize;
    int32_t blockWords;
    uint8_t initialVector[kMaxBlock] = {};

private:
    int32_t encryptBlocks(const uint8_t* input, int32_t inputLength, uint8_t* output,
                          int32_t* outputLength);
    int32_t decryptBlocks(const uint8_t* input, int32_t inputLength, uint8_t* output,
                          int32_t* outputLength);
    int32_t counterBlocks(const uint8_t* input, int32_t inputLength, uint8_t* output,
                          int32_t* outputLength);
};

// AES with 128, 192 or 256-bit keys. Counter mode always runs the encryption. The rounds run on
// the processor's AES instructions where it has them (x86 with AES-NI, found at run time) and on
// the portable table code elsewhere; both give the same bytes.
class RijndaelTransformation : public CipherTransformation {
public:
    static constexpr int32_t kMaxScheduleWords = 60;
    // Which code runs the rounds: kFastest takes the processor's instructions where present,
    // kTables always the table code (so that tests can compare the two on any machine).
    enum class Engine { kFastest, kTables };

    RijndaelTransformation(bool encrypting, int32_t mode, const uint8_t* key, int32_t keyLength,
                           Engine engine = Engine::kFastest);
    // Wipes the key schedule.
    ~RijndaelTransformation() override;

    // Counter mode runs several blocks at once on the processor's instructions; every other case
    // is the base class's, over processBlock.
    int32_t process(const uint8_t* input, int32_t inputLength, uint8_t* output,
                    int32_t* outputLength) override;
    int32_t processBlock(const uint8_t* input, uint8_t* output) override;

    // True when this object's rounds run on the processor's AES instructions.
    bool usesAesInstructions() const;
    // True when this build and this processor offer them; asked of the processor once.
    static bool aesInstructionsAvailable();

private:
    // One block through the cipher over a schedule of big-endian round-key words.
    using BlockRoutine = void (*)(const uint32_t* schedule, int32_t rounds, const uint8_t* input,
                                  uint8_t* output);

    int32_t keyWords;
    int32_t rounds;
    int32_t scheduleWords;
    uint32_t schedule[kMaxScheduleWords] = {};
    BlockRoutine blockRoutine = nullptr;
};

// Reads its source through a transformation. Owns the source; borrows the transformation.
class TransformationInputStream : public FilterInputStream {
public:
    TransformationInputStream(std::unique_ptr<InputStream> source, MTransformation& transformation);

    int64_t read(uint8_t* buffer, int64_t length) override;
    using InputStream::read;

private:
    bool refill();
    // Transforms into `target` (the `out` buffer or a large enough caller's buffer); gives the
    // bytes produced, 0 at the end.
    int32_t transformInto(uint8_t* target, int32_t capacity);

    ByteBuffer out;  // transformed bytes not yet delivered: [outBegin, outEnd)
    size_t outBegin = 0;
    size_t outEnd = 0;
    // Tops the input window up from the source when little is left in it.
    void fillInput();

    ByteBuffer in;  // source bytes not yet transformed: [inBegin, inEnd)
    size_t inBegin = 0;
    size_t inEnd = 0;
    MTransformation& transformation;
    bool sourceEnded = false;
};

// Writes through a transformation to its sink. Owns both; flushes when destroyed.
class TransformationOutputStream : public FilterOutputStream {
public:
    TransformationOutputStream(std::unique_ptr<OutputStream> sink,
                               std::unique_ptr<MTransformation> transformation);
    ~TransformationOutputStream() override;

    void write(const uint8_t* buffer, int64_t length) override;
    using OutputStream::write;
    // Drains what is pending, ends the transformed stream, and flushes the sink.
    void flush() override;

private:
    void drain();

    ByteBuffer out;
    ByteBuffer in;
    size_t inEnd = 0;
    std::unique_ptr<MTransformation> transformation;
    bool finished = false;
};
