// The function to which a host has the texts of the log handed, too.
#pragma once

#include <atomic>

#include "ztk/logging.h"

namespace ZTK::frame {

// Whether there is one: all that the writers look at while there is none.
inline constinit std::atomic<bool> log_hook_is_set{false};

// Hands a text to the hook, unless the calling thread is inside it. A null text is not handed on.
void CallLogHook(TLogKind kind, const wchar_t* text) noexcept;

inline void HandToLogHook(TLogKind kind, const wchar_t* text) noexcept {
    if (log_hook_is_set.load(std::memory_order_acquire)) {
        CallLogHook(kind, text);
    }
}

void BuildLogHook() noexcept;
void DestroyLogHook() noexcept;

// The end of the library or of the process: the hook's code may be gone from here on. Takes no lock
// and does not wait, because threads may have been stopped inside.
void DropLogHook() noexcept;

// Around a fork: the first takes a lock, the second releases it. The child then forgets the calls
// of the threads that did not come along.
void LockLogHook() noexcept;
void UnlockLogHook() noexcept;
void ForgetLogHookCallsInChild() noexcept;

}  // namespace ZTK::frame
