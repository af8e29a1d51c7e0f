// The objects behind handles.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/posix/kernel/dispatcher_lock.h"

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

// The index of an object that is no shared one.
inline constexpr std::uint32_t kNotShared = ~0U;

// One block of the private heap, followed by the name's text if there is one. Trivially
// destructible.
struct KernelObject {
    KernelObject(const ObjectKind& its_kind, bool is_signalled, bool resets = false) noexcept
        : kind(&its_kind), resets_when_taken(resets), signalled(is_signalled) {}
    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;

    // Changes only where a child of fork gets objects of its own in place of shared ones.
    const ObjectKind* kind;
    // A wait that takes the object makes it non-signalled.
    bool resets_when_taken;
    // A wait could take the object.
    bool signalled ZTK_GUARDED_BY(dispatcher_lock);
    // Open handles. The name goes with the last of them.
    std::uint32_t handles ZTK_GUARDED_BY(dispatcher_lock) = 0;
    // The maker's, those of handles and waits, and a running thread's own. The object is freed at
    // 0.
    std::uint32_t references ZTK_GUARDED_BY(dispatcher_lock) = 1;
    // The object's slot in the table that processes share (shared_objects.h). Constant once a
    // handle is open, except as kind.
    std::uint32_t shared_index = kNotShared;
    // Threads that wait, in the order in which they came.
    WaitBlock* first_wait ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
    WaitBlock* last_wait ZTK_GUARDED_BY(dispatcher_lock) = nullptr;

    // Null for none; not terminated. Constant once the object is made.
    const wchar_t* name = nullptr;
    std::size_t name_length = 0;
    // In the same bucket of the name table.
    KernelObject* next_named ZTK_GUARDED_BY(dispatcher_lock) = nullptr;
    // In the list of the section that discarded the object.
    KernelObject* next_to_free = nullptr;
};

inline bool IsShared(const KernelObject& object) noexcept {
    return object.shared_index != kNotShared;
}

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

    // Wakes a thread whose wait is satisfied.
    void WakeLater(Waiter& waiter) noexcept ZTK_REQUIRES(dispatcher_lock);

    // Drops one reference and with the last one the object.
    void Release(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock) {
        if (--object.references == 0) {
            Discard(object);
        }
    }

  private:
    void Discard(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock);
    void WakeCollected() noexcept;
    void FreeCollected() noexcept;

    Waiter* first_to_wake_ = nullptr;
    Waiter* last_to_wake_ = nullptr;
    KernelObject* first_to_free_ = nullptr;
};

}  // namespace ZTKPosix
