// HttpProgress.h: what a download tells its listener, the same on every platform: the file name
// before the body, then the progress of the read loop.
#pragma once

#include "common/WideString.h"
#include "net/HttpGet.h"

#include <cstddef>
#include <cstdint>
#include <optional>

// Tells the listener, if there is one, the file name of a Content-Disposition value, if there is
// one; an empty name too. What the listener throws passes through.
void TellFileName(GetProgressListener* listener, const std::optional<WString>& disposition);

// Counts the blocks of the read loop and reports them to the listener, if there is one, once
// 50 ms have passed since the body began. The start is never renewed: nothing is reported in the
// first 50 ms, and every block after them, the final empty read included. What the listener
// throws passes through.
class DownloadProgress {
public:
    // The body begins now; `total` is the Content-Length's reading (ContentLengthTotal).
    DownloadProgress(GetProgressListener* listener, int32_t total);

    // `size` bytes have arrived, 0 for the read that finds the end.
    void Block(size_t size);

    int32_t Total() const { return total; }

private:
    GetProgressListener* listener;
    int32_t total;
    uint32_t received = 0;
    uint64_t startTime;
};
