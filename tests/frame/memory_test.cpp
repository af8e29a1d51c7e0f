// The process heap, the blocks that cross the library's boundary, the rings of temporary strings.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <numeric>
#include <set>
#include <thread>
#include <vector>

#include "support/barrier.h"
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
    block = ZTK::MemRealloc(std::memset(block, 0xAB, 100), 10);
    block = ZTK::MemRealloc(block, 100000);
    EXPECT_TRUE(Holds(block, 0xAB, 0, 10) && Holds(block, 0, 10, 100000));
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

// --- The rings of temporary strings

constexpr int kSlots = 256, kThreads = 16;

template <typename Char>
Char* Request(unsigned int count) {
    Char* text = nullptr;
    EXPECT_EQ(ZTK::ZTKGetTmpString(text, count), 1U) << count;
    return text;
}

template <typename Char>
struct TmpRing : testing::Test {
    // All the other slots. The other ring is independent: its requests neither use up this ring's
    // slots nor write to them.
    static std::set<Char*> RestOfTheTurn() {
        std::set<Char*> texts;
        for (int i = 1; i < kSlots; ++i) {
            texts.insert(Request<Char>(1));
            Request<std::conditional_t<std::is_same_v<Char, char>, wchar_t, char>>(1);
        }
        return texts;
    }
};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(TmpRing, Chars);

TYPED_TEST(TmpRing, ASlotComesBackWithItsOldTextAtThe256thFurtherRequest) {
    TypeParam* first = Request<TypeParam>(600);
    std::fill_n(first, 600, static_cast<TypeParam>('o'));
    const auto others = this->RestOfTheTurn();
    EXPECT_TRUE(others.size() == 255 && others.count(first) == 0 && first[0] == 'o');
    EXPECT_EQ(Request<TypeParam>(10), first);
    EXPECT_TRUE(first[0] == 0 && first[1] == 'o' && first[599] == 'o');
    this->RestOfTheTurn();
    TypeParam* larger = Request<TypeParam>(300000);
    EXPECT_TRUE(larger[0] == 0 && larger[1] == 'o' && larger[599] == 'o');
    EXPECT_EQ(std::count(larger + 600, larger + 300000, 0), 299400);
    this->RestOfTheTurn();
    EXPECT_EQ(Request<TypeParam>(512000), larger) << "a long text's slot is not held twice";
}

TYPED_TEST(TmpRing, CountsOutOfRangeAreRefusedWithoutTakingASlot) {
    TypeParam* first = Request<TypeParam>(1);
    this->RestOfTheTurn();
    for (const unsigned int count : {0U, 512001U, 0x80000000U, 0xFFFFFFFFU}) {
        TypeParam* text = first;
        EXPECT_TRUE(ZTK::ZTKGetTmpString(text, count) == 0 && text == first) << count;
    }
    EXPECT_EQ(Request<TypeParam>(1), first) << "refusals must not advance the ring";
    Request<TypeParam>(512000)[511999] = 'e';
}

// Any 256 requests in a row have 256 different slots, and each text stays its requester's until
// then: 16 threads make 16 requests each between two barriers.
TYPED_TEST(TmpRing, ManyThreadsNeverShareASlotWithin256Requests) {
    std::vector<TypeParam*> texts(kSlots);
    std::atomic<int> lost{0}, shared{0};
    ztk_test::Barrier round(kThreads);
    const auto work = [&](int t) {
        for (int r = 0; r < 400; ++r) {
            for (int i = t * 16; i < t * 16 + 16; ++i) {
                texts[i] = Request<TypeParam>(16);
                std::memcpy(texts[i], &i, sizeof i);
            }
            round.ArriveAndWait();
            for (int i = t * 16; i < t * 16 + 16; ++i) {
                lost += std::memcmp(texts[i], &i, sizeof i) != 0;
            }
            shared += t == 0 && std::set(texts.begin(), texts.end()).size() != kSlots;
            round.ArriveAndWait();
        }
        // Without any pacing: the counter must come through its wraps whatever the timing.
        for (int i = 0; i < 20000; ++i) {
            ASSERT_NE(Request<TypeParam>(16), nullptr);
        }
    };
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back(work, t);
    }
    threads.clear();  // joins
    EXPECT_EQ(lost + shared, 0);
}

}  // namespace
