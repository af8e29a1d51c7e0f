#include "platform/posix/kernel/shared_objects.h"

#include <algorithm>
#include <optional>

#include "platform/posix/kernel/handle_table.h"
#include "platform/posix/kernel/new_object.h"
#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/shared/object_word.h"
#include "platform/posix/kernel/shared/seat.h"
#include "platform/posix/kernel/shared/shared_futex.h"
#include "platform/posix/kernel/shared/table.h"
#include "platform/posix/kernel/thread_end.h"
#include "platform/posix/kernel/waits.h"

namespace ZTKPosix {

constinit SharedBinding shared_bindings[shared::kMaxSlots]{};

namespace {

// No slot from here on was ever bound.
constinit std::uint32_t bindings_end ZTK_GUARDED_BY(dispatcher_lock) = 0;

HANDLE Fail(DWORD error) noexcept {
    SetLastError(error);
    return nullptr;
}

void Bind(KernelObject& object, const shared::Opened& opened) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    object.shared_index = opened.index;
    object.resets_when_taken = opened.kind == shared::Kind::kAutoEvent;
    shared_bindings[opened.index] = {&object, opened.generation};
    bindings_end = std::max(bindings_end, opened.index + 1);
}

// A handle for the name if this process has one already. False if not.
bool OpenAgain(const KernelObject& wanted, HANDLE* handle) noexcept ZTK_EXCLUDES(dispatcher_lock) {
    DispatcherSection section;
    KernelObject* const existing = FindNamed(wanted.name, wanted.name_length);
    if (existing == nullptr || IsLost(*existing)) {
        return false;
    }
    if (existing->kind != wanted.kind) {
        *handle = Fail(ERROR_INVALID_HANDLE);
        return true;
    }
    *handle = OpenHandle(*existing);
    SetLastError(*handle != nullptr ? ERROR_ALREADY_EXISTS : ERROR_NOT_ENOUGH_MEMORY);
    return true;
}

// Opens the first handle of an object that the table has given to this process. wanted becomes that
// object, if the process does not use it anyway.
HANDLE OpenFirst(KernelObject& wanted, const shared::Opened& opened, bool owned) noexcept
    ZTK_EXCLUDES(dispatcher_lock) {
    bool used = false;
    {
        DispatcherSection section;
        const SharedBinding& bound = shared_bindings[opened.index];
        used = bound.object != nullptr && bound.generation == opened.generation;
        KernelObject& object = used ? *bound.object : wanted;
        if (HANDLE const handle = OpenHandle(object)) {
            if (!used) {
                Bind(object, opened);
            }
            RememberName(object);
            if (owned) {
                OwnSharedMutex(static_cast<SharedMutex&>(object), current_record);
            }
            SetLastError(opened.found == shared::Found::kMade ? ERROR_SUCCESS
                                                              : ERROR_ALREADY_EXISTS);
            return handle;
        }
    }
    (void)shared::DropName(opened.index, opened.generation, !used, true);  // nobody is left to tell
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}

// REQUIRES: the table's lock.
HANDLE OpenShared(KernelObject& wanted, shared::Kind kind, bool initial) noexcept
    ZTK_EXCLUDES(dispatcher_lock) {
    HANDLE handle = nullptr;
    if (OpenAgain(wanted, &handle)) {
        return handle;
    }
    const bool is_mutex = kind == shared::Kind::kMutex;
    const shared::Opened opened =
        shared::OpenName({wanted.name, wanted.name_length,
                          HashName(wanted.name, wanted.name_length), kind, initial != is_mutex});
    switch (opened.found) {
        case shared::Found::kOtherKind:
            return Fail(ERROR_INVALID_HANDLE);
        case shared::Found::kNoRoom:
            return Fail(ERROR_NOT_ENOUGH_MEMORY);
        default:
            return OpenFirst(wanted, opened,
                             is_mutex && initial && opened.found == shared::Found::kMade);
    }
}

KernelObject* NewShared(shared::Kind kind, const ObjectName& name) noexcept {
    if (kind == shared::Kind::kMutex) {
        return NewObject<SharedMutex>(name);
    }
    return NewObject<SharedEvent>(name, kind == shared::Kind::kManualEvent);
}

// The mutex is free in this process's books. The owner's reference stays to be released.
void DisownShared(Mutex& mutex) noexcept ZTK_REQUIRES(dispatcher_lock) {
    Disown(mutex);
    mutex.signalled = false;
}

// An object that the caller keeps a reference of.
void ReleaseReference(KernelObject& object) noexcept ZTK_EXCLUDES(dispatcher_lock) {
    DispatcherSection section;
    section.Release(object);
}

SharedMutex* FirstOwnedShared() noexcept ZTK_REQUIRES(dispatcher_lock) {
    Mutex* mutex = current_record.first_owned;
    while (mutex != nullptr && !IsShared(*mutex)) {
        mutex = mutex->next_owned;
    }
    return static_cast<SharedMutex*>(mutex);
}

void AbandonOwnedShared() noexcept ZTK_EXCLUDES(dispatcher_lock) {
    for (;;) {
        SharedMutex* mutex = nullptr;
        bool woken = false;
        constexpr std::uint32_t kBits = shared::kSignalled | shared::kAbandoned;
        {
            DispatcherSection section;
            mutex = FirstOwnedShared();
            if (mutex == nullptr) {
                return;
            }
            DisownShared(*mutex);
            woken = IsLost(*mutex) || shared::SetQuietly(SharedWord(*mutex), kBits);
        }
        if (!woken) {
            shared::SetAndWakeAll(SharedWord(*mutex), kBits);
        }
        ReleaseReference(*mutex);
    }
}

void DetachMutexInChild(Mutex& mutex, bool was_free, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    mutex.abandoned = !was_free;
    mutex.signalled = true;
    if (mutex.owner == nullptr) {
        return;
    }
    if (mutex.owner == &current_record) {
        Disown(mutex);
    } else {  // whose list went with its thread
        mutex.owner = nullptr;
        mutex.depth = 0;
    }
    section.Release(mutex);  // the owner's reference
}

}  // namespace

