#include "platform/posix/kernel/lock/futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace ZTKPosix {

timespec DeadlineAfter(DWORD milliseconds) noexcept {
    constexpr long kNanosecondsPerSecond = 1000000000;
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += static_cast<std::time_t>(milliseconds / 1000);
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (deadline.tv_nsec >= kNanosecondsPerSecond) {
        deadline.tv_nsec -= kNanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    return deadline;
}

bool FutexWait(FutexWord& word, std::uint32_t expected, const timespec* deadline) noexcept {
    // Only the BITSET form takes an absolute time, so that a wait resumed after a signal does not
    // start its time-out anew. Without FUTEX_CLOCK_REALTIME the clock is the monotonic one.
    const long result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected,
                                deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void FutexWakeOne(FutexWord* word) noexcept {
    syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, 1, nullptr, nullptr, 0);
}

}  // namespace ZTKPosix
