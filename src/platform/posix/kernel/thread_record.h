// What the layer keeps for each thread, however the thread was started.
#pragma once

#include <cstdint>

#include "platform/posix/kernel/dispatcher_lock.h"
#include "ztk/platform.h"

namespace ZTKPosix {

struct Mutex;
struct Thread;

// Lies in the thread's own storage: it is there on every thread without an allocation, and it
// outlives the thread's destructors, so that a late one may still use the layer. Its address is the
// thread's identity as owner of mutexes. Trivially destructible on purpose; see AnnounceThreadEnd.
struct ThreadRecord {
    // Both 0 until asked for. Touched by the thread itself only.
    DWORD id;
    std::uint32_t lock_owner;
    // The thread's end will be noticed.
    bool end_announced ZTK_GUARDED_BY(dispatcher_lock);
    // Its object if CreateThread made it and it has not ended, else null.
    Thread* thread ZTK_GUARDED_BY(dispatcher_lock);
    // The mutexes that it owns.
    Mutex* first_owned ZTK_GUARDED_BY(dispatcher_lock);
};

// constinit: without it every access from another file would go through an initialisation check.
extern constinit thread_local ThreadRecord current_record;

// Fills the record's id and lock_owner. Returns the id.
DWORD FetchThreadId() noexcept;

// The calling thread's id, never 0. Cannot fail.
inline DWORD CurrentThreadId() noexcept {
    const DWORD id = current_record.id;
    if (id == 0) [[unlikely]] {
        return FetchThreadId();
    }
    return id;
}

// What a recursive lock keeps to know its owner: a number that is never 0, needs 31 bits and
// belongs to the calling thread alone. Unlike the thread's id it stays the same in a child of fork,
// so that the thread that forked still owns there what it owned before.
inline std::uint32_t CurrentLockOwner() noexcept {
    const std::uint32_t owner = current_record.lock_owner;
    if (owner == 0) [[unlikely]] {
        FetchThreadId();
        return current_record.lock_owner;
    }
    return owner;
}

// Whether owner, as CurrentLockOwner gave it, was a thread of the process that this one was forked
// from and does not run here.
bool IsLostInFork(std::uint32_t owner) noexcept;

// In the child: the calling thread, which forked, gets its new id and is the only one left.
// REQUIRES: CurrentThreadId was called before the fork.
void RenewThreadIdInChild() noexcept;

}  // namespace ZTKPosix
