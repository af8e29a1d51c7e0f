// The end of threads, of every kind, and what it leaves to the unloading of the library.
#pragma once

#include "platform/posix/kernel/threads.h"

namespace ZTKPosix {

// Makes sure that the calling thread's end is noticed: mutexes that it owns then become abandoned.
// Called before a thread becomes an owner. Returns false when memory is short or the system has no
// key left. Like the calls below it leaves the last error alone.
bool AnnounceThreadEnd() noexcept ZTK_REQUIRES(dispatcher_lock);

// Records a thread that has begun. REQUIRES: the caller is that thread, and its end is announced.
void AddLiveThread(Thread& thread) noexcept ZTK_REQUIRES(dispatcher_lock);

// Waits, but not for long, while very many threads have ended and not left yet. For whoever makes
// another: made faster than the system lets them leave, they would use up what it has of threads.
void LetEndedThreadsLeave() noexcept;

// Gives back what the system still keeps of threads that ended. For the end of the process: waits
// for their last instructions, but not for long.
void CollectEndedThreads() noexcept ZTK_EXCLUDES(dispatcher_lock);

// In a child of fork: the parent's other threads count as ended. Their objects are signalled, the
// mutexes that they owned abandoned, and their waits gone.
void EndOtherThreadsInChild() noexcept ZTK_EXCLUDES(dispatcher_lock);

// Waits until ended threads have left the library's code and makes threads that were never resumed
// end without running. For the unloading of the library, before any memory goes.
void ReapThreads() noexcept ZTK_EXCLUDES(dispatcher_lock);

// Stops noticing the end of threads. For the unloading of the library.
void TearDownThreads() noexcept ZTK_EXCLUDES(dispatcher_lock);

}  // namespace ZTKPosix
