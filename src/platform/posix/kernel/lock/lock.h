// Mutual exclusion on one futex word: what critical sections and the layer's own locks are made of.
#pragma once

#include "platform/posix/kernel/lock/futex.h"

namespace ZTKPosix {

// The values of a lock word. Zero-initialised memory is a free lock.
inline constexpr std::uint32_t kLockFree = 0;
inline constexpr std::uint32_t kLockTaken = 1;
inline constexpr std::uint32_t kLockWaitedFor = 2;  // taken, and a thread may sleep on it

// The rest of LockAcquire when the word was not free: spins for a moment, then sleeps.
void LockAcquireContended(FutexWord& word) noexcept;

inline void LockAcquire(FutexWord& word) noexcept {
    std::uint32_t expected = kLockFree;
    if (!word.compare_exchange_strong(expected, kLockTaken, std::memory_order_acquire,
                                      std::memory_order_relaxed)) [[unlikely]] {
        LockAcquireContended(word);
    }
}

inline void LockRelease(FutexWord& word) noexcept {
    if (word.exchange(kLockFree, std::memory_order_release) == kLockWaitedFor) [[unlikely]] {
        FutexWakeOne(&word);
    }
}

}  // namespace ZTKPosix
