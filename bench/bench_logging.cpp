// bench_logging.cpp: what a log call costs when its level filters it out, next to one that
// writes. A filtered call renders nothing, so it should cost a few tens of nanoseconds at most.
#include "common/CUtils.h"
#include "common/Logger.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <filesystem>

namespace {

const WString kPath = u"C:\\Users\\Architect\\Library\\Doors\\D01.gsm";

// The default levels write errors only: this entry is not an error, so nothing may be rendered.
void FilteredEntry(benchmark::State& state) {
    Logger::Instance();
    for (auto _ : state) {
        const MessageArg path(&kPath);
        const MessageArg attempt(3);
        benchmark::DoNotOptimize(
            LogMessage(false, "src/utils", __LINE__, "CUtils::Bench",
                       FormattedMessage("Copy of {0}, attempt {1}", path, attempt)));
    }
}
BENCHMARK(FilteredEntry);

// An error entry goes to the memory sink and is appended to the log file.
void WrittenEntry(benchmark::State& state) {
    Logger::Instance();
    for (auto _ : state) {
        const MessageArg path(&kPath);
        const MessageArg attempt(3);
        benchmark::DoNotOptimize(
            LogMessage(true, "src/utils", __LINE__, "CUtils::Bench",
                       FormattedMessage("Copy of {0}, attempt {1}", path, attempt)));
    }
}
BENCHMARK(WrittenEntry);

}  // namespace

int main(int argc, char** argv) {
    // The log file of this run goes to a scratch folder, not beside the benchmark.
    const auto folder = std::filesystem::temp_directory_path() / "orvupdate-bench";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    CUtils::SetModulePathOverride(CUtils::StringUTF8ToWstring((folder / "bench_logging").string()));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
