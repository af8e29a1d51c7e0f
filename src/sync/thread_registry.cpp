#include "sync/thread_registry.h"

#include "frame/base/static_object.h"
#include "sync/thread_table.h"
#include "ztk/scope.h"
#include "ztk/threads.h"

namespace ZTK {
namespace sync {
namespace {

// Destroyed at unload without closing what it still holds: those threads' owners may.
struct Registry {
    CLock lock;
    ThreadTable threads ZTK_GUARDED_BY(lock);
};

constinit frame::StaticObject<Registry> registry;

void CloseIfOpen(HANDLE handle) noexcept {
    if (handle != nullptr) {
        (void)CloseHandle(handle);  // fails if its owner has closed it: then it is gone, too
    }
}

// Another handle of the same object, or null.
HANDLE Duplicate(HANDLE handle) noexcept {
    HANDLE copy = nullptr;
    const BOOL made = DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0,
                                      FALSE, DUPLICATE_SAME_ACCESS);
    return made ? copy : nullptr;
}

// Records a thread with a new event, unless its id is known. Returns the id's event.
HANDLE Record(Registry& state, ThreadEntry entry) noexcept ZTK_REQUIRES(state.lock) {
    if (const ThreadEntry* known = state.threads.Find(entry.id); known != nullptr) {
        return known->notify;
    }
    entry.notify = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!state.threads.Insert(entry)) {
        CloseIfOpen(entry.notify);
        return nullptr;
    }
    return entry.notify;
}

// One wait covers all threads or none: with more than the platform's limit, or with a null handle
// among them, the wait fails at once and callers go straight on to closing the handles. There is no
// batching.
void WaitForAll(const ThreadTable& threads, DWORD timeout) noexcept {
    if (threads.size() > MAXIMUM_WAIT_OBJECTS) {
        return;
    }
    HANDLE handles[MAXIMUM_WAIT_OBJECTS];
    DWORD count = 0;
    for (const ThreadEntry& entry : threads) {
        handles[count++] = entry.thread;
    }
    // The handles are closed whatever comes of it.
    (void)WaitForMultipleObjects(count, handles, TRUE, timeout);
}

}  // namespace

void BuildThreadRegistry() noexcept {
    registry.Build();
}

void DestroyThreadRegistry() noexcept {
    registry.Destroy();
}

// Not analysed, here and below: the lock is hidden in this file.
void LockThreadRegistry() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    registry.Get().lock.Lock();
}

void UnlockThreadRegistry() noexcept ZTK_NO_THREAD_SAFETY_ANALYSIS {
    registry.Get().lock.Unlock();
}

void* StartThread(LPTHREAD_START_ROUTINE start, void* parameter, DWORD creation_flags,
                  ThreadHandle handle, std::atomic<DWORD>& id) noexcept {
    Registry& state = registry.Get();
    const CLockGuard guard(state.lock);
    // A thread that could not be recorded afterwards would be one that nobody can wait for.
    if (!state.threads.Reserve()) {
        return nullptr;
    }
    DWORD new_id = 0;
    HANDLE thread =
        CreateThread(nullptr, 0, start, parameter, creation_flags | CREATE_SUSPENDED, &new_id);
    if (thread == nullptr) {
        return nullptr;
    }
    id = new_id;
    HANDLE starters = handle == ThreadHandle::kShared ? thread : Duplicate(thread);
    const bool is_sole_owner = handle == ThreadHandle::kRegistry;
    // An agent's entry under the same id stays, and a handle of the registry's own is not needed.
    const bool is_known = state.threads.Find(new_id) != nullptr;
    (void)Record(state, {new_id, thread, nullptr, is_sole_owner});  // its event is the thread's
    (void)ResumeThread(thread);  // of a thread just made: cannot fail
    if (is_known && is_sole_owner) {
        CloseHandle(thread);
    }
    return starters;
}

void* OpenRegisteredThread(unsigned int thread_id) noexcept {
    Registry& state = registry.Get();
    const CLockGuard guard(state.lock);
    const ThreadEntry* entry = state.threads.Find(thread_id);
    return entry != nullptr && entry->thread != nullptr ? Duplicate(entry->thread) : nullptr;
}

}  // namespace sync

void* RegisterThread(unsigned int thread_id, void* thread_handle) noexcept {
    sync::Registry& state = sync::registry.Get();
    const CLockGuard guard(state.lock);
    return sync::Record(state, {thread_id, thread_handle, nullptr, false});
}

void DeRegisterThread(unsigned int thread_id) noexcept {
    sync::Registry& state = sync::registry.Get();
    const CLockGuard guard(state.lock);
    sync::ThreadEntry* entry = state.threads.Find(thread_id);
    if (entry == nullptr) {
        return;
    }
    sync::CloseIfOpen(entry->notify);
    if (entry->is_sole_owner) {
        CloseHandle(entry->thread);
    }
    state.threads.Erase(entry);
}

void* GetThreadHandle(unsigned int thread_id) noexcept {
    sync::Registry& state = sync::registry.Get();
    const CLockGuard guard(state.lock);
    sync::ThreadEntry* entry = state.threads.Find(thread_id);
    if (entry == nullptr) {
        return nullptr;
    }
    entry->is_sole_owner = false;  // whoever gets it closes it
    return entry->thread;
}

void* GetThreadNotify(unsigned int thread_id) noexcept {
    sync::Registry& state = sync::registry.Get();
    const CLockGuard guard(state.lock);
    const sync::ThreadEntry* entry = state.threads.Find(thread_id);
    return entry != nullptr ? entry->notify : nullptr;
}

void WaitRegisteredThreadsExit(DWORD timeout_milliseconds) noexcept {
    sync::ThreadTable threads;
    {
        // Threads that end from here on find nothing to deregister.
        sync::Registry& state = sync::registry.Get();
        const CLockGuard guard(state.lock);
        threads.Swap(state.threads);
    }
    if (threads.size() == 0) {
        return;
    }
    sync::WaitForAll(threads, timeout_milliseconds);
    for (const sync::ThreadEntry& entry : threads) {
        sync::CloseIfOpen(entry.thread);
    }
    for (const sync::ThreadEntry& entry : threads) {
        sync::CloseIfOpen(entry.notify);
    }
}

}  // namespace ZTK
