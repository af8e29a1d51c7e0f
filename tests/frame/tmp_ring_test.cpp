// The rings of temporary strings.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "support/barrier.h"
#include "ztk/memory.h"

namespace {

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
    template <typename Work>
    static void OnThreads(Work work) {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back(work, t);
        }
        for (auto& thread : threads) {
            thread.join();
        }
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
    this->OnThreads([&](int t) {
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
    });
    EXPECT_EQ(lost + shared, 0);
}

}  // namespace
