// A recursive lock: a futex word that names its owner, and a count. A lock whose owner was lost in
// a fork is taken over in the child.
//
// Enter and Leave are inline: CLock is made of them, and the two calls would cost as much as the
// rest.
#pragma once

#include "platform/posix/kernel/lock/futex.h"
#include "platform/posix/kernel/thread_record.h"
#include "ztk/platform.h"
#include "ztk/platform/thread_annotations.h"

namespace ZTKPosix {

struct ZTK_CAPABILITY("critical section") CRITICAL_SECTION {
    static constexpr std::uint32_t kWaitedFor = 1u << 31;  // a thread may sleep on the word

    FutexWord word;       // 0 for free, else the lock owner inside, and kWaitedFor
    std::uint32_t depth;  // levels beyond the first; touched by the owner only

    [[nodiscard]] bool IsOwnedBy(std::uint32_t owner) const noexcept {
        return (word.load(std::memory_order_relaxed) & ~kWaitedFor) == owner;
    }
};

// None of these calls fails, and none touches the last error. section is never null.

// Makes a section that nobody is inside.
void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept;

// Gives the section up; it owns nothing, so it may also just be forgotten. REQUIRES: nobody is
// inside or waits.
void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept;

// The rest of EnterCriticalSection for a section that was not free: waits for it. self is the
// calling thread as an owner.
void EnterContended(CRITICAL_SECTION* section, std::uint32_t self) noexcept;

// Waits, without end, until no other thread is inside, and enters one level.
//
// The owner is read without the lock. Only the calling thread itself stores its own number there,
// so the comparison is true exactly when the caller is inside, whatever else it may see. Not
// analysed, here and below: the analysis does not know the word for a lock.
inline void EnterCriticalSection(CRITICAL_SECTION* section) noexcept
    ZTK_ACQUIRE(section) ZTK_NO_THREAD_SAFETY_ANALYSIS {
    const std::uint32_t self = CurrentLockOwner();
    if (section->IsOwnedBy(self)) {
        ++section->depth;
        return;
    }
    std::uint32_t free = 0;
    if (!section->word.compare_exchange_strong(free, self, std::memory_order_acquire,
                                               std::memory_order_relaxed)) [[unlikely]] {
        EnterContended(section, self);
    }
}

// Leaves one level. Called by a thread that is not inside it does nothing.
inline void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept
    ZTK_RELEASE(section) ZTK_NO_THREAD_SAFETY_ANALYSIS {
    if (!section->IsOwnedBy(CurrentLockOwner())) {
        return;
    }
    if (section->depth != 0) {
        --section->depth;
        return;
    }
    if ((section->word.exchange(0, std::memory_order_release) & CRITICAL_SECTION::kWaitedFor) != 0)
        [[unlikely]] {
        FutexWakeOne(&section->word);
    }
}

}  // namespace ZTKPosix

namespace ZTK {

// For the library's own code, which calls it at every turn of a lock: hides the exported function.
inline DWORD GetCurrentThreadId() noexcept {
    return ZTKPosix::CurrentThreadId();
}

using ZTKPosix::CurrentLockOwner;

}  // namespace ZTK

using ZTKPosix::CRITICAL_SECTION;
using ZTKPosix::DeleteCriticalSection;
using ZTKPosix::EnterCriticalSection;
using ZTKPosix::InitializeCriticalSection;
using ZTKPosix::LeaveCriticalSection;
