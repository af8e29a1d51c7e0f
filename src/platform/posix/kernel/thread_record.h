// What the layer keeps for each thread, however the thread was started.
#pragma once

#include "platform/posix/kernel/dispatcher_lock.h"
#include "ztk/platform.h"

namespace ZTKPosix {

struct Mutex;
struct Thread;

// Lies in the thread's own storage: it is there on every thread without an allocation, and it
// outlives the thread's destructors, so that a late one may still use the layer. Its address is the
// thread's identity as owner of mutexes. Trivially destructible on purpose; see AnnounceThreadEnd.
struct ThreadRecord {
    // 0 until asked for. Touched by the thread itself only.
    DWORD id;
    // The thread's end will be noticed.
    bool end_announced ZTK_GUARDED_BY(dispatcher_lock);
    // Its object if CreateThread made it and it has not ended, else null.
    Thread* thread ZTK_GUARDED_BY(dispatcher_lock);
    // The mutexes that it owns.
    Mutex* first_owned ZTK_GUARDED_BY(dispatcher_lock);
};

// constinit: without it every access from another file would go through an initialisation check.
extern constinit thread_local ThreadRecord current_record;

// The calling thread's id, from the system; the record holds it afterwards.
DWORD FetchThreadId() noexcept;

// The calling thread's id, never 0. Cannot fail.
inline DWORD CurrentThreadId() noexcept {
    const DWORD id = current_record.id;
    if (id == 0) [[unlikely]] {
        return FetchThreadId();
    }
    return id;
}

}  // namespace ZTKPosix
