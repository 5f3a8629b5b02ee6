// AccessLog.h: the service's access log, one line a request in the Combined Log Format that web
// servers write and log tools read:
//   HOST - - [DD/Mon/YYYY:HH:MM:SS +0000] "METHOD TARGET HTTP/1.1" STATUS BYTES "REFERER" "AGENT"
#pragma once

#include "HttpServer.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>

namespace orvservice {

std::string CombinedLogLine(const HttpRequest& request, int status, std::size_t bytes,
                            std::chrono::system_clock::time_point when);

class AccessLog {
public:
    // To standard output, to `file` (appended to), both or neither; throws ServiceError when the
    // file cannot be opened.
    AccessLog(bool toStandardOutput, const std::filesystem::path& file);

    bool Enabled() const { return toStandardOutput || file.is_open(); }
    void Write(const HttpRequest& request, int status, std::size_t bytes);

private:
    const bool toStandardOutput;
    std::ofstream file;
    std::mutex mutex;
};

}  // namespace orvservice
