// Heap blocks that cross the library's boundary.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "support/text.h"
#include "ztk/memory.h"

namespace {

bool AllZero(const void* bytes, std::size_t count) {
    const auto* first = static_cast<const unsigned char*>(bytes);
    return std::all_of(first, first + count, [](unsigned char b) { return b == 0; });
}

TEST(Memory, BlocksAreZeroFilledAndRefusalsAreNull) {
    EXPECT_EQ(ZTK::MemAlloc(0), nullptr);
    EXPECT_EQ(ZTK::MemAlloc(std::numeric_limits<std::uint64_t>::max()), nullptr);
    EXPECT_EQ(ZTK::MemAlloc(std::numeric_limits<std::uint64_t>::max() / 2), nullptr);
    for (const std::size_t size : {std::size_t{1}, std::size_t{17}, std::size_t{100000}}) {
        void* dirty = ZTK::MemAlloc(size);
        ASSERT_NE(dirty, nullptr);
        std::memset(dirty, 0xEE, size);
        ZTK::MemFree(dirty);
        void* block = ZTK::MemAlloc(size);
        ASSERT_NE(block, nullptr);
        EXPECT_TRUE(AllZero(block, size)) << size;
        ZTK::MemFree(block);
    }
}

TEST(Memory, GrowthKeepsTheOldBytesAndReadsZeroBeyondThem) {
    auto* block = static_cast<unsigned char*>(ZTK::MemAlloc(100));
    ASSERT_NE(block, nullptr);
    std::memset(block, 0xAB, 100);
    for (const std::size_t size :
         {200, 10, 3000, 1, 100000}) {  // shrinking first must not uncover old bytes
        const std::size_t kept = std::min<std::size_t>(10, size);
        auto* resized = static_cast<unsigned char*>(ZTK::MemRealloc(block, size));
        ASSERT_NE(resized, nullptr) << size;
        block = resized;
        EXPECT_TRUE(std::all_of(block, block + std::min<std::size_t>(kept, 1),
                                [](unsigned char b) { return b == 0xAB; }));
        if (size > 100) {
            EXPECT_TRUE(AllZero(block + 100, size - 100)) << size;
        }
    }
    EXPECT_TRUE(AllZero(block + 1, 99999)) << "bytes cut off by the shrink to 1 came back";
    void* refused = ZTK::MemRealloc(block, std::numeric_limits<std::uint64_t>::max() / 2);
    EXPECT_EQ(refused, nullptr);
    EXPECT_EQ(block[0], 0xAB) << "a refused growth must leave the block as it was";
    ZTK::MemFree(block);
    EXPECT_EQ(ZTK::MemRealloc(nullptr, 100), nullptr) << "a null block is not an allocation";
}

TEST(Memory, DuplicatesAndReleasesAreInterchangeable) {
    char* narrow = ZTK::StrDupW("ab\xC3\xA9");
    wchar_t* wide = ZTK::StrDupW(L"ab\x20AC");
    EXPECT_TEXT("ab\xC3\xA9", narrow);
    EXPECT_TEXT(L"ab\x20AC", wide);
    ZTK::MemFree(narrow);
    ZTK::StrFree(static_cast<const wchar_t*>(wide));

    char* empty_narrow = ZTK::StrDupW("");
    wchar_t* empty_wide = ZTK::StrDupW(L"");
    EXPECT_TEXT("", empty_narrow);
    EXPECT_TEXT(L"", empty_wide);
    ZTK::StrFree(empty_narrow);
    ZTK::MemFree(empty_wide);

    EXPECT_EQ(ZTK::StrDupW(static_cast<const char*>(nullptr)), nullptr);
    EXPECT_EQ(ZTK::StrDupW(static_cast<const wchar_t*>(nullptr)), nullptr);
    ZTK::MemFree(nullptr);
    ZTK::StrFree(static_cast<const char*>(nullptr));
    ZTK::StrFree(static_cast<const wchar_t*>(nullptr));
}

TEST(Memory, HostAndLibraryShareTheProcessHeap) {
    void* from_host = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, 64);
    ASSERT_NE(from_host, nullptr);
    void* grown = ZTK::MemRealloc(from_host, 4096);
    ASSERT_NE(grown, nullptr);
    ZTK::MemFree(grown);
    void* from_library = ZTK::MemAlloc(64);
    ASSERT_NE(from_library, nullptr);
    EXPECT_NE(HeapFree(GetProcessHeap(), 0, from_library), FALSE);
}

}  // namespace
