// HttpProgress.cpp: the file name and the progress figures a download reports.
#include "HttpProgress.h"

#include "common/CUtils.h"

namespace {

constexpr int64_t kProgressDelayMicroseconds = 50000;

}  // namespace

void TellFileName(GetProgressListener* listener, const std::optional<WString>& disposition) {
    if (listener == nullptr || !disposition) {
        return;
    }
    const WString name = FileNameFromContentDisposition(*disposition);
    listener->OnFileName(GS::UniString(name.c_str(), static_cast<GS::USize>(name.size())));
}

DownloadProgress::DownloadProgress(GetProgressListener* listener, int32_t total)
    : listener(listener), total(total), startTime(CUtils::GetTimeMicroseconds()) {}

void DownloadProgress::Block(size_t size) {
    received += static_cast<uint32_t>(size);
    const uint64_t now = CUtils::GetTimeMicroseconds();
    if (listener == nullptr ||
        static_cast<int64_t>(now - startTime) <= kProgressDelayMicroseconds) {
        return;
    }
    listener->OnProgress(received, total, ProgressPercent(received, total));
}

int32_t ContentLengthTotal(const std::optional<WString>& value) {
    if (!value) {
        return -1;
    }
    // Only the low 32 bits are kept.
    return static_cast<int32_t>(static_cast<uint32_t>(CUtils::ParseIntW(*value, 10, 0)));
}

int32_t ProgressPercent(uint32_t received, int32_t total) {
    if (total <= 0) {
        return -1;
    }
    // The product wraps as the 32-bit one does (computed unsigned, where wrapping is defined)
    // before the signed division.
    return static_cast<int32_t>(received * 100u) / total;
}
