// The library's lock.
#pragma once

#include "ztk/platform.h"
#include "ztk/platform/thread_annotations.h"

namespace ZTK {

// A recursive lock that remembers which thread locked it last and how many Lock calls are
// outstanding. Unbalanced calls are harmless: an Unlock by a thread that does not hold the lock
// changes nothing.
//
//     lock.Lock();
//     ...                       // may call Lock again
//     lock.Unlock();
//
// Thread-safety: all operations may be called from any thread; the lock must outlive their calls.
class ZTK_API ZTK_CAPABILITY("mutex") CLock {
  public:
    // When memory is short there is nothing to lock: Lock and Unlock then do nothing.
    CLock() noexcept;
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;

    // Releases one level if the calling thread holds the lock, as Unlock does. REQUIRES: no other
    // thread holds the lock or waits for it.
    ~CLock();

    // Waits for the lock and takes one level of it. The thread that holds it is not made to wait.
    void Lock() noexcept ZTK_ACQUIRE();

    // Releases one level. Ignored when the calling thread does not hold the lock.
    void Unlock() noexcept ZTK_RELEASE();

    // Whether the calling thread was the last to acquire the lock. The owner is not cleared on
    // release, so this stays true after Unlock until another thread locks.
    [[nodiscard]] bool HaveLock() const noexcept;

  private:
    // Owned: the lock itself, its count and its last owner, together where threads that wait for
    // it look. Null when memory was short.
    void* section_;
};

}  // namespace ZTK
