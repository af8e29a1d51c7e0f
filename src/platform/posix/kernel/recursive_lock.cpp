#include "platform/posix/kernel/recursive_lock.h"

#include "platform/posix/kernel/lock/spin.h"

namespace ZTKPosix {

void RecursiveLock::AcquireContended() noexcept {
    const std::uint32_t self = CurrentLockOwner();
    std::uint32_t seen = word_.load(std::memory_order_relaxed);
    // While others sleep already, spinning past them would only starve them.
    for (int i = 0; i < kSpins && (seen & kWaitedFor) == 0; ++i) {
        if (seen == 0 && word_.compare_exchange_weak(seen, self, std::memory_order_acquire,
                                                     std::memory_order_relaxed)) {
            last_owner_.store(self, std::memory_order_relaxed);
            return;
        }
        RelaxProcessor();
        seen = word_.load(std::memory_order_relaxed);
    }
    for (;;) {
        if (seen == 0 || IsLostInFork(seen & ~kWaitedFor)) {
            // Taken with "waited for" even if nobody else waits: this thread cannot know. The price
            // is one wake call too many when it leaves.
            if (word_.compare_exchange_weak(seen, self | kWaitedFor, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
                depth_ = 0;  // a lost owner may have left more levels
                last_owner_.store(self, std::memory_order_relaxed);
                return;
            }
        } else if ((seen & kWaitedFor) != 0 ||
                   word_.compare_exchange_weak(seen, seen | kWaitedFor,
                                               std::memory_order_relaxed)) {
            FutexWait(word_, seen | kWaitedFor, nullptr);
            seen = word_.load(std::memory_order_relaxed);
        }
    }
}

}  // namespace ZTKPosix
