// ZlibTransformation.cpp: deflate and inflate (raw or with zlib's header) as a transformation.
#include "common/OVException.h"
#include "streams/Transformation.h"

#include <zlib.h>

ZlibTransformation::ZlibTransformation(bool compress, bool raw) : raw(raw), compress(compress) {
    start();
}

ZlibTransformation::~ZlibTransformation() { end(); }

void ZlibTransformation::start() {
    stream = std::make_unique<z_stream>();
    const int windowBits = raw ? -15 : 15;
    // The macros pass this platform's own zlib version and record size.
    const int result =
        compress ? deflateInit2(stream.get(), level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY)
                 : inflateInit2(stream.get(), windowBits);
    if (result != Z_OK) {
        stream.reset();
        throw OVException(result, "Zlib initialization failed");
    }
}

void ZlibTransformation::end() {
    if (!stream) {
        return;
    }
    if (compress) {
        deflateEnd(stream.get());
    } else {
        inflateEnd(stream.get());
    }
    stream.reset();
}

void ZlibTransformation::reset() {
    end();
    start();
}

int32_t ZlibTransformation::process(const uint8_t* input, int32_t inputLength, uint8_t* output,
                                    int32_t* outputLength) {
    if (*outputLength < getInputBlockSize()) {
        *outputLength = 0;
        return kTransformOutputTooSmall;
    }
    // With more than two half blocks in hand, one to eight bytes stay behind, so that a short
    // input is only ever the true end of the data.
    const int32_t half = getOutputBlockSize() / 2;
    const int32_t blocks = (inputLength + half - 1) / half;
    if (blocks > 2) {
        inputLength = (blocks - 1) * half;
    }
    return compress ? deflateBlock(input, inputLength, output, outputLength)
                    : inflateBlock(input, inputLength, output, outputLength);
}

int32_t ZlibTransformation::deflateBlock(const uint8_t* input, int32_t inputLength, uint8_t* output,
                                         int32_t* outputLength) {
    stream->next_in = const_cast<Bytef*>(input);
    stream->avail_in = static_cast<uInt>(inputLength);
    stream->next_out = output;
    stream->avail_out = static_cast<uInt>(*outputLength);
    const int flush = inputLength < getOutputBlockSize() ? Z_FINISH : Z_NO_FLUSH;
    const int result = deflate(stream.get(), flush);
    if (result == Z_STREAM_ERROR) {
        return result;
    }
    *outputLength -= static_cast<int32_t>(stream->avail_out);
    return inputLength - static_cast<int32_t>(stream->avail_in);
}

int32_t ZlibTransformation::inflateBlock(const uint8_t* input, int32_t inputLength, uint8_t* output,
                                         int32_t* outputLength) {
    stream->next_in = const_cast<Bytef*>(input);
    stream->avail_in = static_cast<uInt>(inputLength);
    stream->next_out = output;
    stream->avail_out = static_cast<uInt>(*outputLength);
    const int result = inflate(stream.get(), Z_NO_FLUSH);
    if ((result >= Z_BUF_ERROR && result <= Z_DATA_ERROR) || result == Z_NEED_DICT) {
        *outputLength = 0;
        return result - kTransformZlibBase;
    }
    *outputLength -= static_cast<int32_t>(stream->avail_out);
    return inputLength - static_cast<int32_t>(stream->avail_in);
}
