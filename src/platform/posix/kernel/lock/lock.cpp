#include "platform/posix/kernel/lock/lock.h"

namespace ZTKPosix {

namespace {

// Most of what is done under these locks takes well under a microsecond, a sleep and a wake-up
// several.
constexpr int kSpins = 100;

void RelaxProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield");
#endif
}

}  // namespace

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
