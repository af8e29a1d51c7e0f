// The objects behind handles, and the lock that guards all of them.
#pragma once

#include <pthread.h>

#include <cstddef>

#include "platform/posix/kernel/lock/lock.h"
#include "platform/posix/kernel/thread_record.h"

namespace ZTKPosix {

struct WaitBlock;
struct Waiter;

enum class ObjectKind : unsigned char { kEvent, kMutex, kThread, kFile };

// One block of the private heap, followed by the name's text if there is one. All members are
// guarded by the dispatcher lock; kind and name are constant after construction.
struct KernelObject {
    ObjectKind kind = ObjectKind::kEvent;
    bool resets_when_taken = false;  // an auto-reset event
    bool signalled = false;          // event set, mutex free, thread ended; a file always
    std::uint32_t handles = 0;       // open handles; the name goes with the last of them
    std::uint32_t references = 0;  // handles, waits and the thread that runs; frees the object at 0
    WaitBlock* first_wait = nullptr;  // threads that wait, in the order in which they came
    WaitBlock* last_wait = nullptr;

    const wchar_t* name = nullptr;  // null for none; not terminated
    std::size_t name_length = 0;
    KernelObject* next_named = nullptr;  // in the same bucket of the name table; then, once it is
                                         // discarded, the next object to free
};

struct Event : KernelObject {
    static constexpr ObjectKind kKind = ObjectKind::kEvent;
};

struct Mutex : KernelObject {
    static constexpr ObjectKind kKind = ObjectKind::kMutex;
    ThreadRecord* owner = nullptr;
    std::uint32_t depth = 0;
    bool abandoned = false;           // its last owner ended without releasing it
    Mutex* previous_owned = nullptr;  // in the owner's list
    Mutex* next_owned = nullptr;
};

struct Thread : KernelObject {
    static constexpr ObjectKind kKind = ObjectKind::kThread;
    DWORD (*start)(void*) = nullptr;  // constant after construction, as parameter
    void* parameter = nullptr;
    FutexWord gate{0};  // what a suspended thread sleeps on
    bool suspended = false;
    bool joined_at_unload = false;
    DWORD exit_code = 0;  // written by the thread itself before it is signalled
    pthread_t system_thread{};
    Thread* previous_live = nullptr;  // in the list of threads that have not ended
    Thread* next_live = nullptr;
};

struct File : KernelObject {
    static constexpr ObjectKind kKind = ObjectKind::kFile;
    int descriptor = -1;  // constant after construction
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
