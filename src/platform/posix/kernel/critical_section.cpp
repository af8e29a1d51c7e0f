#include "platform/posix/kernel/critical_section.h"

#include "platform/posix/kernel/lock/spin.h"

namespace ZTKPosix {

void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept {
    section->word.store(0, std::memory_order_relaxed);
    section->depth = 0;
}

void EnterContended(CRITICAL_SECTION* section, std::uint32_t self) noexcept {
    constexpr std::uint32_t kWaitedFor = CRITICAL_SECTION::kWaitedFor;
    FutexWord& word = section->word;
    std::uint32_t seen = word.load(std::memory_order_relaxed);
    // While others sleep already, spinning past them would only starve them.
    for (int i = 0; i < kSpins && (seen & kWaitedFor) == 0; ++i) {
        if (seen == 0 && word.compare_exchange_weak(seen, self, std::memory_order_acquire,
                                                    std::memory_order_relaxed)) {
            return;
        }
        RelaxProcessor();
        seen = word.load(std::memory_order_relaxed);
    }
    for (;;) {
        if (seen == 0 || IsLostInFork(seen & ~kWaitedFor)) {
            // Taken with "waited for" even if nobody else waits: this thread cannot know. The price
            // is one wake call too many when it leaves.
            if (word.compare_exchange_weak(seen, self | kWaitedFor, std::memory_order_acquire,
                                           std::memory_order_relaxed)) {
                section->depth = 0;  // a lost owner may have left more levels
                return;
            }
        } else if ((seen & kWaitedFor) != 0 ||
                   word.compare_exchange_weak(seen, seen | kWaitedFor, std::memory_order_relaxed)) {
            FutexWait(word, seen | kWaitedFor, nullptr);
            seen = word.load(std::memory_order_relaxed);
        }
    }
}

// Leaves a free section behind: a thread that wrongly enters it afterwards does not sleep for ever.
void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept {
    InitializeCriticalSection(section);
}

}  // namespace ZTKPosix
