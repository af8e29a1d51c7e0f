// The process heap, on both targets.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "ztk/platform.h"

namespace {

TEST(ProcessHeap, GrowthReadsZeroFromTheLastRequestedByteOn) {
    const HANDLE heap = GetProcessHeap();
    ASSERT_NE(nullptr, heap);
    const std::vector<SIZE_T> walks[] = {
        {1, 2, 16, 17}, {100, 10, 100}, {64, 63, 65, 1, 4096},
        {0, 40},        {40, 0, 40},    {300000, 5, 500000},
    };
    for (const auto& walk : walks) {
        std::vector<unsigned char> expected(walk[0]);
        auto* block = static_cast<unsigned char*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, walk[0]));
        for (const SIZE_T size : walk) {
            block = static_cast<unsigned char*>(HeapReAlloc(heap, HEAP_ZERO_MEMORY, block, size));
            ASSERT_NE(nullptr, block) << size;
            EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(block) % alignof(double));
            expected.resize(size);
            EXPECT_TRUE(size == 0 || std::memcmp(expected.data(), block, size) == 0) << size;
            for (SIZE_T i = 0; i < size; ++i) {
                expected[i] = block[i] = static_cast<unsigned char>(i + 1);
            }
        }
        EXPECT_NE(0, HeapFree(heap, 0, block));
    }
}

TEST(ProcessHeap, RefusesWhatCannotBeAndKeepsTheOldBlock) {
    const HANDLE heap = GetProcessHeap();
    void* block = HeapAlloc(heap, 0, 8);
    ASSERT_NE(nullptr, block);
    std::memcpy(block, "kept on", 8);
    volatile SIZE_T sizes[] = {SIZE_MAX, SIZE_MAX - 15, SIZE_MAX - 16, SIZE_MAX / 2};
    for (const SIZE_T size : sizes) {
        EXPECT_EQ(nullptr, HeapAlloc(heap, HEAP_ZERO_MEMORY, size)) << size;
        EXPECT_EQ(nullptr, HeapReAlloc(heap, HEAP_ZERO_MEMORY, block, size)) << size;
        EXPECT_STREQ("kept on", static_cast<char*>(block));
    }
    EXPECT_EQ(nullptr, HeapReAlloc(heap, HEAP_ZERO_MEMORY, nullptr, 8));
    EXPECT_NE(0, HeapFree(heap, 0, block));
    EXPECT_NE(0, HeapFree(heap, 0, nullptr));
}

}  // namespace
