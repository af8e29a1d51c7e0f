// The recursive lock: a futex word that names its owner, and a count. A lock whose owner was lost
// in a fork is taken over in the child.
//
// Acquire and Release are inline: CLock is made of them, and the two calls would cost as much as
// the rest.
#pragma once

#include "platform/posix/kernel/lock/futex.h"
#include "platform/posix/kernel/thread_record.h"
#include "ztk/platform.h"
#include "ztk/platform/thread_annotations.h"

namespace ZTKPosix {

class ZTK_CAPABILITY("mutex") RecursiveLock {
  public:
    RecursiveLock() noexcept = default;
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    // Leaves a free lock behind: a thread that wrongly takes it afterwards does not sleep for ever.
    ~RecursiveLock() { word_.store(0, std::memory_order_relaxed); }

    // Waits, without end, until no other thread holds the lock, and takes one level.
    //
    // The owner is read without the lock. Only the calling thread itself stores its own number
    // there, so the comparison is true exactly when the caller holds the lock, whatever else it may
    // see. Not analysed, here and below: the analysis does not know the word for a lock.
    void Acquire() noexcept ZTK_ACQUIRE() ZTK_NO_THREAD_SAFETY_ANALYSIS {
        const std::uint32_t self = current_record.lock_owner;
        std::uint32_t seen = word_.load(std::memory_order_relaxed);
        if (self != 0 && (seen & ~kWaitedFor) == self) {
            ++depth_;
            return;
        }
        // A thread that has no number yet gets it where it waits. So nothing here needs registers
        // that a call would have to keep.
        if (self == 0 || seen != 0 ||
            !word_.compare_exchange_strong(seen, self, std::memory_order_acquire,
                                           std::memory_order_relaxed)) [[unlikely]] {
            AcquireContended();
            return;
        }
        last_owner_.store(self, std::memory_order_relaxed);
    }

    // Gives one level back. Called by a thread that does not hold the lock it does nothing.
    void Release() noexcept ZTK_RELEASE() ZTK_NO_THREAD_SAFETY_ANALYSIS {
        const std::uint32_t holder = word_.load(std::memory_order_relaxed) & ~kWaitedFor;
        if (holder == 0 || holder != current_record.lock_owner) {
            return;
        }
        if (depth_ != 0) {
            --depth_;
            return;
        }
        if ((word_.exchange(0, std::memory_order_release) & kWaitedFor) != 0) [[unlikely]] {
            FutexWakeOne(&word_);
        }
    }

    [[nodiscard]] bool IsLastOwner() const noexcept {
        return last_owner_.load(std::memory_order_relaxed) == CurrentLockOwner();
    }

  private:
    static constexpr std::uint32_t kWaitedFor = 1u << 31;  // a thread may sleep on the word

    // The rest of Acquire for a lock that was not free, and for a thread's first lock.
    void AcquireContended() noexcept;

    FutexWord word_{0};  // 0 for free, else the owner, as CurrentLockOwner gave it, and kWaitedFor
    std::uint32_t depth_ = 0;  // levels beyond the first; touched by the owner only
    std::atomic<std::uint32_t> last_owner_{0};  // written by the owner only
};

}  // namespace ZTKPosix

namespace ZTK {

// For the library's own code: hides the exported function.
inline DWORD GetCurrentThreadId() noexcept {
    return ZTKPosix::CurrentThreadId();
}

using ZTKPosix::RecursiveLock;

}  // namespace ZTK
