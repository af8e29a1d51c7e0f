// The two rings of temporary strings. Picking and growing a slot take no lock.
#pragma once

#include <atomic>
#include <cstdint>

namespace ZTK::frame {

inline constexpr std::int32_t kRingSlots = 256;
inline constexpr std::uint32_t kMaxRingText = 512000;  // characters, terminator included

// The next slot index of a ring. Seen from one thread the indexes run 0, 1, ... limit - 1, 0, 1,
// ...
std::int32_t NextTmpIndex(std::atomic<std::int32_t>& counter, std::int32_t limit) noexcept;

// One ring of slots for texts of Char. Constant-initialized.
template <typename Char>
class TmpRing {
  public:
    // A slot for count characters whose first character is 0. Never null: a refused allocation ends
    // the process. REQUIRES: 1 <= count <= kMaxRingText.
    Char* Request(std::uint32_t count) noexcept;

    // Attach and detach work; no other thread uses the ring then.
    void Clear() noexcept;
    void FreeSlot(std::int32_t index) noexcept;

  private:
    struct Block;

    Block* EnsureTmpSlot(std::atomic<Block*>& slot, std::uint32_t count) noexcept;

    std::atomic<std::int32_t> next_{0};
    std::atomic<Block*> slots_[kRingSlots] = {};
};

extern TmpRing<char> narrow_ring;
extern TmpRing<wchar_t> wide_ring;

}  // namespace ZTK::frame
