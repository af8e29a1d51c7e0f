// The objects behind handles, and the lock that guards all of them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/posix/kernel/lock/lock.h"

namespace ZTKPosix {

struct KernelObject;
struct WaitBlock;
struct Waiter;

// What is particular to one kind of object. Each kind has one record, whose address stands for it.
struct ObjectKind {
    // Takes an object out of all that it belongs to when its last reference goes, with the
    // dispatcher lock held. Null: there is nothing to do.
    void (*discard)(KernelObject& object) noexcept;

    // Gives back what the object holds beside its memory, afterwards and without the lock. Null:
    // it holds nothing.
    void (*close)(KernelObject& object) noexcept;
};

// One block of the private heap, followed by the name's text if there is one. Trivially
// destructible. All members are guarded by the dispatcher lock; kind, resets_when_taken and name
// are constant once the object is made.
struct KernelObject {
    KernelObject(const ObjectKind& its_kind, bool is_signalled, bool resets = false) noexcept
        : kind(&its_kind), resets_when_taken(resets), signalled(is_signalled) {}
    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;

    const ObjectKind* const kind;
    const bool resets_when_taken;     // a wait that takes it makes it non-signalled
    bool signalled;                   // a wait could take it
    std::uint32_t handles = 0;        // open handles; the name goes with the last of them
    std::uint32_t references = 1;     // the maker's, handles, waits, a running thread's own; the
                                      // object is freed at 0
    WaitBlock* first_wait = nullptr;  // threads that wait, in the order in which they came
    WaitBlock* last_wait = nullptr;

    const wchar_t* name = nullptr;  // null for none; not terminated
    std::size_t name_length = 0;
    KernelObject* next_named = nullptr;    // in the same bucket of the name table
    KernelObject* next_to_free = nullptr;  // of the section that discarded it
};

// Guards the handle table, the names and the state of every object. One lock for all keeps a wait
// for all of several objects simple and free of deadlock; it is held for a few dozen instructions,
// never across a system call, except that of a growing table.
extern constinit Lock dispatcher_lock;

// A span of time under the dispatcher lock. What must not happen under it, waking threads and
// freeing objects, is collected and done after its release.
class ZTK_SCOPED_CAPABILITY DispatcherSection {
  public:
    DispatcherSection() noexcept ZTK_ACQUIRE(dispatcher_lock) { dispatcher_lock.Acquire(); }
    ~DispatcherSection() ZTK_RELEASE() {
        dispatcher_lock.Release();
        if (first_to_wake_ != nullptr) [[unlikely]] {
            WakeCollected();
        }
        if (first_to_free_ != nullptr) [[unlikely]] {
            FreeCollected();
        }
    }
    DispatcherSection(const DispatcherSection&) = delete;
    DispatcherSection& operator=(const DispatcherSection&) = delete;

    void WakeLater(Waiter& waiter) noexcept;

    // Drops one reference and with the last one the object.
    void Release(KernelObject& object) noexcept {
        if (--object.references == 0) {
            Discard(object);
        }
    }

  private:
    void Discard(KernelObject& object) noexcept;
    void WakeCollected() noexcept;
    void FreeCollected() noexcept;

    Waiter* first_to_wake_ = nullptr;
    Waiter* last_to_wake_ = nullptr;
    KernelObject* first_to_free_ = nullptr;
};

}  // namespace ZTKPosix
