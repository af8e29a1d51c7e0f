#include "platform/posix/kernel/lock/lock.h"

#include "platform/posix/kernel/lock/spin.h"

namespace ZTKPosix {

void Lock::AcquireContended() noexcept {
    for (int i = 0; i < kSpins; ++i) {
        RelaxProcessor();
        std::uint32_t seen = word_.load(std::memory_order_relaxed);
        if (seen == kWaitedFor) {
            break;  // others sleep already; spinning past them would only starve them
        }
        if (seen == kFree && word_.compare_exchange_weak(seen, kTaken, std::memory_order_acquire,
                                                         std::memory_order_relaxed)) {
            return;
        }
    }
    // Taken with "waited for" even if nobody else waits: this thread cannot know. The price is one
    // wake call too many at its release.
    while (word_.exchange(kWaitedFor, std::memory_order_acquire) != kFree) {
        FutexWait(word_, kWaitedFor, nullptr);
    }
}

}  // namespace ZTKPosix
