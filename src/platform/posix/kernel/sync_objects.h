// Events and mutexes, and the rules by which waits take objects.
#pragma once

#include "platform/posix/kernel/kernel_object.h"
#include "platform/posix/kernel/thread_record.h"

namespace ZTKPosix {

// Signalled while it is set.
struct Event : KernelObject {
    static constexpr ObjectKind kKind{nullptr, nullptr};

    Event(bool manual_reset, bool is_set) noexcept : Event(kKind, manual_reset, is_set) {}

  protected:
    Event(const ObjectKind& its_kind, bool manual_reset, bool is_set) noexcept
        : KernelObject(its_kind, is_set, !manual_reset) {}
};

// Makes the mutex, which is on its way out, its owner's no more.
void DiscardMutex(KernelObject& mutex) noexcept ZTK_REQUIRES(dispatcher_lock);

// Signalled while nobody owns it.
struct Mutex : KernelObject {
    static constexpr ObjectKind kKind{DiscardMutex, nullptr};

    Mutex() noexcept : Mutex(kKind, true) {}

    ThreadRecord* owner ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
    // How often the owner has taken it.
    std::uint32_t depth ZTK_GUARDED_BY(dispatcher_lock) = 0;
    // Its last owner ended without releasing it.
    bool abandoned ZTK_GUARDED_BY(dispatcher_lock) = false;
    // In the owner's list.
    Mutex* previous_owned ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
    Mutex* next_owned ZTK_GUARDED_BY(dispatcher_lock) = nullptr;

  protected:
    Mutex(const ObjectKind& its_kind, bool is_free) noexcept : KernelObject(its_kind, is_free) {}
};

// None of the calls below fails or touches the last error.

// Whether thread could take object now: it is signalled, or a mutex that is the thread's already.
inline bool IsAvailable(const KernelObject& object, const ThreadRecord& thread) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    return object.signalled ||
           (object.kind == &Mutex::kKind && static_cast<const Mutex&>(object).owner == &thread);
}

// Gives the mutex to thread, one level deeper if it is the thread's already. Returns true when it
// was abandoned. REQUIRES: no other thread owns it, and the end of thread is announced.
bool TakeMutex(Mutex& mutex, ThreadRecord& thread) noexcept ZTK_REQUIRES(dispatcher_lock);

// Takes the mutex from its owner, at whatever depth, and makes it free. Its waiters are not looked
// at. REQUIRES: it has an owner.
void Disown(Mutex& mutex) noexcept ZTK_REQUIRES(dispatcher_lock);

// Takes an available object for thread. Returns true for a mutex that was abandoned.
inline bool Take(KernelObject& object, ThreadRecord& thread) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    if (object.kind == &Mutex::kKind) {
        return TakeMutex(static_cast<Mutex&>(object), thread);
    }
    if (object.resets_when_taken) {
        object.signalled = false;
    }
    return false;
}

// Marks all mutexes that thread owns as abandoned and hands them to their next waiters.
void AbandonMutexes(ThreadRecord& thread, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock);

// In a child of fork: abandons the mutex if its owner was another thread of the parent. REQUIRES:
// nobody waits for it.
void AbandonLostMutexInChild(Mutex& mutex) noexcept ZTK_REQUIRES(dispatcher_lock);

}  // namespace ZTKPosix
