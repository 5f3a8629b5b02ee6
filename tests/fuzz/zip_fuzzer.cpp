// zip_fuzzer.cpp: the libFuzzer target of the ZIP reader. Each input is opened as an archive in
// memory, walked, and every member is read to its end. Exceptions of the library are the expected
// answer to broken input; crashes, sanitizer reports, leaks and hangs are findings.
#include "common/OVException.h"
#include "streams/MemoryStreams.h"
#include "zip/ZipFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <vector>

namespace {

// Bounds what one input may cost, so a small archive that inflates to gigabytes is not mistaken
// for a hang.
constexpr uint64_t kMaxBytesPerInput = 64ull << 20;
// Consecutive empty reads after which a member reader is taken to spin without progress.
constexpr uint32_t kMaxEmptyReads = 1u << 20;

[[noreturn]] void finding(const char* what) {
    std::fprintf(stderr, "zip_fuzzer: %s\n", what);
    std::fflush(stderr);
    __builtin_trap();
}

// Reads member `index` to its end in chunks; stops early once the input's budget is spent.
void readMember(ZipFile& zip, int32_t index, uint64_t& budget) {
    try {
        uint64_t size = 0;
        std::unique_ptr<InputStream> member = zip.openMember(index, &size, false);
        if (!member)
            return;
        std::vector<uint8_t> chunk(InputStream::kChunk);
        uint32_t emptyReads = 0;
        while (budget > 0) {
            const int64_t got = member->read(chunk.data(), static_cast<int64_t>(chunk.size()));
            if (got < 0)
                break;
            if (got > static_cast<int64_t>(chunk.size()))
                finding("read delivered more than asked");
            if (got == 0) {
                if (++emptyReads > kMaxEmptyReads)
                    finding("member reader makes no progress");
                continue;
            }
            emptyReads = 0;
            budget -= static_cast<uint64_t>(got) < budget ? static_cast<uint64_t>(got) : budget;
        }
    } catch (const std::exception&) {
        // OVException and the standard family: a refusal, not a finding.
    }
}

// The most entries a walk may deliver: every member, and every folder its path names.
uint64_t walkBound(const ZipFile& zip) {
    uint64_t bound = 16;
    const auto& members = zip.getMembers();
    for (const ZipMemberInfo& member : members) {
        bound += 1;
        for (char16_t c : member.folder)
            bound += c == u'/' || c == u'\\' ? 1 : 0;
    }
    return bound * 2;
}

// Walks the archive; with `read`, reads each member the walk names.
void walk(ZipFile& zip, uint32_t flags, bool read, std::vector<bool>& seen, uint64_t& budget) {
    try {
        ZipDirectoryIterator iterator(zip, u"", flags);
        ZipDirectoryEntry entry;
        const uint64_t bound = walkBound(zip);
        uint64_t count = 0;
        while (iterator.next(entry)) {
            if (++count > bound)
                finding("walk delivers more entries than the archive holds");
            if (!read || entry.memberIndex < 0)
                continue;
            const auto index = static_cast<size_t>(entry.memberIndex);
            if (index < seen.size()) {
                if (seen[index])
                    continue;
                seen[index] = true;
            }
            readMember(zip, entry.memberIndex, budget);
        }
    } catch (const std::exception&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        ByteBuffer bytes(data, data + size);
        // No provider: encrypted members are tried with the built-in default password.
        ZipFile zip(std::make_unique<MemoryInputStream>(std::move(bytes)), nullptr);
        uint64_t budget = kMaxBytesPerInput;
        std::vector<bool> seen(zip.getMembers().size(), false);
        walk(zip, ZipDirectoryIterator::kFiles | ZipDirectoryIterator::kDirectories, true, seen,
             budget);
        walk(zip, ZipDirectoryIterator::kFiles, false, seen, budget);
        // Members the walk did not name (duplicates, odd paths) are read by index.
        for (size_t index = 0; index < seen.size(); ++index)
            if (!seen[index])
                readMember(zip, static_cast<int32_t>(index), budget);
        zip.close();
    } catch (const std::exception&) {
    }
    return 0;
}
