// Threads that wait for objects.
#pragma once

#include "platform/posix/kernel/kernel_object.h"
#include "platform/posix/kernel/thread_record.h"

namespace ZTKPosix {

struct Waiter;

// One object that a thread waits for; in the object's queue.
struct WaitBlock {
    KernelObject* object;  // constant while the block is in a queue, as waiter
    Waiter* waiter;
    WaitBlock* previous ZTK_GUARDED_BY(dispatcher_lock);
    WaitBlock* next ZTK_GUARDED_BY(dispatcher_lock);
};

// One wait of one thread, on that thread's stack.
struct Waiter {
    FutexWord state{0};    // becomes 1 when the wait is satisfied: the last touch by another thread
    ThreadRecord* thread;  // constant, as blocks, count and all
    WaitBlock* blocks;     // one for each handle, in the order of the handles
    DWORD count;
    bool all;
    // Looks for itself what there is to take, and is only woken: a wait for shared objects.
    bool looks_itself = false;
    // Of such a wait: a thread is about to set state.
    bool poked ZTK_GUARDED_BY(dispatcher_lock) = false;
    // Some thread has ended this wait and is about to set state.
    bool satisfied ZTK_GUARDED_BY(dispatcher_lock) = false;
    // Written before state is set, read afterwards.
    DWORD result = WAIT_TIMEOUT;
    // In the list of the section that satisfied the wait.
    Waiter* next_to_wake = nullptr;
};

// Gives object, which has become available, to the threads that wait for it, first come first
// served, until it is taken. A thread that waits for all of several objects is passed over unless
// the others are available too.
void SatisfyWaiters(KernelObject& object, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// --- For waits.cpp and shared_waits.cpp

// Looks up the handles of a wait, and whether processes share one of their objects. Returns
// ERROR_SUCCESS or why there can be no such wait.
DWORD FindObjects(const HANDLE* handles, WaitBlock* blocks, DWORD count, bool* some_shared) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// Whether an object comes twice. A wait for all could never take it twice at one moment.
bool HasDuplicate(const WaitBlock* blocks, DWORD count) noexcept;

// Puts the waiter's blocks into the queues of their objects, and takes them out again.
void AppendAll(Waiter& waiter) noexcept ZTK_REQUIRES(dispatcher_lock);
void RemoveAll(Waiter& waiter, DispatcherSection& section) noexcept ZTK_REQUIRES(dispatcher_lock);

// Sets the last error and returns WAIT_FAILED.
DWORD FailWait(DWORD error) noexcept;

// The rest of a wait with shared objects among its handles. Takes no time until it is known that
// nothing can be taken at once. REQUIRES: blocks has room for count blocks.
DWORD WaitForShared(const HANDLE* handles, WaitBlock* blocks, DWORD count, bool all,
                    DWORD milliseconds) noexcept ZTK_EXCLUDES(dispatcher_lock);

// In a child of fork: takes the waits of the parent's other threads, which are not there, out of
// object's queue. None of the one thread's own can be in it.
void ForgetWaitsInChild(KernelObject& object, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock);

}  // namespace ZTKPosix
