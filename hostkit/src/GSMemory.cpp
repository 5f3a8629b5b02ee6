// GSMemory.cpp: the host's handles and pointers, its memory and 8-bit text calls, and the
// allocator of GS objects.
//
// A handle is a small block {data pointer, size}; the handle points at its first field, so that
// *handle is the data. A pointer has its size in a header just before its bytes.
#include "hostkit/GSMemory.h"

#include "hostkit/GSException.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

struct HandleBlock {
    char* data;  // first: a GSHandle is the address of this field
    GSSize size;
};
static_assert(offsetof(HandleBlock, data) == 0);

// Keeps the bytes after it aligned as malloc's are.
struct alignas(alignof(std::max_align_t)) PointerHeader {
    GSSize size;
};

std::atomic<GSSize> liveBlocks{0};
std::atomic<GSSize> killCalls{0};

HandleBlock* BlockOf(GSConstHandle handle) {
    return reinterpret_cast<HandleBlock*>(const_cast<char**>(handle));
}

const PointerHeader* HeaderOf(GSConstPtr pointer) {
    return reinterpret_cast<const PointerHeader*>(pointer) - 1;
}

// At least one byte, so that a zero-size block has an address of its own.
char* AllocateBytes(GSSize size) {
    return static_cast<char*>(std::malloc(size > 0 ? static_cast<std::size_t>(size) : 1));
}

}  // namespace

GSHandle BMAllocateHandle(GSSize size, int32_t /*flags*/, GSSize /*reserved*/) {
    if (size < 0) {
        return nullptr;
    }
    auto* block = static_cast<HandleBlock*>(std::malloc(sizeof(HandleBlock)));
    if (block == nullptr) {
        return nullptr;
    }
    block->data = AllocateBytes(size);
    if (block->data == nullptr) {
        std::free(block);
        return nullptr;
    }
    // Zeroed even without ALLOCATE_CLEAR: the contents are unspecified then, and zero is one.
    std::memset(block->data, 0, static_cast<std::size_t>(size));
    block->size = size;
    ++liveBlocks;
    return &block->data;
}

GSHandle BMReallocHandle(GSHandle handle, GSSize newSize, int32_t /*flags*/, GSSize /*reserved*/) {
    if (handle == nullptr || newSize < 0) {
        return nullptr;
    }
    HandleBlock* block = BlockOf(handle);
    char* bytes = static_cast<char*>(
        std::realloc(block->data, newSize > 0 ? static_cast<std::size_t>(newSize) : 1));
    if (bytes == nullptr) {
        return nullptr;  // the handle keeps its old bytes
    }
    if (newSize > block->size) {
        std::memset(bytes + block->size, 0, static_cast<std::size_t>(newSize - block->size));
    }
    block->data = bytes;
    block->size = newSize;
    return handle;
}

void BMKillHandle(GSHandle* handle) {
    ++killCalls;
    if (handle == nullptr || *handle == nullptr) {
        return;
    }
    HandleBlock* block = BlockOf(*handle);
    std::free(block->data);
    std::free(block);
    *handle = nullptr;
    --liveBlocks;
}

GSSize BMGetHandleSize(GSConstHandle handle) {
    return handle == nullptr ? 0 : BlockOf(handle)->size;
}

GSPtr BMAllocatePtr(GSSize size, int32_t /*flags*/, GSSize /*reserved*/) {
    if (size < 0) {
        return nullptr;
    }
    auto* header = static_cast<PointerHeader*>(
        std::malloc(sizeof(PointerHeader) + static_cast<std::size_t>(size)));
    if (header == nullptr) {
        return nullptr;
    }
    header->size = size;
    char* bytes = reinterpret_cast<char*>(header + 1);
    std::memset(bytes, 0, static_cast<std::size_t>(size));
    ++liveBlocks;
    return bytes;
}

void BMKillPtr(GSPtr* pointer) {
    ++killCalls;
    if (pointer == nullptr || *pointer == nullptr) {
        return;
    }
    std::free(const_cast<PointerHeader*>(HeaderOf(*pointer)));
    *pointer = nullptr;
    --liveBlocks;
}

GSSize BMGetPtrSize(GSConstPtr pointer) { return pointer == nullptr ? 0 : HeaderOf(pointer)->size; }

GSSize BMLiveBlockCount() { return liveBlocks.load(); }

GSSize BMKillCallCount() { return killCalls.load(); }

void BNFillMemory(void* destination, GSSize count, unsigned char value) {
    if (destination != nullptr && count > 0) {
        std::memset(destination, value, static_cast<std::size_t>(count));
    }
}

void BNCopyMemory(void* destination, const void* source, GSSize count) {
    if (destination != nullptr && source != nullptr && count > 0) {
        std::memmove(destination, source, static_cast<std::size_t>(count));
    }
}

void CHCopyC(const char* source, char* destination) {
    if (source != nullptr && destination != nullptr) {
        std::memmove(destination, source, std::strlen(source) + 1);
    }
}

namespace GS {

void* NewOperator(std::size_t size) {
    void* pointer = std::malloc(size > 0 ? size : 1);
    if (pointer == nullptr) {
        throw OutOfMemoryException();
    }
    return pointer;
}

void DeleteOperator(void* pointer) { std::free(pointer); }

void* NewArrayOperator(std::size_t size) { return NewOperator(size); }

void DeleteArrayOperator(void* pointer) { DeleteOperator(pointer); }

}  // namespace GS
