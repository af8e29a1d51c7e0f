// The thread registry as the rest of the library uses it.
#pragma once

#include <atomic>

#include "ztk/platform.h"

namespace ZTK::sync {

void BuildThreadRegistry() noexcept;
void DestroyThreadRegistry() noexcept;

// The registry lock, for the time of a fork.
void LockThreadRegistry() noexcept;
void UnlockThreadRegistry() noexcept;

// Whose the recorded handle of a worker thread is.
enum class ThreadHandle {
    kShared,    // the starter's as well: it closes it, or WaitRegisteredThreadsExit does
    kRegistry,  // the registry's own, closed when the thread leaves it, unless GetThreadHandle has
                // handed it out
};

// Starts a worker thread of the library: makes it, stores its id, records it and lets it run. Under
// the registry lock, so that nobody can close the recorded handle before the thread runs. Returns a
// handle for the starter to close, which for kShared is the recorded one. Null, with the id
// unchanged, when there is no thread: it could not be made, or not be recorded. With kRegistry null
// also comes, with an id, when memory is too short for a handle more.
void* StartThread(LPTHREAD_START_ROUTINE start, void* parameter, DWORD creation_flags,
                  ThreadHandle handle, std::atomic<DWORD>& id) noexcept;

// A handle of the id's thread for the caller to close, or null for an unknown id. Made under the
// registry lock, so that the recorded handle cannot be closed, and its value reused, meanwhile.
void* OpenRegisteredThread(unsigned int thread_id) noexcept;

}  // namespace ZTK::sync
