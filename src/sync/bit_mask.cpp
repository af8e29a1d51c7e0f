// The growable set of flags.
#include "ztk/bit_mask.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "platform/memory/allocation.h"

namespace ZTK {
namespace {

constexpr std::uint64_t kBlockBits = 64;
constexpr std::uint64_t kBlockBytes = sizeof(std::uint64_t);
constexpr std::uint64_t kSlack = 256;  // bits that a growth adds behind the one that asked for it

// More than a process can have is not even requested.
constexpr std::uint64_t kMostBytes =
    std::min<std::uint64_t>(std::uint64_t{1} << 40, std::numeric_limits<std::size_t>::max());

std::uint64_t BlocksFor(std::uint64_t bits) noexcept {
    return bits / kBlockBits + 1;
}

std::uint64_t* AllocateBlocks(std::uint64_t bytes, bool fill) noexcept {
    if (bytes > kMostBytes) {
        return nullptr;
    }
    const auto size = static_cast<std::size_t>(bytes);
    void* const blocks =
        fill ? allocation::RuntimeAlloc(size) : allocation::RuntimeAllocZeroed(size);
    if (blocks != nullptr && fill) {
        std::memset(blocks, 0xFF, size);
    }
    return static_cast<std::uint64_t*>(blocks);
}

}  // namespace

CBitMask::CBitMask() noexcept {
    SetSize(kBlockBits, false);
}

CBitMask::CBitMask(std::uint64_t value) noexcept : CBitMask() {
    if (blocks_ != nullptr) {
        blocks_[0] = value;
    }
}

CBitMask::CBitMask(const CBitMask& other) noexcept {
    *this = other;
}

CBitMask& CBitMask::operator=(const CBitMask& other) noexcept {
    if (this != &other && Resize(other.size_, false) && other.blocks_ != nullptr) {
        std::memcpy(blocks_, other.blocks_, static_cast<std::size_t>(other.allocated_bytes_));
    }
    return *this;
}

CBitMask::~CBitMask() {
    allocation::RuntimeFree(blocks_);
}

void CBitMask::SetSize(std::uint64_t n, bool fill) noexcept {
    (void)Resize(n, fill);  // a mask that cannot be resized stays as it is
}

// False if memory is short. Only a growth keeps the old bits: callers that resize to the same size
// mean to start afresh.
bool CBitMask::Resize(std::uint64_t n, bool fill) noexcept {
    const std::uint64_t bytes = BlocksFor(n) * kBlockBytes;
    std::uint64_t* const blocks = AllocateBlocks(bytes, fill);
    if (blocks == nullptr) {
        return false;
    }
    if (allocated_bytes_ != 0 && allocated_bytes_ < bytes) {
        std::memcpy(blocks, blocks_, static_cast<std::size_t>(allocated_bytes_));
    }
    allocation::RuntimeFree(blocks_);
    blocks_ = blocks;
    size_ = n;
    block_count_ = BlocksFor(n);
    allocated_bytes_ = bytes;
    return true;
}

// Finds the bit's block, growing the mask for a bit behind its end. False if memory is short.
bool CBitMask::GetBitBlock(std::uint64_t bit, std::uint64_t& position,
                           std::uint64_t*& block) noexcept {
    const std::uint64_t index = bit / kBlockBits;
    if (index >= block_count_) {
        const bool can_add = bit <= std::numeric_limits<std::uint64_t>::max() - kSlack;
        if (!can_add || !Resize(index == 0 ? kBlockBits : bit + kSlack, false)) {
            return false;
        }
    }
    position = bit % kBlockBits;
    block = blocks_ + index;
    return true;
}

bool CBitMask::Set(std::uint64_t bit, bool value) noexcept {
    std::uint64_t position = 0;
    std::uint64_t* block = nullptr;
    if (!GetBitBlock(bit, position, block)) {
        return true;
    }
    if (value) {
        *block |= std::uint64_t{1} << position;
    } else {
        // The mask is one of 32 bits whose sign is extended to 64. Callers rely on what that does
        // to positions 31 and up.
        const auto kept = static_cast<std::int32_t>(~(std::uint32_t{1} << position % 32));
        *block &= static_cast<std::uint64_t>(static_cast<std::int64_t>(kept));
    }
    return true;
}

// Grows the mask as Set does: callers test the highest bit to make room for all.
bool CBitMask::IsSet(std::uint64_t bit) noexcept {
    std::uint64_t position = 0;
    std::uint64_t* block = nullptr;
    return GetBitBlock(bit, position, block) && (*block >> position & 1) != 0;
}

bool CBitMask::IsClear(std::uint64_t bit) noexcept {
    return !IsSet(bit);
}

void CBitMask::Clear() noexcept {
    std::fill_n(blocks_, block_count_, 0);
}

bool CBitMask::IsEmpty() const noexcept {
    return std::all_of(blocks_, blocks_ + block_count_,
                       [](std::uint64_t block) { return block == 0; });
}

bool CBitMask::operator!() const noexcept {
    return std::all_of(blocks_, blocks_ + block_count_, [](std::uint64_t block) {
        return static_cast<std::uint32_t>(block) == 0;  // callers keep other flags in the rest
    });
}

CBitMask& CBitMask::operator~() noexcept {
    std::for_each(blocks_, blocks_ + block_count_, [](std::uint64_t& block) { block = ~block; });
    return *this;
}

std::uint64_t CBitMask::BlockOrNone(std::uint64_t index) const noexcept {
    return index < block_count_ ? blocks_[index] : 0;
}

bool CBitMask::operator&(const CBitMask& other) const noexcept {
    // The one side counts bits, the other blocks of 64 bits. Callers rely on the blocks that this
    // rule compares.
    const std::uint64_t compared = size_ > other.block_count_ ? other.block_count_ : block_count_;
    for (std::uint64_t i = 0; i < compared; ++i) {
        if ((BlockOrNone(i) & other.BlockOrNone(i)) == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace ZTK
