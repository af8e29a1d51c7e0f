// Critical sections: InitializeCriticalSection, EnterCriticalSection, LeaveCriticalSection,
// DeleteCriticalSection and CRITICAL_SECTION; and CurrentLockOwner, what to know the calling thread
// by as the owner of a lock. None fails or touches the last error.
#pragma once

#include "ztk/platform.h"

#if defined(_WIN32)
namespace ZTK {
inline DWORD CurrentLockOwner() noexcept {
    return GetCurrentThreadId();
}
}  // namespace ZTK
#else
#include "platform/posix/kernel/critical_section.h"
#endif
