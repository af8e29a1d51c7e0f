#include "sync/thread_registry.h"

#include "frame/base/static_object.h"
#include "sync/lock_guard.h"
#include "sync/thread_table.h"
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

void* RemoveThread(unsigned int thread_id) noexcept {
    Registry& state = registry.Get();
    const LockGuard guard(state.lock);
    ThreadEntry* entry = state.threads.Find(thread_id);
    if (entry == nullptr) {
        return nullptr;
    }
    HANDLE thread = entry->thread;
    CloseIfOpen(entry->notify);
    state.threads.Erase(entry);
    return thread;
}

void* OpenRegisteredThread(unsigned int thread_id) noexcept {
    Registry& state = registry.Get();
    const LockGuard guard(state.lock);
    const ThreadEntry* entry = state.threads.Find(thread_id);
    HANDLE duplicate = nullptr;
    if (entry != nullptr && entry->thread != nullptr) {
        // The duplicate stays null when there is none.
        (void)DuplicateHandle(GetCurrentProcess(), entry->thread, GetCurrentProcess(), &duplicate,
                              0, FALSE, DUPLICATE_SAME_ACCESS);
    }
    return duplicate;
}

}  // namespace sync

void* RegisterThread(unsigned int thread_id, void* thread_handle) noexcept {
    sync::Registry& state = sync::registry.Get();
    const sync::LockGuard guard(state.lock);
    if (const sync::ThreadEntry* known = state.threads.Find(thread_id); known != nullptr) {
        return known->notify;
    }
    HANDLE notify = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!state.threads.Insert({thread_id, thread_handle, notify})) {
        sync::CloseIfOpen(notify);
        return nullptr;
    }
    return notify;
}

void DeRegisterThread(unsigned int thread_id) noexcept {
    (void)sync::RemoveThread(thread_id);  // the thread's handle is not closed
}

void* GetThreadHandle(unsigned int thread_id) noexcept {
    sync::Registry& state = sync::registry.Get();
    const sync::LockGuard guard(state.lock);
    const sync::ThreadEntry* entry = state.threads.Find(thread_id);
    return entry != nullptr ? entry->thread : nullptr;
}

void* GetThreadNotify(unsigned int thread_id) noexcept {
    sync::Registry& state = sync::registry.Get();
    const sync::LockGuard guard(state.lock);
    const sync::ThreadEntry* entry = state.threads.Find(thread_id);
    return entry != nullptr ? entry->notify : nullptr;
}

void WaitRegisteredThreadsExit(DWORD timeout_milliseconds) noexcept {
    sync::ThreadTable threads;
    {
        // Threads that end from here on find nothing to deregister.
        sync::Registry& state = sync::registry.Get();
        const sync::LockGuard guard(state.lock);
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
