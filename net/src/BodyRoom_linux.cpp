// BodyRoom_linux.cpp: a body's room, made once or grown, and mapped ahead of its bytes.
#include "BodyRoom_linux.h"

#include "net/HttpGet.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <new>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace {

// How far ahead of the bytes the room is mapped: this much at least, and at most kRoomGrowth
// times what has arrived.
constexpr std::size_t kMapAhead = std::size_t{16} << 20;
// A room that is outgrown is followed by one this many times larger: few copies of a large body,
// and never much more room than what has arrived.
constexpr std::size_t kRoomGrowth = 4;
// Below this a declared body is mapped at once, on the receiving thread.
constexpr std::size_t kMapperFrom = kMapAhead;
// What the mapper maps at once: up to the next large page's border, so that it soon sees when to
// stop.
constexpr std::size_t kMapStep = std::size_t{2} << 20;
// The mapper's allowance once it is to stop; a running mapper's is never below kMapAhead.
constexpr std::size_t kStopped = 0;

std::atomic<void (*)(std::size_t)> mappedAheadObserver{nullptr};

std::size_t Allowance(std::size_t arrived) { return std::max(kMapAhead, kRoomGrowth * arrived); }

// Gives the system `advice` on the whole pages of `length` bytes at `start`; advice it does not
// know (an older kernel) changes nothing.
void AdviseWholePages(char* start, std::size_t length, int advice) {
    const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto first = reinterpret_cast<std::uintptr_t>(start);
    const std::uintptr_t begin = (first + pageSize - 1) & ~(pageSize - 1);
    const std::uintptr_t end = (first + length) & ~(pageSize - 1);
    if (end > begin) {
        madvise(reinterpret_cast<void*>(begin), end - begin, advice);
    }
}

// Maps the pages in one call: page by page, the faults of filling the room of a large body would
// cost more than the transfer itself.
void Prefault(char* start, std::size_t length) {
    AdviseWholePages(start, length, MADV_POPULATE_WRITE);
}

// Asks for the room in the system's large pages where it has them (transparent huge pages on
// request): a fault then maps 2 MiB instead of 4 KiB.
void AskForLargePages(char* start, std::size_t length) {
    AdviseWholePages(start, length, MADV_HUGEPAGE);
}

}  // namespace

void BodyRoom::Expect(std::size_t size) {
    MoveTo(size);
    if (body.capacity() < size) {
        return;  // refused: the appends make their own room
    }
    if (size < kMapperFrom) {
        MapAhead(size);
    } else {
        StartMapper();
    }
}

void BodyRoom::Append(const char* bytes, std::size_t size) {
    if (body.size() + size > body.capacity()) {
        StopMapping();
        MoveTo(kRoomGrowth * std::max(body.capacity(), size));
    }
    if (body.size() + size > mapped) {
        MapAhead(body.size() + size);
    }
    body.append(bytes, size);
    if (mapper.joinable() && body.size() >= nextAllowance) {
        nextAllowance = body.size() + kMapStep / kRoomGrowth;
        mapperMayMap.store(Allowance(body.size()), std::memory_order_release);
        mapperMayMap.notify_one();
    }
}

void BodyRoom::StopMapping() {
    if (mapper.joinable()) {
        mapperMayMap.store(kStopped, std::memory_order_release);
        mapperMayMap.notify_one();
        mapper.join();
    }
}

// Moves the body into a room of `size` bytes, copying the bytes so far into pages mapped ahead of
// the copy. A refusal is no failure: the append that needs the room makes it itself.
void BodyRoom::MoveTo(std::size_t size) {
    try {
        std::string room;
        room.reserve(size);
        AskForLargePages(room.data(), room.capacity());
        Prefault(room.data(), body.size());
        room.append(body);
        body.swap(room);
        mapped = body.size();
    } catch (const std::bad_alloc&) {
    }
}

// Maps the room's pages for `needed` bytes of body and its allowance beyond, in one call.
void BodyRoom::MapAhead(std::size_t needed) {
    const std::size_t end = std::min(body.capacity(), Allowance(needed));
    if (end > mapped) {
        Prefault(body.data() + mapped, end - mapped);
        mapped = end;
    }
}

// Hands the mapping of the room to a thread of its own. Without one it stays on this thread.
void BodyRoom::StartMapper() {
    mapperMayMap.store(Allowance(body.size()), std::memory_order_relaxed);
    nextAllowance = body.size() + kMapStep / kRoomGrowth;
    try {
        mapper = std::thread(MapUpTo, std::ref(mapperMayMap), body.data(), body.capacity());
    } catch (const std::system_error&) {
        return;
    }
    mapped = body.capacity();
}

// The mapper: maps `size` bytes from `start`, as far as it may, until all is mapped or it is to
// stop.
void BodyRoom::MapUpTo(std::atomic<std::size_t>& mayMap, char* start, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        const std::size_t allowed = mayMap.load(std::memory_order_acquire);
        if (allowed == kStopped) {
            return;
        }
        if (done >= allowed) {
            if (const auto observer = mappedAheadObserver.load(std::memory_order_relaxed)) {
                observer(done);
            }
            mayMap.wait(allowed, std::memory_order_acquire);
            continue;
        }
        const auto at = reinterpret_cast<std::uintptr_t>(start + done);
        const std::size_t step = std::min({kMapStep - at % kMapStep, allowed - done, size - done});
        Prefault(start + done, step);
        done += step;
    }
}

void SetMappedAheadObserver(void (*observer)(std::size_t mapped)) {
    mappedAheadObserver.store(observer, std::memory_order_relaxed);
}
