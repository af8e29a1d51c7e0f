#include "platform/posix/kernel/shared/shared_futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace ZTKPosix::shared {

namespace {

// As the kernel reads it. Older headers lack it, and the call's number.
struct WaitEntry {
    std::uint64_t value;
    std::uint64_t address;
    std::uint32_t flags;
    std::uint32_t reserved;
};
constexpr std::uint32_t kWordOf32Bits = 2;
#ifdef SYS_futex_waitv
constexpr long kFutexWaitv = SYS_futex_waitv;
#else
constexpr long kFutexWaitv = 449;
#endif

}  // namespace

bool HasSharedFutexes() noexcept {
    // Without a word to wait for, the call refuses its arguments where it exists.
    return syscall(kFutexWaitv, nullptr, 0, 0, nullptr, 0) == -1 && errno == EINVAL;
}

bool SleepOn(const Watch* watches, std::size_t count, const timespec* deadline) noexcept {
    long result;
    if (count == 1) {
        const int flags = FUTEX_WAIT_BITSET | (watches->is_private ? FUTEX_PRIVATE_FLAG : 0);
        result = syscall(SYS_futex, watches->word, flags, watches->value, deadline, nullptr,
                         FUTEX_BITSET_MATCH_ANY);
    } else {
        WaitEntry entries[kMaxWatches];
        for (std::size_t i = 0; i < count; ++i) {
            entries[i] = {watches[i].value, reinterpret_cast<std::uintptr_t>(watches[i].word),
                          kWordOf32Bits | (watches[i].is_private ? FUTEX_PRIVATE_FLAG : 0U), 0};
        }
        result = syscall(kFutexWaitv, entries, count, 0, deadline, CLOCK_MONOTONIC);
    }
    return result != -1 || errno != ETIMEDOUT;
}

void SetAndWakeAll(FutexWord& word, std::uint32_t bits) noexcept {
    constexpr int kNever = FUTEX_OP_CMP_EQ;  // with a wake count of 0, the comparison has no effect
    constexpr int kTries = 10;               // it fails for no lasting reason where it exists
    for (int i = 0; i < kTries; ++i) {
        if (syscall(SYS_futex, &word, FUTEX_WAKE_OP, INT_MAX, nullptr, &word,
                    FUTEX_OP(FUTEX_OP_OR, static_cast<int>(bits), kNever, 0)) != -1) {
            return;
        }
    }
    word.fetch_or(bits, std::memory_order_acq_rel);
    syscall(SYS_futex, &word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void WakeOneShared(FutexWord& word) noexcept {
    syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

}  // namespace ZTKPosix::shared
