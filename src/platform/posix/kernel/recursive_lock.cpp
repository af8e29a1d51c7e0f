#include "platform/posix/kernel/recursive_lock.h"

#include "platform/posix/kernel/lock/spin.h"

namespace ZTKPosix {

namespace {

constexpr int kLongestPause = 64;  // in calls of RelaxProcessor

}  // namespace

void RecursiveLock::AcquireContended() noexcept {
    const std::uint32_t self = CurrentLockOwner();
    std::uint32_t seen = word_.load(std::memory_order_relaxed);
    // While others sleep already, spinning past them would only starve them. The pauses grow: each
    // look takes the word's cache line from the owner, who wants it to release the lock.
    for (int pause = 1; pause <= kLongestPause && (seen & kWaitedFor) == 0; pause *= 2) {
        if (seen == 0 && word_.compare_exchange_weak(seen, self, std::memory_order_acquire,
                                                     std::memory_order_relaxed)) {
            last_owner_.store(self, std::memory_order_relaxed);
            return;
        }
        for (int i = 0; i < pause; ++i) {
            RelaxProcessor();
        }
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
