// The process heap, and the blocks that cross the library's boundary.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "support/text.h"
#include "ztk/memory.h"

namespace {

// All bytes at the indexes from..to-1 are byte.
bool Holds(const void* block, unsigned char byte, std::size_t from, std::size_t to) {
    const auto* bytes = static_cast<const unsigned char*>(block);
    return std::count(bytes + from, bytes + to, byte) == static_cast<std::ptrdiff_t>(to - from);
}

TEST(Memory, BlocksAreZeroFilledAndRefusalsAreNull) {
    for (const std::uint64_t size : {std::uint64_t{0}, UINT64_MAX, UINT64_MAX / 2}) {
        EXPECT_EQ(ZTK::MemAlloc(size), nullptr) << size;
    }
    for (const std::size_t size : {1, 1, 17, 17, 100000, 100000}) {
        void* block = ZTK::MemAlloc(size);
        EXPECT_TRUE(block != nullptr && Holds(block, 0, 0, size)) << size;
        ZTK::MemFree(std::memset(block, 0xEE, size));
    }
}

TEST(Memory, GrowthKeepsTheOldBytesAndReadsZeroBeyondThem) {
    // A block of the host, which shares the heap. Bytes cut off must not come back.
    void* block = HeapAlloc(GetProcessHeap(), 0, 100);
    std::size_t kept = 100;
    std::memset(block, 0xAB, kept);
    for (const std::size_t size : {200, 10, 100000}) {
        block = ZTK::MemRealloc(block, size);
        kept = std::min(kept, size);
        EXPECT_TRUE(Holds(block, 0xAB, 0, kept) && Holds(block, 0, kept, size)) << size;
    }
    EXPECT_EQ(ZTK::MemRealloc(block, UINT64_MAX / 2), nullptr);
    EXPECT_TRUE(Holds(block, 0xAB, 0, 1)) << "a refused growth must leave the block as it was";
    EXPECT_NE(HeapFree(GetProcessHeap(), 0, block), FALSE);
    EXPECT_EQ(ZTK::MemRealloc(nullptr, 100), nullptr) << "a null block is not an allocation";
}

TEST(Memory, DuplicatesAndReleasesAreInterchangeable) {
    for (const char* text : {"ab\xC3\xA9", "", static_cast<const char*>(nullptr)}) {
        char* copy = ZTK::StrDupW(text);
        EXPECT_TEXT(text, copy);
        EXPECT_TRUE(copy != text || text == nullptr);
        ZTK::MemFree(copy);
    }
    for (const wchar_t* text : {L"ab\x20AC", L"", static_cast<const wchar_t*>(nullptr)}) {
        wchar_t* copy = ZTK::StrDupW(text);
        EXPECT_TEXT(text, copy);
        ZTK::StrFree(copy);
    }
    ZTK::StrFree(static_cast<const char*>(ZTK::MemAlloc(1)));
    ZTK::StrFree(static_cast<const char*>(nullptr));
}

TEST(ProcessHeap, GrowthReadsZeroFromTheLastRequestedByteOnAndRefusalsKeepTheBlock) {
    const HANDLE heap = GetProcessHeap();
    std::vector<unsigned char> expected;
    auto* block = static_cast<unsigned char*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, 0));
    for (const SIZE_T size : {1, 2, 17, 0, 100, 10, 100, 64, 63, 65, 1, 4096, 0, 300000, 5, 5000}) {
        block = static_cast<unsigned char*>(HeapReAlloc(heap, HEAP_ZERO_MEMORY, block, size));
        ASSERT_NE(nullptr, block) << size;
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(block) % alignof(double));
        expected.resize(size);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), block)) << size;
        std::iota(expected.begin(), expected.end(), 1);
        std::copy(expected.begin(), expected.end(), block);
    }
    for (const volatile SIZE_T size : {SIZE_MAX, SIZE_MAX - 15, SIZE_MAX - 16, SIZE_MAX / 2}) {
        EXPECT_EQ(nullptr, HeapAlloc(heap, HEAP_ZERO_MEMORY, size)) << size;
        EXPECT_EQ(nullptr, HeapReAlloc(heap, HEAP_ZERO_MEMORY, block, size)) << size;
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), block)) << size;
    }
    EXPECT_EQ(nullptr, HeapReAlloc(heap, HEAP_ZERO_MEMORY, nullptr, 8));
    EXPECT_TRUE(HeapFree(heap, 0, block) && HeapFree(heap, 0, nullptr));
}

}  // namespace
