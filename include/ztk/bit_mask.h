// A growable set of flags, each addressed by a 64-bit number.
//
//     ZTK::CBitMask breakpoints;
//     breakpoints.Set(300, true);                    // grows by itself
//     if (breakpoints.IsSet(300)) Arm();
#pragma once

#include <cstdint>

#include "ztk/platform.h"

namespace ZTK {

// Flags in blocks of 64 bits: bit b is bit b % 64 of block b / 64. A mask of n bits has n / 64 + 1
// blocks, at least one bit more than asked for; every operation treats whole blocks, the bits
// beyond n included.
//
// Some operations do less than their names say, and callers rely on it: clearing works on 32 bits
// (see Set), operator! looks at the lower half of each block, and operator& asks for a common bit
// in every block.
//
// Ownership: copies are deep.
//
// Errors: nothing is reported. A mask that cannot grow or be resized because memory is short stays
// as it is: the bits behind its end read 0, and setting one has no effect. A mask of more than 2^40
// bytes is never asked for and counts as short of memory. A mask whose very first blocks were
// refused is one of no blocks; it gets blocks from the next operation that needs one.
//
// Thread-safety: a mask is used by one thread at a time. Testing a bit can grow the mask.
class ZTK_API CBitMask {
  public:
    // 64 bits, all 0; with value, those of value.
    CBitMask() noexcept;
    CBitMask(std::uint64_t value) noexcept;
    CBitMask(const CBitMask& other) noexcept;

    // Takes over size and bits. When memory is short this mask stays as it is.
    CBitMask& operator=(const CBitMask& other) noexcept;

    ~CBitMask();

    // Makes the mask n bits long. If the number of blocks grows, the old blocks keep their bits and
    // the new ones are all 1 with fill, else all 0. Otherwise the old bits are lost, and all bits
    // are 1 with fill, else 0.
    void SetSize(std::uint64_t n, bool fill) noexcept;

    // Sets or clears a bit. A bit behind the end grows the mask first, to bit + 256. Returns true,
    // also when memory for that is short and nothing was set.
    //
    // Clearing is exact for the first 31 bits of a block only. At position 31 and at position 63 it
    // clears positions 31 to 63; at positions 32 to 62 it clears the bit 32 below and not the bit
    // itself.
    bool Set(std::uint64_t bit, bool value) noexcept;

    // Whether a bit is 1, or 0. A bit behind the end grows the mask, to bit + 256, and reads 0.
    [[nodiscard]] bool IsSet(std::uint64_t bit) noexcept;
    [[nodiscard]] bool IsClear(std::uint64_t bit) noexcept;

    // Sets all bits to 0. The size stays.
    void Clear() noexcept;

    // Whether all bits are 0.
    [[nodiscard]] bool IsEmpty() const noexcept;

    // Whether the lower 32 bits of every block are 0. The upper ones are not looked at.
    [[nodiscard]] bool operator!() const noexcept;

    // Inverts every bit of this mask and returns it.
    CBitMask& operator~() noexcept;

    // Whether this mask and other have a bit in common in every block that is compared. These are
    // the first blocks, as many as other has if this mask has more bits than other has blocks, else
    // as many as this mask has. A block that one of the two lacks shares no bit. True if none is
    // compared.
    [[nodiscard]] bool operator&(const CBitMask& other) const noexcept;

  private:
    ZTK_LOCAL bool GetBitBlock(std::uint64_t bit, std::uint64_t& position,
                               std::uint64_t*& block) noexcept;
    ZTK_LOCAL bool Resize(std::uint64_t n, bool fill) noexcept;
    [[nodiscard]] ZTK_LOCAL std::uint64_t BlockOrNone(std::uint64_t index) const noexcept;

    std::uint64_t* blocks_ = nullptr;                     // on the C runtime's heap
    std::uint64_t size_ = 0;                              // the bits last asked for
    [[maybe_unused]] std::uint64_t bytes_per_block_ = 8;  // always
    [[maybe_unused]] std::uint64_t bits_per_block_ = 64;  // always
    std::uint64_t block_count_ = 0;  // size_ / 64 + 1; 0 while there are no blocks
    std::uint64_t allocated_bytes_ = 0;
};

}  // namespace ZTK
