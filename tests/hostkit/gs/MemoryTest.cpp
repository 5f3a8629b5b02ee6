// MemoryTest.cpp: the host's handles and pointers, its memory and 8-bit text calls, and the GS
// allocator.
#include "hostkit/GSException.h"
#include "hostkit/GSMemory.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

// Under the address sanitizer an impossible allocation would end the run; let it fail as the
// system's allocator does, so that the out-of-memory path can be tested.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }

TEST(MemoryHandle, HasTheSizeAskedAndClearedBytes) {
    GSHandle handle = BMAllocateHandle(100, ALLOCATE_CLEAR, 0);
    ASSERT_NE(handle, nullptr);
    ASSERT_NE(*handle, nullptr);
    EXPECT_EQ(BMGetHandleSize(handle), 100);
    EXPECT_EQ(std::string(*handle, 100), std::string(100, '\0'));
    BMKillHandle(&handle);
    EXPECT_EQ(handle, nullptr);
}

TEST(MemoryHandle, ZeroSizeIsAValidHandle) {
    GSHandle handle = BMAllocateHandle(0, 0, 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(BMGetHandleSize(handle), 0);
    BMKillHandle(&handle);
}

TEST(MemoryHandle, NegativeSizeGivesNull) {
    EXPECT_EQ(BMAllocateHandle(-1, 0, 0), nullptr);
    GSHandle handle = BMAllocateHandle(4, 0, 0);
    EXPECT_EQ(BMReallocHandle(handle, -5, 0, 0), nullptr);
    EXPECT_EQ(BMGetHandleSize(handle), 4);  // unchanged
    BMKillHandle(&handle);
}

TEST(MemoryHandle, ReallocKeepsTheHandleAndTheBytes) {
    GSHandle handle = BMAllocateHandle(8, 0, 0);
    std::memcpy(*handle, "abcdefgh", 8);
    EXPECT_EQ(BMReallocHandle(handle, 1 << 20, 0, 0), handle);
    EXPECT_EQ(BMGetHandleSize(handle), 1 << 20);
    EXPECT_EQ(std::string(*handle, 8), "abcdefgh");
    (*handle)[(1 << 20) - 1] = 'z';  // the whole new size is usable
    EXPECT_EQ(BMReallocHandle(handle, 3, 0, 0), handle);
    EXPECT_EQ(BMGetHandleSize(handle), 3);
    EXPECT_EQ(std::string(*handle, 3), "abc");
    BMKillHandle(&handle);
}

TEST(MemoryHandle, ReallocOfNullGivesNull) {
    EXPECT_EQ(BMReallocHandle(nullptr, 4, 0, 0), nullptr);
}

TEST(MemoryHandle, SizeOfNullIsZero) { EXPECT_EQ(BMGetHandleSize(nullptr), 0); }

TEST(MemoryHandle, KillAcceptsNullAndANullVariable) {
    BMKillHandle(nullptr);
    GSHandle handle = nullptr;
    BMKillHandle(&handle);
    EXPECT_EQ(handle, nullptr);
}

TEST(MemoryPointer, HasTheSizeAskedAndClearedBytes) {
    GSPtr pointer = BMAllocatePtr(33, ALLOCATE_CLEAR, 0);
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(BMGetPtrSize(pointer), 33);
    EXPECT_EQ(std::string(pointer, 33), std::string(33, '\0'));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pointer) % alignof(std::max_align_t), 0u);
    BMKillPtr(&pointer);
    EXPECT_EQ(pointer, nullptr);
}

TEST(MemoryPointer, ZeroSizeIsAValidPointerNegativeIsNull) {
    GSPtr pointer = BMAllocatePtr(0, 0, 0);
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(BMGetPtrSize(pointer), 0);
    BMKillPtr(&pointer);
    EXPECT_EQ(BMAllocatePtr(-1, 0, 0), nullptr);
}

TEST(MemoryPointer, SizeOfNullIsZeroAndKillAcceptsNull) {
    EXPECT_EQ(BMGetPtrSize(nullptr), 0);
    BMKillPtr(nullptr);
    GSPtr pointer = nullptr;
    BMKillPtr(&pointer);
    EXPECT_EQ(pointer, nullptr);
}

TEST(MemoryLiveCount, CountsHandlesAndPointersUntilKilled) {
    const GSSize start = BMLiveBlockCount();
    GSHandle handle = BMAllocateHandle(10, 0, 0);
    GSPtr pointer = BMAllocatePtr(10, 0, 0);
    EXPECT_EQ(BMLiveBlockCount(), start + 2);
    BMReallocHandle(handle, 1000, 0, 0);
    EXPECT_EQ(BMLiveBlockCount(), start + 2);
    BMKillHandle(&handle);
    EXPECT_EQ(BMLiveBlockCount(), start + 1);
    BMKillHandle(&handle);  // already null: no change
    BMKillPtr(&pointer);
    BMKillPtr(&pointer);
    EXPECT_EQ(BMLiveBlockCount(), start);
}

TEST(MemoryLiveCount, FailedAllocationsAreNotCounted) {
    const GSSize start = BMLiveBlockCount();
    BMAllocateHandle(-3, 0, 0);
    BMAllocatePtr(-3, 0, 0);
    EXPECT_EQ(BMLiveBlockCount(), start);
}

TEST(MemoryCalls, FillMemorySetsTheCountedBytes) {
    char bytes[8] = {};
    BNFillMemory(bytes + 1, 5, 0xAB);
    EXPECT_EQ(std::string(bytes, 8), std::string("\0\xAB\xAB\xAB\xAB\xAB\0\0", 8));
    BNFillMemory(bytes, 0, 1);
    BNFillMemory(nullptr, 4, 1);
    EXPECT_EQ(bytes[0], '\0');
}

TEST(MemoryCalls, CopyMemoryCopiesTheCountedBytesEvenOverlapping) {
    char bytes[] = "abcdefgh";
    char copy[9] = {};
    BNCopyMemory(copy, bytes, 4);
    EXPECT_STREQ(copy, "abcd");
    BNCopyMemory(bytes + 2, bytes, 4);
    EXPECT_STREQ(bytes, "ababcdgh");
    BNCopyMemory(copy, bytes, 0);
    EXPECT_STREQ(copy, "abcd");
}

TEST(MemoryCalls, CopyCCopiesTheTextWithItsTerminator) {
    char destination[8];
    std::memset(destination, 'x', sizeof destination);
    CHCopyC("abc", destination);
    EXPECT_STREQ(destination, "abc");
    EXPECT_EQ(destination[4], 'x');
    CHCopyC("", destination);
    EXPECT_STREQ(destination, "");
}

TEST(GSAllocator, NewOperatorGivesUsableMemory) {
    void* single = GS::NewOperator(24);
    ASSERT_NE(single, nullptr);
    std::memset(single, 1, 24);
    GS::DeleteOperator(single);
    void* array = GS::NewArrayOperator(0);
    ASSERT_NE(array, nullptr);
    GS::DeleteArrayOperator(array);
    GS::DeleteOperator(nullptr);
}

TEST(GSAllocator, NewOperatorThrowsOutOfMemoryWhenNothingIsLeft) {
    EXPECT_THROW(GS::NewOperator(static_cast<std::size_t>(-1) / 2), GS::OutOfMemoryException);
}