bool RepairShared() noexcept {
    if (!PrepareForShared()) {
        return false;
    }
    const shared::TableSection table;
    if (table.IsEntered()) {
        shared::RepairTable();
    }
    return table.IsEntered();
}

bool PrepareForShared() noexcept {
    if (shared::CurrentSeat() != shared::kNoSeat) {
        return true;
    }
    {
        const DispatcherSection section;
        if (!AnnounceThreadEnd()) {
            return false;
        }
    }
    return shared::TakeSeat();
}

void OwnSharedMutex(SharedMutex& mutex, ThreadRecord& thread) noexcept {
    if (mutex.owner == nullptr) {
        ++mutex.references;
    }
    (void)TakeMutex(mutex, thread);  // whether it was abandoned is known from the table
}

bool SetSharedQuietly(KernelObject& object) noexcept {
    return object.kind == &SharedEvent::kKind && !IsLost(object) &&
           shared::SetQuietly(SharedWord(object), shared::kSignalled);
}

DWORD TakeSharedQuickly(KernelObject& object) noexcept {
    const bool is_mutex = object.kind == &SharedMutex::kKind;
    if (IsLost(object)) {
        return WAIT_TIMEOUT;
    }
    if (is_mutex && static_cast<SharedMutex&>(object).owner == &current_record) {
        OwnSharedMutex(static_cast<SharedMutex&>(object), current_record);
        return WAIT_OBJECT_0;
    }
    FutexWord& word = SharedWord(object);
    std::uint32_t seen = word.load(std::memory_order_acquire);
    const std::uint32_t seat = is_mutex ? shared::CurrentSeat() : 0;
    constexpr std::uint32_t kState = shared::kSignalled | shared::kReserved;
    if ((seen & kState) != shared::kSignalled || seat == shared::kNoSeat) {
        return WAIT_TIMEOUT;
    }
    if (!is_mutex && !object.resets_when_taken) {
        return WAIT_OBJECT_0;
    }
    if (!word.compare_exchange_strong(seen, shared::NextRound(seen, seat))) {
        return WAIT_TIMEOUT;
    }
    if (is_mutex) {
        OwnSharedMutex(static_cast<SharedMutex&>(object), current_record);
    }
    return (seen & shared::kAbandoned) != 0 ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

bool ReleaseSharedQuietly(KernelObject& object, DispatcherSection& section) noexcept {
    if (object.kind != &SharedMutex::kKind) {
        return false;
    }
    auto& mutex = static_cast<SharedMutex&>(object);
    if (mutex.owner != &current_record) {
        return false;
    }
    if (mutex.depth > 1) {
        --mutex.depth;
        return true;
    }
    if (IsLost(mutex) || !shared::SetQuietly(SharedWord(mutex), shared::kSignalled)) {
        return false;
    }
    DisownShared(mutex);
    section.Release(mutex);
    return true;
}

void DiscardShared(KernelObject& object) noexcept {
    if (IsShared(object) && shared_bindings[object.shared_index].object == &object) {
        shared_bindings[object.shared_index].object = nullptr;
    }
}

void CloseShared(KernelObject& object) noexcept {
    if (IsShared(object)) {
        (void)SettleShared(object.shared_index);  // nothing is left that others could matter to
    }
}

// Meanwhile another thread may have opened the name again: what is there now decides.
bool SettleShared(std::uint32_t index) noexcept {
    if (shared::table == nullptr) {
        return true;
    }
    std::optional<shared::TableSection> table;
    if (PrepareForShared()) {
        table.emplace();
    }
    bool open = false;
    bool used = false;
    std::uint32_t generation = 0;
    {
        const DispatcherSection section;
        const SharedBinding& bound = shared_bindings[index];
        used = bound.object != nullptr;
        open = used && bound.object->handles != 0;
        generation = bound.generation;
    }
    return !open && shared::DropName(index, generation, !used, table && table->IsEntered());
}

namespace {

// Takes a mutex that nobody can reach any more from its owner: as with other mutexes, he just has
// one mutex less.
void DisownUnreachable(KernelObject& object, DispatcherSection& section) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    constexpr std::uint32_t kOwnersAndCallers = 2;
    if (object.kind == &SharedMutex::kKind && object.references == kOwnersAndCallers &&
        object.handles == 0 && static_cast<SharedMutex&>(object).owner != nullptr) {
        DisownShared(static_cast<SharedMutex&>(object));
        section.Release(object);
    }
}

}  // namespace

