// The process heap, on both targets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "ztk/platform.h"

namespace {

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
