// The layer's one kind of lock, and its guard.
#pragma once

#include "platform/posix/kernel/lock/futex.h"
#include "ztk/platform/thread_annotations.h"

namespace ZTKPosix {

// Mutual exclusion on one futex word; not recursive. A lock at namespace scope needs no code to be
// built or destroyed, so it works from the first instruction of a process to its last. Taking a
// free lock and releasing one that nobody waits for are inline and make no system call.
class ZTK_CAPABILITY("mutex") Lock {
  public:
    constexpr Lock() noexcept = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void Acquire() noexcept ZTK_ACQUIRE() {
        std::uint32_t expected = kFree;
        if (!word_.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                           std::memory_order_relaxed)) [[unlikely]] {
            AcquireContended();
        }
    }

    // Takes the lock if it is free.
    bool TryAcquire() noexcept ZTK_TRY_ACQUIRE(true) {
        std::uint32_t expected = kFree;
        return word_.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                             std::memory_order_relaxed);
    }

    void Release() noexcept ZTK_RELEASE() {
        if (word_.exchange(kFree, std::memory_order_release) == kWaitedFor) [[unlikely]] {
            FutexWakeOne(&word_);
        }
    }

    // Makes the lock free, whoever holds it. For memory that begins or ends its time as a lock.
    void Reset() noexcept { word_.store(kFree, std::memory_order_relaxed); }

  private:
    static constexpr std::uint32_t kFree = 0;
    static constexpr std::uint32_t kTaken = 1;
    static constexpr std::uint32_t kWaitedFor = 2;  // taken, and a thread may sleep on it

    // The rest of Acquire when the lock was not free: spins for a moment, then sleeps.
    void AcquireContended() noexcept;

    FutexWord word_{kFree};
};

// Holds a lock for a scope.
class ZTK_SCOPED_CAPABILITY LockGuard {
  public:
    explicit LockGuard(Lock& lock) noexcept ZTK_ACQUIRE(lock) : lock_(lock) { lock_.Acquire(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    ~LockGuard() ZTK_RELEASE() { lock_.Release(); }

  private:
    Lock& lock_;
};

}  // namespace ZTKPosix
