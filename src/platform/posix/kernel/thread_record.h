// What the layer keeps for each thread, however the thread was started.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

struct Mutex;
struct Thread;

// Lies in the thread's own storage: it is there on every thread without an allocation, and it
// outlives the thread's destructors, so that a late one may still use the layer. Its address is the
// thread's identity as owner of mutexes. Trivially destructible on purpose; see AnnounceThreadEnd.
struct ThreadRecord {
    DWORD id;            // 0 until asked for
    bool end_announced;  // the thread's end will be noticed
    Thread* thread;      // its object if CreateThread made it and it has not ended, else null
    Mutex* first_owned;  // mutexes that it owns; guarded by the dispatcher lock
};

// constinit: without it every access from another file would go through an initialisation check.
extern constinit thread_local ThreadRecord current_record;

// Asks the system, for a thread whose record does not hold the id yet.
DWORD FetchThreadId() noexcept;

inline DWORD CurrentThreadId() noexcept {
    const DWORD id = current_record.id;
    if (id == 0) [[unlikely]] {
        return FetchThreadId();
    }
    return id;
}

}  // namespace ZTKPosix
