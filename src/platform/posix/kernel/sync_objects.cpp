// Events and mutexes.
#include "platform/posix/kernel/sync_objects.h"

#include <cstring>
#include <new>

#include "platform/memory/allocation.h"
#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/object_names.h"
#include "platform/posix/kernel/thread_end.h"
#include "platform/posix/kernel/waits.h"

namespace ZTKPosix {

namespace {

// An object with its maker's reference, which it keeps until it is published. Null when memory is
// short or the name is none, with the last error set.
template <typename Object, typename... Arguments>
Object* NewObject(LPCWSTR name, Arguments... arguments) noexcept {
    ObjectName read;
    if (const DWORD refusal = ReadObjectName(name, &read); refusal != ERROR_SUCCESS) {
        SetLastError(refusal);
        return nullptr;
    }
    void* memory = ZTK::allocation::RuntimeAlloc(sizeof(Object) + read.length * sizeof *name);
    if (memory == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    auto* object = new (memory) Object(arguments...);
    if (read.length != 0) {
        auto* text = reinterpret_cast<wchar_t*>(object + 1);
        std::memcpy(text, read.text, read.length * sizeof *name);
        object->name = text;
        object->name_length = read.length;
    }
    return object;
}

// Opens the first handle of a new object, or, if its name is taken, one of the object that has it.
// Either way the maker's reference goes, and a new object that got no handle goes with it. The last
// error tells which: 0 or ERROR_ALREADY_EXISTS, or why it failed.
HANDLE Publish(KernelObject& object, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    KernelObject* existing =
        object.name != nullptr ? FindNamed(object.name, object.name_length) : nullptr;
    HANDLE handle = nullptr;
    if (existing != nullptr && existing->kind != object.kind) {
        SetLastError(ERROR_INVALID_HANDLE);
    } else {
        handle = OpenHandle(existing != nullptr ? *existing : object);
        if (handle == nullptr) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        } else if (existing != nullptr) {
            SetLastError(ERROR_ALREADY_EXISTS);
        } else {
            if (object.name != nullptr) {
                RememberName(object);
            }
            SetLastError(ERROR_SUCCESS);
        }
    }
    section.Release(object);
    return handle;
}

}  // namespace

bool TakeMutex(Mutex& mutex, ThreadRecord& thread) noexcept {
    if (mutex.owner == nullptr) {
        mutex.owner = &thread;
        mutex.signalled = false;
        mutex.previous_owned = nullptr;
        mutex.next_owned = thread.first_owned;
        if (thread.first_owned != nullptr) {
            thread.first_owned->previous_owned = &mutex;
        }
        thread.first_owned = &mutex;
    }
    ++mutex.depth;
    const bool abandoned = mutex.abandoned;
    mutex.abandoned = false;
    return abandoned;
}

void Disown(Mutex& mutex) noexcept {
    if (mutex.previous_owned != nullptr) {
        mutex.previous_owned->next_owned = mutex.next_owned;
    } else {
        mutex.owner->first_owned = mutex.next_owned;
    }
    if (mutex.next_owned != nullptr) {
        mutex.next_owned->previous_owned = mutex.previous_owned;
    }
    mutex.owner = nullptr;
    mutex.depth = 0;
    mutex.signalled = true;
}

// Closing the last handle of an owned mutex is allowed: the owner just has one mutex less.
void DiscardMutex(KernelObject& object) noexcept {
    auto& mutex = static_cast<Mutex&>(object);
    if (mutex.owner != nullptr) {
        Disown(mutex);
    }
}

void AbandonMutexes(ThreadRecord& thread, DispatcherSection& section) noexcept {
    while (thread.first_owned != nullptr) {
        Mutex& mutex = *thread.first_owned;
        mutex.abandoned = true;
        Disown(mutex);
        SatisfyWaiters(mutex, section);
    }
}

// The owner's list is not touched: its record went with its thread.
void AbandonLostMutexInChild(Mutex& mutex) noexcept {
    if (mutex.owner != nullptr && mutex.owner != &current_record) {
        mutex.owner = nullptr;
        mutex.depth = 0;
        mutex.abandoned = true;
        mutex.signalled = true;
    }
}

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES /*attributes*/, BOOL manual_reset, BOOL initial_state,
                    LPCWSTR name) noexcept {
    auto* event = NewObject<Event>(name, manual_reset != FALSE, initial_state != FALSE);
    if (event == nullptr) {
        return nullptr;
    }
    DispatcherSection section;
    return Publish(*event, section);
}

BOOL SetEvent(HANDLE handle) noexcept {
    DispatcherSection section;
    auto* event = FindObject<Event>(handle);
    if (event == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    event->signalled = true;
    if (event->first_wait != nullptr) {
        SatisfyWaiters(*event, section);
    }
    return TRUE;
}

BOOL ResetEvent(HANDLE handle) noexcept {
    DispatcherSection section;
    auto* event = FindObject<Event>(handle);
    if (event == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    event->signalled = false;
    return TRUE;
}

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES /*attributes*/, BOOL initial_owner,
                    LPCWSTR name) noexcept {
    auto* mutex = NewObject<Mutex>(name);
    if (mutex == nullptr) {
        return nullptr;
    }
    DispatcherSection section;
    if (initial_owner != FALSE && !AnnounceThreadEnd()) {
        section.Release(*mutex);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    HANDLE handle = Publish(*mutex, section);
    // A mutex that existed before keeps its owner: the caller only asked for a new one to be its
    // own.
    if (handle != nullptr && initial_owner != FALSE && mutex->handles != 0) {
        TakeMutex(*mutex, current_record);
    }
    return handle;
}

BOOL ReleaseMutex(HANDLE handle) noexcept {
    DispatcherSection section;
    auto* mutex = FindObject<Mutex>(handle);
    if (mutex == nullptr || mutex->owner != &current_record) {
        SetLastError(mutex == nullptr ? ERROR_INVALID_HANDLE : ERROR_NOT_OWNER);
        return FALSE;
    }
    if (--mutex->depth == 0) {
        Disown(*mutex);
        SatisfyWaiters(*mutex, section);
    }
    return TRUE;
}

}  // namespace ZTKPosix
