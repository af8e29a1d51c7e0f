// Mutual exclusion on one futex word: what critical sections and the layer's own locks are made of.
#pragma once

#include <sys/single_threaded.h>

#include "platform/posix/futex.h"

namespace ZTKPosix {

// The values of a lock word. Zero-initialised memory is a free lock.
inline constexpr std::uint32_t kLockFree = 0;
inline constexpr std::uint32_t kLockTaken = 1;
inline constexpr std::uint32_t kLockWaitedFor = 2;  // taken, and a thread may sleep on it

// The rest of LockAcquire when the word was not free: spins for a moment, then sleeps.
void LockAcquireContended(FutexWord& word) noexcept;

// As long as the process has a single thread, plain loads and stores do: an interlocked instruction
// costs more than all the rest of an uncontended pair. The C library's own mutexes go by the same
// flag. It is cleared before a second thread starts, and the values in the word mean the same
// either way.
inline void LockAcquire(FutexWord& word) noexcept {
    std::uint32_t expected = kLockFree;
    if (__libc_single_threaded && word.load(std::memory_order_relaxed) == kLockFree) {
        word.store(kLockTaken, std::memory_order_relaxed);
        return;
    }
    if (!word.compare_exchange_strong(expected, kLockTaken, std::memory_order_acquire,
                                      std::memory_order_relaxed)) {
        LockAcquireContended(word);
    }
}

inline void LockRelease(FutexWord& word) noexcept {
    if (__libc_single_threaded) {
        word.store(kLockFree, std::memory_order_release);
        return;
    }
    if (word.exchange(kLockFree, std::memory_order_release) == kLockWaitedFor) {
        FutexWakeOne(&word);
    }
}

}  // namespace ZTKPosix
