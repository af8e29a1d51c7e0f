// The process heap, on both targets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include "ztk/platform.h"

namespace {

TEST(ProcessHeap, GrowthReadsZeroFromTheLastRequestedByteOn) {
    std::vector<unsigned char> expected;
    void* block = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, 0);
    for (const SIZE_T size :
         {1, 2, 16, 17, 0, 100, 10, 100, 64, 63, 65, 1, 4096, 0, 300000, 5, 500000}) {
        block = HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, size);
        ASSERT_NE(nullptr, block) << size;
        EXPECT_EQ(0U, reinterpret_cast<std::uintptr_t>(block) % alignof(double));
        expected.resize(size);
        auto* bytes = static_cast<unsigned char*>(block);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bytes)) << size;
        std::iota(expected.begin(), expected.end(), 1);
        std::copy(expected.begin(), expected.end(), bytes);
    }
    EXPECT_NE(0, HeapFree(GetProcessHeap(), 0, block));
}

TEST(ProcessHeap, RefusesWhatCannotBeAndKeepsTheOldBlock) {
    auto* block = static_cast<char*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, 8));
    ASSERT_NE(nullptr, std::strcpy(block, "kept on"));
    for (const volatile SIZE_T size : {SIZE_MAX, SIZE_MAX - 15, SIZE_MAX - 16, SIZE_MAX / 2}) {
        EXPECT_EQ(nullptr, HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, size)) << size;
        EXPECT_EQ(nullptr, HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, size)) << size;
        EXPECT_STREQ("kept on", block);
    }
    EXPECT_EQ(nullptr, HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, nullptr, 8));
    EXPECT_TRUE(HeapFree(GetProcessHeap(), 0, block) && HeapFree(GetProcessHeap(), 0, nullptr));
}

}  // namespace