// Where nothing else refers to the object, to free it does the same at once.
void GiveUpName(KernelObject& object) noexcept {
    bool used = false;
    {
        DispatcherSection section;
        used = object.references > 1;
        if (!used) {
            section.Release(object);
        }
    }
    if (used) {
        const bool alone = SettleShared(object.shared_index);
        DispatcherSection section;
        if (alone) {
            DisownUnreachable(object, section);
        }
        section.Release(object);
    }
}

HANDLE CreateShared(shared::Kind kind, bool initial, const ObjectName& name) noexcept {
    KernelObject* const wanted = NewShared(kind, name);
    if (wanted == nullptr) {
        return nullptr;
    }
    HANDLE handle = nullptr;
    DWORD error = ERROR_NOT_ENOUGH_MEMORY;
    if (PrepareForShared()) {
        const shared::TableSection table;
        if (table.IsEntered()) {
            handle = OpenShared(*wanted, kind, initial);
            error = GetLastError();
        }
    }
    ReleaseReference(*wanted);
    SetLastError(error);
    return handle;
}

BOOL SetSharedEvent(HANDLE handle) noexcept {
    SharedEvent* event = nullptr;
    {
        DispatcherSection section;
        event = FindObject<SharedEvent>(handle);
        if (event == nullptr || IsLost(*event)) {
            SetLastError(ERROR_INVALID_HANDLE);
            return FALSE;
        }
        if (shared::SetQuietly(SharedWord(*event), shared::kSignalled)) {
            return TRUE;
        }
        ++event->references;  // a waker has nothing to do in the lock
    }
    shared::SetAndWakeAll(SharedWord(*event), shared::kSignalled);
    ReleaseReference(*event);
    return TRUE;
}

