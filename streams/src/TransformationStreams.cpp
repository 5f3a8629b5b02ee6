// TransformationStreams.cpp: the input and output streams that put a transformation into a chain
// and do its buffering.
#include "common/OVException.h"
#include "streams/Transformation.h"

#include <algorithm>
#include <cstring>

namespace {

size_t bufferSize(int32_t blockSize) { return static_cast<size_t>(blockSize) * 64; }

// The input window of the reading stream: zlib and the cipher run fastest on large inputs, and
// each source read then passes a large block down the chain.
constexpr size_t kInputWindow = 64 * 1024;

}  // namespace

TransformationInputStream::TransformationInputStream(std::unique_ptr<InputStream> source,
                                                     MTransformation& transformation)
    : FilterInputStream(std::move(source)), out(bufferSize(transformation.getInputBlockSize())),
      in(std::max(kInputWindow, bufferSize(transformation.getOutputBlockSize()))),
      transformation(transformation) {}

int64_t TransformationInputStream::read(uint8_t* buffer, int64_t length) {
    if (length <= 0) {
        return 0;
    }
    int64_t delivered = 0;
    for (;;) {
        const int64_t ready =
            std::min<int64_t>(static_cast<int64_t>(outEnd - outBegin), length - delivered);
        if (ready > 0) {
            std::memcpy(buffer + delivered, out.data() + outBegin, static_cast<size_t>(ready));
            outBegin += static_cast<size_t>(ready);
            delivered += ready;
        }
        const int64_t wanted = length - delivered;
        if (wanted == 0) {
            break;
        }
        // A caller who wants at least a whole buffer gets the output in place: the same bytes,
        // without a copy and with fewer, larger transformation calls.
        if (wanted >= static_cast<int64_t>(out.size())) {
            // Whole blocks only: a counter-mode cipher ends its stream at a part block.
            const int64_t block = transformation.getInputBlockSize();
            const int32_t capacity =
                static_cast<int32_t>(std::min<int64_t>(wanted, INT32_MAX) / block * block);
            const int32_t produced = transformInto(buffer + delivered, capacity);
            if (produced == 0) {
                break;
            }
            delivered += produced;
        } else if (!refill()) {
            break;
        }
    }
    return delivered > 0 ? delivered : -1;
}

bool TransformationInputStream::refill() {
    outBegin = 0;
    outEnd = static_cast<size_t>(transformInto(out.data(), static_cast<int32_t>(out.size())));
    return outEnd > 0;
}

void TransformationInputStream::fillInput() {
    // The pending bytes move down only when few are left, so that small outputs do not move the
    // whole window each time.
    if (sourceEnded || inEnd - inBegin >= in.size() / 4) {
        return;
    }
    std::memmove(in.data(), in.data() + inBegin, inEnd - inBegin);
    inEnd -= inBegin;
    inBegin = 0;
    while (inEnd < in.size()) {
        const int64_t got =
            source->read(in.data() + inEnd, static_cast<int64_t>(in.size() - inEnd));
        if (got < 0) {
            sourceEnded = true;
        }
        if (got <= 0) {
            break;
        }
        inEnd += static_cast<size_t>(got);
    }
}

int32_t TransformationInputStream::transformInto(uint8_t* target, int32_t capacity) {
    for (;;) {
        // The window is full up to its end, or the source has ended: what the transformation is
        // given stops short of a block only at the true end of the data.
        fillInput();
        const size_t pending = inEnd - inBegin;
        int32_t produced = capacity;
        const int32_t result = transformation.process(
            in.data() + inBegin, static_cast<int32_t>(pending), target, &produced);
        if (result < 0) {
            // With nothing left to transform a failure is the end; with input left it is damage.
            if (pending > 0) {
                throw OVException(result, "");
            }
            return 0;
        }
        produced = std::max(produced, 0);
        inBegin += static_cast<size_t>(result);
        if (result < 1 || produced > 0) {
            return produced;
        }
    }
}

TransformationOutputStream::TransformationOutputStream(
    std::unique_ptr<OutputStream> sink, std::unique_ptr<MTransformation> transformation)
    : FilterOutputStream(std::move(sink)), out(bufferSize(transformation->getInputBlockSize())),
      in(bufferSize(transformation->getOutputBlockSize())),
      transformation(std::move(transformation)) {}

TransformationOutputStream::~TransformationOutputStream() {
    // A destructor must not throw; a caller who needs to see a failure flushes first.
    try {
        flush();
    } catch (...) {
    }
}

void TransformationOutputStream::write(const uint8_t* buffer, int64_t length) {
    while (length > 0) {
        const size_t take = std::min(static_cast<size_t>(length), in.size() - inEnd);
        std::memcpy(in.data() + inEnd, buffer, take);
        inEnd += take;
        buffer += take;
        length -= static_cast<int64_t>(take);
        if (inEnd == in.size()) {
            drain();
            if (inEnd == in.size()) {
                throw OVException(kTransformInputTooShort, "Transformation buffer error");
            }
        }
    }
    finished = false;
}

void TransformationOutputStream::drain() {
    const size_t blockSize = static_cast<size_t>(transformation->getOutputBlockSize());
    const int32_t capacity = static_cast<int32_t>(out.size());
    for (;;) {
        const size_t before = inEnd;
        int32_t produced = capacity;
        const int32_t result =
            transformation->process(in.data(), static_cast<int32_t>(inEnd), out.data(), &produced);
        if (result < 0) {
            // Nothing pending is the end (a cipher asked to finish an empty input); anything
            // else could not be transformed.
            if (inEnd == 0) {
                return;
            }
            throw OVException(result, "Transformation buffer error");
        }
        if (produced > 0) {
            sink->write(out.data(), produced);
        }
        if (result != 0) {
            std::memmove(in.data(), in.data() + result, inEnd - static_cast<size_t>(result));
            inEnd -= static_cast<size_t>(result);
            if (inEnd < blockSize && (before >= blockSize || produced != capacity)) {
                return;
            }
        } else if (produced != capacity) {
            return;
        }
    }
}

void TransformationOutputStream::flush() {
    if (finished) {
        return;
    }
    const size_t pending = inEnd;
    while (inEnd > 0) {
        const size_t before = inEnd;
        drain();
        if (inEnd == before) {
            throw OVException(kTransformInputTooShort, "Transformation buffer error");
        }
    }
    // An empty short input is what tells a compressor that the stream ends.
    if (pending % static_cast<size_t>(transformation->getOutputBlockSize()) == 0) {
        drain();
    }
    inEnd = 0;
    finished = true;
    sink->flush();
}
