// The thread registry as the rest of the library uses it.
#pragma once

namespace ZTK::sync {

void BuildThreadRegistry() noexcept;
void DestroyThreadRegistry() noexcept;

// The registry lock, for the time of a fork.
void LockThreadRegistry() noexcept;
void UnlockThreadRegistry() noexcept;

// Deregisters the id and returns the thread handle that was recorded, now the caller's to close.
// Null for an unknown id, as after WaitRegisteredThreadsExit, which closes the handles itself.
void* RemoveThread(unsigned int thread_id) noexcept;

// A handle of the id's thread for the caller to close, or null for an unknown id. Made under the
// registry lock, so that the recorded handle cannot be closed, and its value reused, meanwhile.
void* OpenRegisteredThread(unsigned int thread_id) noexcept;

}  // namespace ZTK::sync
