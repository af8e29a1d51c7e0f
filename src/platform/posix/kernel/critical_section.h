// A recursive lock: the layer's lock, its owner and a count.
//
// Enter and Leave are inline: CLock is made of them, and the two calls would cost as much as the
// rest.
#pragma once

#include "platform/posix/kernel/lock/lock.h"
#include "platform/posix/kernel/thread_record.h"
#include "ztk/platform.h"

namespace ZTKPosix {

struct ZTK_CAPABILITY("critical section") CRITICAL_SECTION {
    Lock lock;
    std::atomic<DWORD> owner;  // id of the thread inside, 0 for none
    std::uint32_t depth;       // levels beyond the first; touched by the owner only
};

// None of these calls fails, and none touches the last error. section is never null.

// Makes a section that nobody is inside.
void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept;

// Gives the section up; it owns nothing, so it may also just be forgotten. REQUIRES: nobody is
// inside or waits.
void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept;

// Waits, without end, until no other thread is inside, and enters one level.
//
// The owner is read without the lock. Only the calling thread itself stores its own id there, so
// the comparison is true exactly when the caller is inside, whatever else it may see. Not analysed:
// the inner lock is taken at the first level only, here and below.
inline void EnterCriticalSection(CRITICAL_SECTION* section) noexcept
    ZTK_ACQUIRE(section) ZTK_NO_THREAD_SAFETY_ANALYSIS {
    const DWORD self = CurrentThreadId();
    if (section->owner.load(std::memory_order_relaxed) == self) {
        ++section->depth;
        return;
    }
    section->lock.Acquire();
    section->owner.store(self, std::memory_order_relaxed);
}

// Leaves one level. Called by a thread that is not inside it does nothing.
inline void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept
    ZTK_RELEASE(section) ZTK_NO_THREAD_SAFETY_ANALYSIS {
    if (section->owner.load(std::memory_order_relaxed) != CurrentThreadId()) {
        return;
    }
    if (section->depth != 0) {
        --section->depth;
        return;
    }
    section->owner.store(0, std::memory_order_relaxed);
    section->lock.Release();
}

}  // namespace ZTKPosix

namespace ZTK {

// For the library's own code, which calls it at every turn of a lock: hides the exported function.
inline DWORD GetCurrentThreadId() noexcept {
    return ZTKPosix::CurrentThreadId();
}

}  // namespace ZTK

using ZTKPosix::CRITICAL_SECTION;
using ZTKPosix::DeleteCriticalSection;
using ZTKPosix::EnterCriticalSection;
using ZTKPosix::InitializeCriticalSection;
using ZTKPosix::LeaveCriticalSection;
