// The state of a shared object in one word, which is also what waiters sleep on. Every change is
// one atomic step.
//
// Only a signalled object can be taken, and a take clears kSleepers with kSignalled: whoever slept
// was woken when it was signalled, and comes back to see. A sleeper sets kSleepers first, and gives
// the kernel the value that he saw, so no change escapes him.
#pragma once

#include "platform/posix/kernel/shared/layout.h"

namespace ZTKPosix::shared {

inline constexpr std::uint32_t kSignalled = 1;
// A wait for all keeps the object until it has them all, under the table's lock. Whoever meets this
// enters the lock and looks again. A manual-reset event stays signalled meanwhile, the others not.
inline constexpr std::uint32_t kReserved = 2;
// Somebody may sleep on the word.
inline constexpr std::uint32_t kSleepers = 4;
// Of a mutex: its last owner ended without releasing it.
inline constexpr std::uint32_t kAbandoned = 8;
// Of a mutex that is not signalled: its owner's seat.
inline constexpr unsigned kSeatShift = 4;
inline constexpr std::uint32_t kSeatMask = 0xFFFU << kSeatShift;
static_assert(kMaxSeats - 1 == kSeatMask >> kSeatShift);
// Counts the takes and resets.
inline constexpr std::uint32_t kRound = 1U << 16;
inline constexpr std::uint32_t kRoundMask = ~(kRound - 1);

inline std::uint32_t SeatOf(std::uint32_t word) noexcept {
    return (word & kSeatMask) >> kSeatShift;
}

// The word after a take by seat (0 for events) or a reset.
inline std::uint32_t NextRound(std::uint32_t word, std::uint32_t seat) noexcept {
    return (word & kRoundMask) + kRound + (seat << kSeatShift);
}

// Sets bits if that is all there is to do: nobody sleeps on the word. Otherwise the caller calls
// SetAndWakeAll.
inline bool SetQuietly(FutexWord& word, std::uint32_t bits) noexcept {
    std::uint32_t seen = word.load(std::memory_order_acquire);
    while ((seen & kSleepers) == 0) {
        if (word.compare_exchange_weak(seen, seen | bits, std::memory_order_acq_rel)) {
            return true;
        }
    }
    return (seen & bits) == bits;
}

}  // namespace ZTKPosix::shared
