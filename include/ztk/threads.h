// The registry of worker threads: one table for the process, keyed by thread id, of each thread's
// handle and a notify event.
//
// The library registers the threads of its sockets by itself. An agent may register its own:
//
//     HANDLE thread = CreateThread(nullptr, 0, Worker, job, CREATE_SUSPENDED, &id);
//     ZTK::RegisterThread(id, thread);
//     ResumeThread(thread);
//     ...                                    // Worker's last call: DeRegisterThread(its own id)
//     ZTK::WaitRegisteredThreadsExit(5000);  // at shutdown
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include "ztk/platform.h"

namespace ZTK {

// Records thread_handle (null is recorded as well) under thread_id and makes a notify event for it:
// auto-reset, unsignalled, owned by the registry. The library never signals the event nor waits for
// it; it is a channel between the thread and its owner. An id that is registered already keeps its
// first handle and event. Returns the id's event, borrowed; null when memory is short: then the id
// is recorded without an event, or not at all, which GetThreadHandle tells.
ZTK_API void* RegisterThread(unsigned int thread_id, void* thread_handle) noexcept;

// Closes the id's notify event and forgets the id. The thread handle is not closed: it stays with
// whoever started the thread, or got it from GetThreadHandle. (That of a server's listener thread
// which nobody got is closed.) An unknown id is ignored.
ZTK_API void DeRegisterThread(unsigned int thread_id) noexcept;

// The id's thread handle or notify event, or null for an unknown id. Both are valid until
// WaitRegisteredThreadsExit, and the event until the thread deregisters. A thread's handle is valid
// until its owner closes it. That of a server's listener thread, which nobody has before, belongs
// to whoever asks for it here: it is to be closed when the thread has deregistered, unless
// WaitRegisteredThreadsExit has done so.
[[nodiscard]] ZTK_API void* GetThreadHandle(unsigned int thread_id) noexcept;
[[nodiscard]] ZTK_API void* GetThreadNotify(unsigned int thread_id) noexcept;

// Empties the registry, waits up to timeout_milliseconds (INFINITE: without end) for all threads
// that were in it to end, then closes their handles and notify events, also those of threads that
// still run. Threads that run on are neither stopped nor waited for again. All handles go into one
// wait of the platform: with more than 64 threads, or a null or closed handle among them, nothing
// is waited for and the handles are closed at once. Which of the threads have ended is not told.
// Returns at once when the registry is empty; threads may be registered again afterwards. Must not
// be called from a registered thread: it would wait for itself.
ZTK_API void WaitRegisteredThreadsExit(DWORD timeout_milliseconds) noexcept;

}  // namespace ZTK
