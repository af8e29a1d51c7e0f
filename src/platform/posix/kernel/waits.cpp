// WaitForSingleObject, WaitForMultipleObjects, Sleep.
#include "platform/posix/kernel/waits.h"

#include <sched.h>

#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/shared_objects.h"
#include "platform/posix/kernel/sync_objects.h"
#include "platform/posix/kernel/thread_end.h"

namespace ZTKPosix {

namespace {

// Takes all objects of a wait if all are available. Returns the wait's result, WAIT_TIMEOUT if
// nothing was taken.
DWORD TryTakeAll(WaitBlock* blocks, DWORD count, ThreadRecord& thread) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
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

// The same for any of the objects: the first that is available.
DWORD TryTakeAny(WaitBlock* blocks, DWORD count, ThreadRecord& thread) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    for (DWORD i = 0; i < count; ++i) {
        if (IsAvailable(*blocks[i].object, thread)) {
            const bool abandoned = Take(*blocks[i].object, thread);
            return (abandoned ? WAIT_ABANDONED_0 : WAIT_OBJECT_0) + i;
        }
    }
    return WAIT_TIMEOUT;
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

}  // namespace

void AppendAll(Waiter& waiter) noexcept {
    for (DWORD i = 0; i < waiter.count; ++i) {
        waiter.blocks[i].waiter = &waiter;
        Append(waiter.blocks[i]);
    }
}

void RemoveAll(Waiter& waiter, DispatcherSection& section) noexcept {
    for (DWORD i = 0; i < waiter.count; ++i) {
        Remove(waiter.blocks[i], section);
    }
}

DWORD FindObjects(const HANDLE* handles, WaitBlock* blocks, DWORD count,
                  bool* some_shared) noexcept {
    bool shared = false;
    for (DWORD i = 0; i < count; ++i) {
        KernelObject* object = FindObject(handles[i]);
        if (object == nullptr) {
            return ERROR_INVALID_HANDLE;
        }
        if (object->kind == &Mutex::kKind && !AnnounceThreadEnd()) {
            return ERROR_NOT_ENOUGH_MEMORY;
        }
        blocks[i].object = object;
        shared |= IsShared(*object);
    }
    *some_shared = shared;
    return ERROR_SUCCESS;
}

bool HasDuplicate(const WaitBlock* blocks, DWORD count) noexcept {
    for (DWORD i = 1; i < count; ++i) {
        for (DWORD j = 0; j < i; ++j) {
            if (blocks[i].object == blocks[j].object) {
                return true;
            }
        }
    }
    return false;
}

DWORD FailWait(DWORD error) noexcept {
    SetLastError(error);
    return WAIT_FAILED;
}

namespace {

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
    bool some_shared = false;
    {
        DispatcherSection section;
        const DWORD error = FindObjects(handles, blocks, count, &some_shared);
        if (error != ERROR_SUCCESS) {
            return FailWait(error);
        }
        if (!some_shared) {
            if (all && HasDuplicate(blocks, count)) {
                return FailWait(ERROR_INVALID_PARAMETER);
            }
            const DWORD result = all ? TryTakeAll(blocks, count, current_record)
                                     : TryTakeAny(blocks, count, current_record);
            if (result != WAIT_TIMEOUT || milliseconds == 0) {
                return result;
            }
            waiter.thread = &current_record;
            waiter.blocks = blocks;
            waiter.count = count;
            waiter.all = all;
            AppendAll(waiter);
        }
    }
    return some_shared ? WaitForShared(handles, blocks, count, all, milliseconds)
                       : SleepUntilSatisfied(waiter, milliseconds);
}

// A wait for any that ends at once, without what only longer ones and mutexes need: one look at
// each handle. Returns WAIT_FAILED, and has done nothing, when there is a mutex, a shared object or
// a handle that is none.
DWORD TakeAnyAtOnce(const HANDLE* handles, DWORD count) noexcept {
    DispatcherSection section;
    KernelObject* first = nullptr;
    DWORD index = 0;
    for (DWORD i = count; i-- != 0;) {  // the last one found is the first
        KernelObject* const object = FindObject(handles[i]);
        if (object == nullptr || object->kind == &Mutex::kKind || IsShared(*object)) {
            return WAIT_FAILED;
        }
        if (object->signalled) {
            first = object;
            index = i;
        }
    }
    if (first == nullptr) {
        return WAIT_TIMEOUT;
    }
    first->signalled = !first->resets_when_taken;
    return WAIT_OBJECT_0 + index;
}

// Not inlined: the room for the blocks and the registers that this takes would be paid for by waits
// that end at once.
[[gnu::noinline]] DWORD WaitForMany(const HANDLE* handles, DWORD count, bool all,
                                    DWORD milliseconds) noexcept {
    WaitBlock blocks[MAXIMUM_WAIT_OBJECTS];
    return Wait(handles, blocks, count, all, milliseconds);
}

// Ends the wait of block's thread if object, which is available to it, is all it still lacked.
bool TrySatisfy(const WaitBlock& block, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    Waiter& waiter = *block.waiter;
    if (waiter.looks_itself) {
        if (!waiter.poked) {
            waiter.poked = true;
            section.WakeLater(waiter);
        }
        return false;
    }
    if (waiter.all) {
        waiter.result = TryTakeAll(waiter.blocks, waiter.count, *waiter.thread);
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
        if (!TrySatisfy(*block, section)) {
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
            if (IsShared(*object)) {
                if (const DWORD result = TakeSharedQuickly(*object); result != WAIT_TIMEOUT) {
                    return result;
                }
            } else if (milliseconds == 0) {
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
    if (wait_all == FALSE) {
        const DWORD result = TakeAnyAtOnce(handles, count);
        if (result != WAIT_FAILED && (result != WAIT_TIMEOUT || milliseconds == 0)) {
            return result;
        }
    }
    return WaitForMany(handles, count, wait_all != FALSE, milliseconds);
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
