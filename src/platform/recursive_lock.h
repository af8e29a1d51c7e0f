// The lock that CLock is: recursive, and knows the thread that took it last. RecursiveLock has the
// same functions on both targets, none of which fails or touches the last error:
//
//     void Acquire()             waits until no other thread holds the lock, and takes one level
//     void Release()             gives one level back; ignored unless the calling thread holds it
//     bool IsLastOwner() const   whether the calling thread was the last to take it; stays true
//                                after its release until another thread takes it
//
// It lives in memory that nobody moves, and is destroyed while nobody holds it or waits for it.
#pragma once

#include "ztk/platform.h"

#if defined(_WIN32)
#include "platform/windows/sync/recursive_lock.h"
#else
#include "platform/posix/kernel/recursive_lock.h"
#endif
