// Events and mutexes.
#include "platform/posix/kernel/sync_objects.h"

#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/new_object.h"
#include "platform/posix/kernel/object_names.h"
#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/shared_objects.h"
#include "platform/posix/kernel/thread_end.h"
#include "platform/posix/kernel/waits.h"

namespace ZTKPosix {

namespace {

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

// Reads the name of an object to be made or opened. Returns whether it is one that processes share;
// false with *failed set if neither can be told, with the last error set.
bool IsForAllProcesses(LPCWSTR name, ObjectName* read, bool* failed) noexcept {
    *failed = true;
    if (const DWORD refusal = ReadObjectName(name, read); refusal != ERROR_SUCCESS) {
        SetLastError(refusal);
        return false;
    }
    const shared::Sharing sharing = read->length != 0 ? shared::Attach() : shared::Sharing::kLocal;
    *failed = sharing == shared::Sharing::kFailed;
    if (*failed) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return sharing == shared::Sharing::kShared;
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
    ObjectName read;
    bool failed = false;
    if (IsForAllProcesses(name, &read, &failed)) {
        return CreateShared(
            manual_reset != FALSE ? shared::Kind::kManualEvent : shared::Kind::kAutoEvent,
            initial_state != FALSE, read);
    }
    auto* event =
        failed ? nullptr : NewObject<Event>(read, manual_reset != FALSE, initial_state != FALSE);
    if (event == nullptr) {
        return nullptr;
    }
    DispatcherSection section;
    return Publish(*event, section);
}

BOOL SetEvent(HANDLE handle) noexcept {
    {
        DispatcherSection section;
        KernelObject* const object = FindObject(handle);
        if (object != nullptr && object->kind == &Event::kKind) [[likely]] {
            object->signalled = true;
            if (object->first_wait != nullptr) {
                SatisfyWaiters(*object, section);
            }
            return TRUE;
        }
        if (object != nullptr && SetSharedQuietly(*object)) {
            return TRUE;
        }
    }
    return SetSharedEvent(handle);
}

BOOL ResetEvent(HANDLE handle) noexcept {
    {
        DispatcherSection section;
        if (auto* event = FindObject<Event>(handle)) [[likely]] {
            event->signalled = false;
            return TRUE;
        }
    }
    return ResetSharedEvent(handle);
}

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES /*attributes*/, BOOL initial_owner,
                    LPCWSTR name) noexcept {
    ObjectName read;
    bool failed = false;
    if (IsForAllProcesses(name, &read, &failed)) {
        return CreateShared(shared::Kind::kMutex, initial_owner != FALSE, read);
    }
    auto* mutex = failed ? nullptr : NewObject<Mutex>(read);
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
    {
        DispatcherSection section;
        KernelObject* const object = FindObject(handle);
        if (object != nullptr && object->kind == &Mutex::kKind) [[likely]] {
            auto* mutex = static_cast<Mutex*>(object);
            if (mutex->owner != &current_record) {
                SetLastError(ERROR_NOT_OWNER);
                return FALSE;
            }
            if (--mutex->depth == 0) {
                Disown(*mutex);
                SatisfyWaiters(*mutex, section);
            }
            return TRUE;
        }
        if (object != nullptr && ReleaseSharedQuietly(*object, section)) {
            return TRUE;
        }
    }
    return ReleaseSharedMutex(handle);
}

BOOL NamesAreShared() noexcept {
    return shared::Attach() == shared::Sharing::kShared ? TRUE : FALSE;
}

}  // namespace ZTKPosix
