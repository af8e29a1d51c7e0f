// The bit mask against a model under random operations, and its edges.
#include "ztk/bit_mask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using ZTK::CBitMask;

// One bool for each stored bit.
struct Model {
    std::vector<bool> bits = std::vector<bool>(128);
    std::uint64_t size = 64;

    void SetSize(std::uint64_t n, bool fill) {
        const std::size_t stored = (n / 64 + 1) * 64;
        if (stored <= bits.size()) {
            bits.clear();
        }
        bits.resize(stored, fill);
        size = n;
    }
    void Reach(std::uint64_t bit) {
        if (bit >= bits.size()) {
            SetSize(bit + 256, false);
        }
    }
    void Clear(std::uint64_t bit) {
        const std::size_t position = bit % 64;
        const auto block = bits.begin() + static_cast<std::ptrdiff_t>(bit - position);
        if (position == 31 || position == 63) {
            std::fill(block + 31, block + 64, false);
        } else {
            block[static_cast<std::ptrdiff_t>(position < 31 ? position : position - 32)] = false;
        }
    }
    bool ShareInBlock(const Model& other, std::size_t block) const {
        for (std::size_t i = block * 64; i < block * 64 + 64; ++i) {
            if (i < bits.size() && i < other.bits.size() && bits[i] && other.bits[i]) {
                return true;
            }
        }
        return false;
    }
    bool Intersects(const Model& other) const {
        const std::size_t theirs = other.bits.size() / 64;
        const std::size_t compared = size > theirs ? theirs : bits.size() / 64;
        for (std::size_t block = 0; block < compared; ++block) {
            if (!ShareInBlock(other, block)) {
                return false;
            }
        }
        return true;
    }
    bool IsEmpty(std::size_t of_each_block) const {
        for (std::size_t i = 0; i < bits.size(); ++i) {
            if (bits[i] && i % 64 < of_each_block) {
                return false;
            }
        }
        return true;
    }
};

TEST(BitMask, IsTheModelUnderRandomOperations) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        CBitMask masks[2] = {CBitMask(), CBitMask(1)};
        Model models[2];
        models[1].bits[0] = true;
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
                    model.bits.flip();
                    break;
                case 2:
                    mask = masks[1 - i];
                    model = models[1 - i];
                    break;
                case 3:
                    mask.Clear();
                    model.bits.assign(model.bits.size(), false);
                    break;
                default:
                    EXPECT_TRUE(mask.Set(bit, value));
                    model.Reach(bit);
                    value ? void(model.bits[bit] = true) : model.Clear(bit);
            }
            const std::uint64_t probe = random() % (model.bits.size() + (random() % 16 == 0));
            model.Reach(probe);
            ASSERT_EQ(mask.IsSet(probe), model.bits[probe]);
            ASSERT_EQ(mask.IsEmpty(), model.IsEmpty(64));
            ASSERT_EQ(!mask, model.IsEmpty(32));
            ASSERT_EQ(masks[0] & masks[1], models[0].Intersects(models[1]));
            ASSERT_EQ(masks[1] & masks[0], models[1].Intersects(models[0]));
        }
        CBitMask copy(masks[0]);
        masks[0].Clear();
        for (std::uint64_t bit = 0; bit < models[0].bits.size(); ++bit) {
            ASSERT_NE(copy.IsClear(bit), models[0].bits[bit]) << bit;
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
