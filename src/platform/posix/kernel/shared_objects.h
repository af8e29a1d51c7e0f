// Events and mutexes whose state lies in the table that processes share: what this process has of
// them. They are never signalled as other objects are; their state is looked at in the table.
#pragma once

#include "platform/posix/kernel/object_names.h"
#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/sync_objects.h"

namespace ZTKPosix {

// One for each slot of the table: this process has at most one object for it, from the first handle
// until nothing refers to the object any more.
struct SharedBinding {
    KernelObject* object;
    std::uint32_t generation;  // of the slot
};
extern SharedBinding shared_bindings[shared::kMaxSlots] ZTK_GUARDED_BY(dispatcher_lock);

void DiscardShared(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);
void CloseShared(KernelObject& object) noexcept;

struct SharedEvent : Event {
    static constexpr ObjectKind kKind{DiscardShared, CloseShared};

    explicit SharedEvent(bool manual_reset) noexcept : Event(kKind, manual_reset, false) {}
};

// A thread that owns it keeps a reference.
struct SharedMutex : Mutex {
    static constexpr ObjectKind kKind{DiscardShared, CloseShared};

    SharedMutex() noexcept : Mutex(kKind, false) {}
};

// Whether the table still has the object: it has not if somebody took this process for one that
// has ended.
inline bool IsLost(const KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock) {
    const std::uint32_t index = object.shared_index;
    return shared::table->slots[index].generation.load(std::memory_order_relaxed) !=
           shared_bindings[index].generation;
}

// REQUIRES: the object is shared.
inline FutexWord& SharedWord(const KernelObject& object) noexcept {
    return shared::table->slots[object.shared_index].word;
}

// Sets the event if nobody sleeps on it. False if that is left to SetSharedEvent.
bool SetSharedQuietly(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);

// Makes the calling thread ready for the table's lock and for owning shared mutexes. False when
// memory is short.
bool PrepareForShared() noexcept ZTK_EXCLUDES(dispatcher_lock);

// Waits until who is in the table's lock has left it, and looks after what those who ended have
// left behind. False if the lock cannot be had.
bool RepairShared() noexcept ZTK_EXCLUDES(dispatcher_lock);

// How often in a row an object may need that. One that still does has been overwritten.
inline constexpr int kMostRepairs = 1000;

// Gives a free mutex to thread in this process's books, or one level more of its own.
void OwnSharedMutex(SharedMutex& mutex, ThreadRecord& thread) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// Takes a shared object that is there to be taken, by a thread that needs no preparation. Returns
// the wait's result; WAIT_TIMEOUT if the rest is left to WaitForShared.
DWORD TakeSharedQuickly(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);

// Releases one level of a shared mutex of the calling thread that nobody sleeps on. False if that
// is left to ReleaseSharedMutex.
bool ReleaseSharedQuietly(KernelObject& object, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// What CreateEventW and CreateMutexW do for a name. initial: set, or owned.
HANDLE CreateShared(shared::Kind kind, bool initial, const ObjectName& name) noexcept
    ZTK_EXCLUDES(dispatcher_lock);

// What the calls of these names do for handles that are none of a local object.
BOOL SetSharedEvent(HANDLE handle) noexcept ZTK_EXCLUDES(dispatcher_lock);
BOOL ResetSharedEvent(HANDLE handle) noexcept ZTK_EXCLUDES(dispatcher_lock);
BOOL ReleaseSharedMutex(HANDLE handle) noexcept ZTK_EXCLUDES(dispatcher_lock);

// Gives up in the table what this process has no handles of, or does not use any more. Returns
// whether no other process uses the object.
bool SettleShared(std::uint32_t index) noexcept ZTK_EXCLUDES(dispatcher_lock);

// After the last handle was closed: this process keeps the object's name no more. Drops a reference
// that the caller has.
void GiveUpName(KernelObject& object) noexcept ZTK_EXCLUDES(dispatcher_lock);

// At the end of the calling thread: abandons its shared mutexes, and it leaves its seat.
void EndThreadInTable() noexcept ZTK_EXCLUDES(dispatcher_lock);

// In a child of fork: what were shared objects become the child's own, without names. Mutexes that
// somebody owned are abandoned.
void DetachSharedObjectsInChild(DispatcherSection& section) noexcept ZTK_REQUIRES(dispatcher_lock);

// Gives up all that this process has in the table. For the unloading of the library.
void TearDownSharedObjects() noexcept ZTK_EXCLUDES(dispatcher_lock);

}  // namespace ZTKPosix
