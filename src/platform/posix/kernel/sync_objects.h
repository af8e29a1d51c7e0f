// The rules by which waits take objects.
#pragma once

#include "platform/posix/kernel/kernel_object.h"

namespace ZTKPosix {

// REQUIRES for all: the dispatcher lock is held.

// Whether thread could take object now.
inline bool IsAvailable(const KernelObject& object, const ThreadRecord& thread) noexcept {
    return object.signalled || (object.kind == ObjectKind::kMutex &&
                                static_cast<const Mutex&>(object).owner == &thread);
}

// Gives the mutex, which is free or the thread's already, to thread. Returns true when it was
// abandoned.
bool TakeMutex(Mutex& mutex, ThreadRecord& thread) noexcept;

// Takes the mutex from its owner and makes it free. Its waiters are not looked at.
void Disown(Mutex& mutex) noexcept;

// Takes an available object for thread. Returns true for a mutex that was abandoned.
inline bool Take(KernelObject& object, ThreadRecord& thread) noexcept {
    if (object.kind == ObjectKind::kMutex) {
        return TakeMutex(static_cast<Mutex&>(object), thread);
    }
    if (object.resets_when_taken) {
        object.signalled = false;
    }
    return false;
}

// Marks all mutexes that thread owns as abandoned and hands them to their next waiters.
void AbandonMutexes(ThreadRecord& thread, DispatcherSection& section) noexcept;

}  // namespace ZTKPosix
