// The bit mask against a model under random operations, and its edges.
#include "ztk/bit_mask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <random>
#include <vector>

namespace {

using ZTK::CBitMask;

// The blocks, each a set of positions.
struct Model {
    std::vector<std::bitset<64>> blocks = std::vector<std::bitset<64>>(2);
    std::uint64_t size = 64;

    void SetSize(std::uint64_t n, bool fill) {
        if (n / 64 + 1 <= blocks.size()) {
            blocks.clear();
        }
        blocks.resize(n / 64 + 1, fill ? ~std::bitset<64>() : std::bitset<64>());
        size = n;
    }
    std::bitset<64>& BlockOf(std::uint64_t bit) {
        if (bit / 64 >= blocks.size()) {
            SetSize(bit + 256, false);
        }
        return blocks[bit / 64];
    }
    void Clear(std::uint64_t bit) {
        std::bitset<64>& block = BlockOf(bit);
        const std::size_t position = bit % 64;
        for (std::size_t i = 31; i < 64 && (position == 31 || position == 63); ++i) {
            block.reset(i);
        }
        block.reset(position < 32 ? position : position - 32);
    }
    bool Intersects(const Model& other) const {
        const std::size_t theirs = other.blocks.size();
        for (std::size_t i = 0; i < (size > theirs ? theirs : blocks.size()); ++i) {
            if (i >= blocks.size() || i >= theirs || (blocks[i] & other.blocks[i]).none()) {
                return false;
            }
        }
        return true;
    }
    bool IsEmpty(std::uint64_t positions) const {
        return std::ranges::all_of(blocks, [positions](const std::bitset<64>& block) {
            return (block & std::bitset<64>(positions)).none();
        });
    }
};

TEST(BitMask, IsTheModelUnderRandomOperations) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        CBitMask masks[2] = {CBitMask(), CBitMask(1)};
        Model models[2];
        models[1].blocks[0][0] = true;
        for (int step = 0; step < 200; ++step) {
            const std::size_t i = random() % 2;
            CBitMask& mask = masks[i];
            Model& model = models[i];
            const std::uint64_t bit = random() % (random() % 16 == 0 ? 2000 : 130);
            const bool value = random() % 2 != 0;
            switch (random() % 40) {
                case 0:
                    mask.SetSize(bit, value);
                    model.SetSize(bit, value);
                    break;
                case 1:
                    EXPECT_EQ(&~mask, &mask);
                    std::ranges::for_each(model.blocks, [](auto& block) { block.flip(); });
                    break;
                case 2:
                    mask = masks[1 - i];
                    model = models[1 - i];
                    break;
                case 3:
                    mask.Clear();
                    std::ranges::for_each(model.blocks, [](auto& block) { block.reset(); });
                    break;
                default:
                    EXPECT_TRUE(mask.Set(bit, value));
                    value ? void(model.BlockOf(bit).set(bit % 64)) : model.Clear(bit);
            }
            const std::uint64_t probe = random() % (64 * model.blocks.size() + step % 2);
            ASSERT_EQ(mask.IsSet(probe), model.BlockOf(probe)[probe % 64]);
            ASSERT_EQ(mask.IsEmpty(), model.IsEmpty(~0ull));
            ASSERT_EQ(!mask, model.IsEmpty(0xFFFFFFFF));
            ASSERT_EQ(masks[0] & masks[1], models[0].Intersects(models[1]));
            ASSERT_EQ(masks[1] & masks[0], models[1].Intersects(models[0]));
        }
        CBitMask copy(masks[0]);
        masks[0].Clear();
        for (std::uint64_t bit = 0; bit < 64 * models[0].blocks.size(); ++bit) {
            ASSERT_NE(copy.IsClear(bit), models[0].BlockOf(bit)[bit % 64]) << bit;
        }
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