namespace {

enum class ResetResult { kDone, kInvalid, kReserved };

ResetResult TryReset(HANDLE handle) noexcept ZTK_EXCLUDES(dispatcher_lock) {
    DispatcherSection section;
    auto* event = FindObject<SharedEvent>(handle);
    if (event == nullptr || IsLost(*event)) {
        return ResetResult::kInvalid;
    }
    FutexWord& word = SharedWord(*event);
    std::uint32_t seen = word.load(std::memory_order_acquire);
    while ((seen & shared::kReserved) == 0) {
        if ((seen & shared::kSignalled) == 0 ||
            word.compare_exchange_weak(seen, shared::NextRound(seen, 0))) {
            return ResetResult::kDone;
        }
    }
    return ResetResult::kReserved;
}

}  // namespace

BOOL ResetSharedEvent(HANDLE handle) noexcept {
    ResetResult result = TryReset(handle);
    for (int repairs = 0; result == ResetResult::kReserved; ++repairs) {
        if (repairs == kMostRepairs || !RepairShared()) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return FALSE;
        }
        result = TryReset(handle);
    }
    if (result == ResetResult::kInvalid) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}

BOOL ReleaseSharedMutex(HANDLE handle) noexcept {
    SharedMutex* mutex = nullptr;
    {
        DispatcherSection section;
        mutex = FindObject<SharedMutex>(handle);
        if (mutex == nullptr || mutex->owner != &current_record) {
            SetLastError(mutex == nullptr ? ERROR_INVALID_HANDLE : ERROR_NOT_OWNER);
            return FALSE;
        }
        if (--mutex->depth != 0) {
            return TRUE;
        }
        DisownShared(*mutex);
        if (IsLost(*mutex) || shared::SetQuietly(SharedWord(*mutex), shared::kSignalled)) {
            section.Release(*mutex);
            return TRUE;
        }
    }
    shared::SetAndWakeAll(SharedWord(*mutex), shared::kSignalled);
    ReleaseReference(*mutex);
    return TRUE;
}

void EndThreadInTable() noexcept {
    if (shared::CurrentSeat() != shared::kNoSeat) {
        AbandonOwnedShared();
        shared::LeaveSeat();
    }
}

void DetachSharedObjectsInChild(DispatcherSection& section) noexcept {
    if (shared::table == nullptr) {
        return;
    }
    for (std::uint32_t index = 0; index < bindings_end; ++index) {
        KernelObject* const object = shared_bindings[index].object;
        if (object == nullptr) {
            continue;
        }
        const std::uint32_t word = SharedWord(*object).load(std::memory_order_acquire);
        ForgetWaitsInChild(*object, section);
        if (object->handles != 0) {
            ForgetName(*object);
        }
        object->name = nullptr;
        object->shared_index = kNotShared;
        shared_bindings[index].object = nullptr;
        if (object->kind == &SharedEvent::kKind) {
            object->kind = &Event::kKind;
            object->signalled = (word & shared::kSignalled) != 0;
            continue;
        }
        object->kind = &Mutex::kKind;
        constexpr std::uint32_t kState = shared::kSignalled | shared::kAbandoned;
        DetachMutexInChild(static_cast<Mutex&>(*object), (word & kState) == shared::kSignalled,
                           section);
    }
    shared::ForgetAllInChild();
}

void TearDownSharedObjects() noexcept {
    if (shared::table == nullptr) {
        return;
    }
    AbandonOwnedShared();
    if (PrepareForShared()) {
        const shared::TableSection table;
        if (table.IsEntered()) {
            shared::DropAll();
        }
    }
    shared::FreeSeats();
    shared::Detach();
}

}  // namespace ZTKPosix
