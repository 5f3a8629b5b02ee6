// replay_main.cpp: runs the fuzz target over every file of the corpus folders (or files) named on
// the command line, so the corpus stays a regression test in builds without libFuzzer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

// The replay's own name, from the command line: one source serves every fuzz target.
std::string program = "fuzz_replay";

bool replayFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "%s: cannot read %s\n", program.c_str(), path.c_str());
        return false;
    }
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in),
                                     std::istreambuf_iterator<char>()};
    // Printed first, so the input that crashes is the last name in the log.
    std::fprintf(stderr, "%s: %s (%zu bytes)\n", program.c_str(), path.c_str(), bytes.size());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 0)
        program = std::filesystem::path(argv[0]).filename().string();
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR_OR_FILE...\n", program.c_str());
        return 2;
    }
    size_t count = 0;
    bool ok = true;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path root(argv[i]);
        std::error_code error;
        if (std::filesystem::is_regular_file(root, error)) {
            ok = replayFile(root) && ok;
            ++count;
            continue;
        }
        if (!std::filesystem::is_directory(root, error)) {
            std::fprintf(stderr, "%s: no such corpus: %s\n", program.c_str(), argv[i]);
            ok = false;
            continue;
        }
        // Sorted, so every run replays in the same order.
        std::vector<std::filesystem::path> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
            if (entry.is_regular_file())
                files.push_back(entry.path());
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            ok = replayFile(file) && ok;
            ++count;
        }
    }
    std::printf("%s: %zu inputs replayed\n", program.c_str(), count);
    return ok && count > 0 ? 0 : 1;
}
