// Threads that wait for objects.
#pragma once

#include "platform/posix/kernel/kernel_object.h"
#include "platform/posix/kernel/thread_record.h"

namespace ZTKPosix {

struct Waiter;

// One object that a thread waits for; in the object's queue. Guarded by the dispatcher lock.
struct WaitBlock {
    KernelObject* object;
    Waiter* waiter;
    WaitBlock* previous;
    WaitBlock* next;
};

// One wait of one thread, on that thread's stack. All but state is guarded by the dispatcher lock.
struct Waiter {
    FutexWord state{0};    // becomes 1 when the wait is satisfied: the last touch by another thread
    ThreadRecord* thread;  // constant, as blocks, count and all
    WaitBlock* blocks;     // one for each handle, in the order of the handles
    DWORD count;
    bool all;
    bool satisfied = false;  // some thread has ended this wait and is about to set state
    DWORD result = WAIT_TIMEOUT;
    Waiter* next_to_wake = nullptr;
};

// Gives object, which has become available, to the threads that wait for it, first come first
// served, until it is taken. A thread that waits for all of several objects is passed over unless
// the others are available too. REQUIRES: the dispatcher lock is held.
void SatisfyWaiters(KernelObject& object, DispatcherSection& section) noexcept;

}  // namespace ZTKPosix
