// WaitForSingleObject, WaitForMultipleObjects, Sleep.
#include "platform/posix/kernel/waits.h"

#include <sched.h>

#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/sync_objects.h"
#include "platform/posix/kernel/thread_end.h"

namespace ZTKPosix {

namespace {

// Takes what the wait asks for, if it is available. Returns the wait's result, WAIT_TIMEOUT if
// nothing was taken.
DWORD TryTake(WaitBlock* blocks, DWORD count, bool all, ThreadRecord& thread) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    if (!all) {
        for (DWORD i = 0; i < count; ++i) {
            if (IsAvailable(*blocks[i].object, thread)) {
                return (Take(*blocks[i].object, thread) ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + i;
            }
        }
        return WAIT_TIMEOUT;
    }
    for (DWORD i = 0; i < count; ++i) {
        if (!IsAvailable(*blocks[i].object, thread)) {
            return WAIT_TIMEOUT;
        }
    }
    bool abandoned = false;
    for (DWORD i = 0; i < count; ++i) {
        abandoned |= Take(*blocks[i].object, thread);
    }
    return abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0;
}

void Append(WaitBlock& block) noexcept ZTK_REQUIRES(dispatcher_lock) {
    KernelObject& object = *block.object;
    block.next = nullptr;
    block.previous = object.last_wait;
    (object.last_wait != nullptr ? object.last_wait->next : object.first_wait) = &block;
    object.last_wait = &block;
    ++object.references;  // the object outlives its handles while it is waited for
}

void Remove(WaitBlock& block, DispatcherSection& section) noexcept ZTK_REQUIRES(dispatcher_lock) {
    KernelObject& object = *block.object;
    (block.previous != nullptr ? block.previous->next : object.first_wait) = block.next;
    (block.next != nullptr ? block.next->previous : object.last_wait) = block.previous;
    section.Release(object);
}

void RemoveAll(Waiter& waiter, DispatcherSection& section) noexcept ZTK_REQUIRES(dispatcher_lock) {
    for (DWORD i = 0; i < waiter.count; ++i) {
        Remove(waiter.blocks[i], section);
    }
}

// Looks up the handles of a wait. Returns ERROR_SUCCESS or why there can be no such wait.
DWORD FindObjects(const HANDLE* handles, WaitBlock* blocks, DWORD count, bool all) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    for (DWORD i = 0; i < count; ++i) {
        KernelObject* object = FindObject(handles[i]);
        if (object == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        if (object->kind == &Mutex::kKind && !AnnounceThreadEnd()) {
            return ERROR_NOT_ENOUGH_MEMORY;
        }
        blocks[i].object = object;
    }
    // An object cannot be taken twice at one moment.
    for (DWORD i = 1; all && i < count; ++i) {
        for (DWORD j = 0; j < i; ++j) {
            if (blocks[i].object == blocks[j].object) {
                return ERROR_INVALID_PARAMETER;
            }
        }
    }
    return ERROR_SUCCESS;
}

// Sleeps until the wait is satisfied or its time is over.
DWORD SleepUntilSatisfied(Waiter& waiter, DWORD milliseconds) noexcept {
    timespec deadline;
    const bool timed = milliseconds != INFINITE;
    if (timed) {
        deadline = DeadlineAfter(milliseconds);
    }
    while (waiter.state.load(std::memory_order_acquire) == 0) {
        if (FutexWait(waiter.state, 0, timed ? &deadline : nullptr)) {
            continue;
        }
        {
            DispatcherSection section;
            if (!waiter.satisfied) {
                RemoveAll(waiter, section);
                return WAIT_TIMEOUT;
            }
        }
        // Satisfied in the last moment: the objects are taken, and the thread that did it is just
        // about to set state. It must have done so before the waiter may go.
        while (waiter.state.load(std::memory_order_acquire) == 0) {
            FutexWait(waiter.state, 0, nullptr);
        }
    }
    return waiter.result;
}

// blocks: room for count blocks, which need not be initialised.
DWORD Wait(const HANDLE* handles, WaitBlock* blocks, DWORD count, bool all,
           DWORD milliseconds) noexcept {
    Waiter waiter;
    {
        DispatcherSection section;
        const DWORD error = FindObjects(handles, blocks, count, all);
        if (error != ERROR_SUCCESS) {
            SetLastError(error);
            return WAIT_FAILED;
        }
        const DWORD result = TryTake(blocks, count, all, current_record);
        if (result != WAIT_TIMEOUT || milliseconds == 0) {
            return result;
        }
        waiter.thread = &current_record;
        waiter.blocks = blocks;
        waiter.count = count;
        waiter.all = all;
        for (DWORD i = 0; i < count; ++i) {
            blocks[i].waiter = &waiter;
            Append(blocks[i]);
        }
    }
    return SleepUntilSatisfied(waiter, milliseconds);
}

// Ends the wait of block's thread if object, which is available to it, is all it still lacked.
bool TrySatisfy(const WaitBlock& block) noexcept ZTK_REQUIRES(dispatcher_lock) {
    Waiter& waiter = *block.waiter;
    if (waiter.all) {
        waiter.result = TryTake(waiter.blocks, waiter.count, true, *waiter.thread);
        return waiter.result != WAIT_TIMEOUT;
    }
    const bool abandoned = Take(*block.object, *waiter.thread);
    waiter.result =
        (abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + static_cast<DWORD>(&block - waiter.blocks);
    return true;
}

}  // namespace

void SatisfyWaiters(KernelObject& object, DispatcherSection& section) noexcept {
    WaitBlock* block = object.first_wait;
    while (block != nullptr && object.signalled) {
        Waiter& waiter = *block->waiter;
        if (!TrySatisfy(*block)) {
            block = block->next;
            continue;
        }
        // Its blocks leave all queues, this one perhaps several times over.
        while (block != nullptr && block->waiter == &waiter) {
            block = block->next;
        }
        RemoveAll(waiter, section);
        waiter.satisfied = true;
        section.WakeLater(waiter);
    }
}

// The blocks lie on the stacks of those threads, which nothing has overwritten yet.
void ForgetWaitsInChild(KernelObject& object, DispatcherSection& section) noexcept {
    while (WaitBlock* const block = object.first_wait) {
        object.first_wait = block->next;
        section.Release(object);
    }
    object.last_wait = nullptr;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept {
    // The wait that ends at once, without what only longer ones and mutexes need.
    {
        DispatcherSection section;
        KernelObject* object = FindObject(handle);
        if (object != nullptr && object->kind != &Mutex::kKind) {
            if (object->signalled) {
                object->signalled = !object->resets_when_taken;
                return WAIT_OBJECT_0;
            }
            if (milliseconds == 0) {
                return WAIT_TIMEOUT;
            }
        }
    }
    WaitBlock block;
    return Wait(&handle, &block, 1, false, milliseconds);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all,
                             DWORD milliseconds) noexcept {
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || handles == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    WaitBlock blocks[MAXIMUM_WAIT_OBJECTS];
    return Wait(handles, blocks, count, wait_all != FALSE, milliseconds);
}

void Sleep(DWORD milliseconds) noexcept {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    FutexWord never{0};
    timespec deadline;
    if (milliseconds != INFINITE) {
        deadline = DeadlineAfter(milliseconds);
    }
    while (FutexWait(never, 0, milliseconds != INFINITE ? &deadline : nullptr)) {
    }
}

}  // namespace ZTKPosix
