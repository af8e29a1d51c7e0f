// The bit mask: blocks of 64 bits, and what is special about clearing, growing and comparing them.
#include "ztk/bit_mask.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using ZTK::CBitMask;

TEST(BitMask, SettingABitSetsNoOther) {
    for (std::uint64_t bit = 0; bit < 200; ++bit) {
        CBitMask mask;
        EXPECT_TRUE(mask.IsEmpty() && !mask && mask.Set(bit, true));
        for (std::uint64_t other = 0; other < 256; ++other) {
            ASSERT_EQ(mask.IsSet(other), bit == other) << bit << ", " << other;
            ASSERT_NE(mask.IsClear(other), bit == other) << bit << ", " << other;
        }
        EXPECT_FALSE(mask.IsEmpty());
        EXPECT_EQ(!mask, bit % 64 >= 32) << "it looks at the lower half of each block";
        mask.Clear();
        EXPECT_TRUE(mask.IsEmpty());
    }
}

TEST(BitMask, ClearingABitOfTheUpperHalfClearsThatOfTheLowerOne) {
    for (std::uint64_t bit = 0; bit < 256; ++bit) {
        CBitMask mask;
        mask.SetSize(255, false);
        mask.SetSize(255, true);  // no growth, so it starts afresh
        EXPECT_TRUE(mask.Set(bit, false));
        const std::uint64_t block = bit / 64 * 64, half = bit % 32;
        for (std::uint64_t other = 0; other < 256; ++other) {
            // The last bit of a half takes all behind it along.
            const bool cleared =
                half == 31 ? other >= block + 31 && other < block + 64 : other == block + half;
            ASSERT_EQ(mask.IsSet(other), !cleared) << bit << ", " << other;
        }
    }
}

TEST(BitMask, OnlyGrowthKeepsTheBitsThatWereThere) {
    const std::pair<std::uint64_t, bool> sizes[] = {
        {0, false}, {63, true}, {64, true}, {127, false}, {128, true}, {511, false}, {511, true}};
    for (const auto& [size, fill] : sizes) {
        CBitMask mask(1);
        mask.SetSize(size, fill);
        const bool kept = size >= 128;
        for (std::uint64_t bit = 0; bit < 64 * (size / 64 + 1); ++bit) {
            ASSERT_EQ(mask.IsSet(bit), kept && bit < 128 ? bit == 0 : fill) << size << ", " << bit;
        }
        mask.Set(600, true);  // the size grows on demand
        EXPECT_TRUE(mask.IsSet(600) && mask.IsClear(599) && mask.IsClear(601));
        EXPECT_EQ(mask.IsSet(0), kept || fill);
    }
}

TEST(BitMask, MasksMeetWhenEachPairOfBlocksDoes) {
    CBitMask mask, other;
    EXPECT_FALSE(mask & other);
    for (CBitMask* one : {&mask, &other}) {
        EXPECT_TRUE(one->Set(3, true) && one->Set(64, true));
    }
    EXPECT_TRUE(mask & other);
    EXPECT_TRUE(other.Set(3, false) && other.Set(4, true));
    EXPECT_FALSE((mask & other) || (other & mask));
    other = mask;
    other.SetSize(191, true);  // a third block, which the first mask lacks
    EXPECT_EQ(std::pair(mask & other, other & mask), std::pair(false, true));
    for (const std::uint64_t bits : {1, 3}) {  // as many bits as the other has blocks
        mask.SetSize(bits, true);
        EXPECT_EQ(std::pair(mask & other, other & mask), std::pair(true, true)) << bits;
    }
    EXPECT_EQ(&~mask, &mask);
    EXPECT_TRUE(mask.IsEmpty() && !(mask & other));
}

TEST(BitMask, CopiesAreTheirOwn) {
    CBitMask mask(5), assigned;
    CBitMask copy(mask);
    assigned.SetSize(500, true);
    assigned = mask;
    mask.Clear();
    for (CBitMask* one : {&copy, &assigned}) {
        EXPECT_TRUE(one->IsSet(0) && one->IsClear(1) && one->IsSet(2) && one->IsClear(300));
    }
}

TEST(BitMask, BitsThatNoMemoryHoldsReadZero) {
    CBitMask mask(1);
    for (const std::uint64_t bit : {~0ull, ~0ull - 255, ~0ull - 256, 1ull << 63, 1ull << 50}) {
        EXPECT_TRUE(mask.Set(bit, true)) << bit;
        EXPECT_TRUE(mask.IsClear(bit)) << bit;
        mask.SetSize(bit, true);
    }
    EXPECT_TRUE(mask.IsSet(0) && mask.IsClear(1)) << "the mask is as it was";
}

}  // namespace
