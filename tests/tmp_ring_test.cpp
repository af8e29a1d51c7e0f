// The rings of temporary strings.

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "support/barrier.h"
#include "support/text.h"
#include "ztk/memory.h"

namespace {

constexpr int kSlots = 256;

template <typename Char>
Char* Request(unsigned int count) {
    Char* text = nullptr;
    EXPECT_EQ(ZTK::ZTKGetTmpString(text, count), 1U) << count;
    return text;
}

template <typename Char>
class TmpRing : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(TmpRing, Chars);

TYPED_TEST(TmpRing, ASlotComesBackWithThe256thFurtherRequest) {
    TypeParam* first = Request<TypeParam>(8);
    first[0] = 'x';
    std::set<TypeParam*> others;
    for (int i = 1; i < kSlots; ++i) {
        others.insert(Request<TypeParam>(8));
        // The other ring is independent: its requests neither use up this ring's slots nor write to
        // them.
        Request<std::conditional_t<std::is_same_v<TypeParam, char>, wchar_t, char>>(8);
    }
    EXPECT_EQ(others.size(), 255U);
    EXPECT_EQ(others.count(first), 0U);
    EXPECT_EQ(first[0], static_cast<TypeParam>('x')) << "intact through 255 further requests";
    EXPECT_EQ(Request<TypeParam>(8), first);
    EXPECT_EQ(first[0], 0);
}

TYPED_TEST(TmpRing, CountsOutOfRangeAreRefusedWithoutTakingASlot) {
    TypeParam* first = Request<TypeParam>(1);
    for (int i = 1; i < kSlots; ++i) {
        Request<TypeParam>(1);
    }
    TypeParam marker = 0;
    for (const unsigned int count : {0U, 512001U, 0x80000000U, 0xFFFFFFFFU}) {
        TypeParam* text = &marker;
        EXPECT_EQ(ZTK::ZTKGetTmpString(text, count), 0U) << count;
        EXPECT_EQ(text, &marker) << count;
    }
    EXPECT_EQ(Request<TypeParam>(1), first) << "refusals must not advance the ring";
    TypeParam* largest = Request<TypeParam>(512000);
    largest[511999] = 'e';
}

TYPED_TEST(TmpRing, ASlotKeepsItsRoomAndItsTextBeyondTheFirstCharacter) {
    auto whole_turn = [] {
        for (int i = 1; i < kSlots; ++i) {
            Request<TypeParam>(1);
        }
    };
    TypeParam* text = Request<TypeParam>(600);
    std::fill_n(text, 600, static_cast<TypeParam>('o'));
    whole_turn();
    TypeParam* smaller = Request<TypeParam>(10);
    EXPECT_EQ(smaller, text);
    EXPECT_EQ(smaller[0], 0);
    EXPECT_EQ(smaller[599], static_cast<TypeParam>('o'));
    whole_turn();
    TypeParam* larger = Request<TypeParam>(300000);
    EXPECT_EQ(larger[0], 0);
    EXPECT_EQ(larger[1], static_cast<TypeParam>('o'));
    EXPECT_EQ(larger[599], static_cast<TypeParam>('o'));
    for (const int grown : {600, 1023, 2048, 299999}) {
        EXPECT_EQ(larger[grown], 0) << grown;
    }
}

// Any 256 requests in a row have 256 different slots, and each text stays its requester's until
// then: 16 threads make 16 requests each between two barriers.
TYPED_TEST(TmpRing, ManyThreadsNeverShareASlotWithin256Requests) {
    constexpr int kThreads = 16;
    constexpr int kRounds = 400;
    std::vector<TypeParam*> texts(kSlots);
    std::atomic<int> lost{0};
    std::atomic<int> shared{0};
    ztk_test::Barrier round(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; ++r) {
                for (int i = t * 16; i < t * 16 + 16; ++i) {
                    texts[i] = Request<TypeParam>(16);
                    texts[i][0] = static_cast<TypeParam>(1 + i % 120);
                    texts[i][1] = static_cast<TypeParam>(1 + i / 120);
                }
                round.ArriveAndWait();
                for (int i = t * 16; i < t * 16 + 16; ++i) {
                    lost += texts[i][0] != 1 + i % 120 || texts[i][1] != 1 + i / 120;
                }
                if (t == 0) {
                    shared += std::set<TypeParam*>(texts.begin(), texts.end()).size() != kSlots;
                }
                round.ArriveAndWait();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(shared, 0);
}

// Without any pacing: the counter must come through its wraps whatever the threads' timing.
TYPED_TEST(TmpRing, UnpacedThreadsAllGetASlot) {
    std::vector<std::thread> threads;
    std::atomic<int> refused{0};
    for (int t = 0; t < 16; ++t) {
        threads.emplace_back([&refused] {
            for (int i = 0; i < 20000; ++i) {
                TypeParam* text = nullptr;
                refused += ZTK::ZTKGetTmpString(text, 16) != 1 || text == nullptr;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(refused, 0);
}

}  // namespace
