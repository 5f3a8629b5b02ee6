// bench_http.cpp: HttpGet timed the way the benchmark script compares it with curl.
//
//   bench_http checks FILE     one HttpGet per URL of FILE (one a line), in order
//   bench_http download URL    one HttpGet of URL
// Prints "seconds S", "bytes B" and "peak_rss_kb K" (the process's peak resident memory).
#include "net/HttpGet.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

long PeakResidentKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: bench_http checks FILE | download URL\n", stderr);
        return 2;
    }
    const std::string mode = argv[1];
    std::vector<std::string> urls;
    if (mode == "checks") {
        std::ifstream file(argv[2]);
        for (std::string line; std::getline(file, line);) {
            if (!line.empty()) {
                urls.push_back(line);
            }
        }
    } else if (mode == "download") {
        urls.push_back(argv[2]);
    } else {
        std::fputs("usage: bench_http checks FILE | download URL\n", stderr);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    std::size_t bytes = 0;
    try {
        for (const std::string& url : urls) {
            bytes += HttpGet(GS::UniString(url.c_str(), CC_UTF8), nullptr).size();
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_http: %s\n", error.what());
        return 1;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    CloseHttpSession();
    std::printf("seconds %.6f\nbytes %zu\npeak_rss_kb %ld\n", seconds.count(), bytes,
                PeakResidentKilobytes());
    return 0;
}
