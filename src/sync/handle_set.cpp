#include "ztk/handle_set.h"

#include <algorithm>

namespace ZTK {

const int CSASync::BadSyncId;
const int CSASync::SyncTimeout;

namespace {

// Gives a handle up as its kind asks for. Handles of other kinds are the caller's.
void Dispose(void* handle, TSyncType kind) noexcept {
    if (kind == SyncTypeMutex) {
        (void)ReleaseMutex(handle);  // fails unless the caller owns it
    }
    if (kind == SyncTypeEvent || kind == SyncTypeMutex) {
        (void)CloseHandle(handle);  // fails if the host has closed it: then it is gone, too
    }
}

}  // namespace

CSASync::CSASync() noexcept : creator_(GetCurrentThreadId()) {}

CSASync::CSASync(CSASync& other) noexcept {
    *this = other;
    creator_ = GetCurrentThreadId();
}

CSASync& CSASync::operator=(const CSASync& other) noexcept = default;

CSASync::~CSASync() = default;

bool CSASync::Holds(unsigned int slot) const noexcept {
    return slot < kSlots && handles_[slot] != nullptr;
}

bool CSASync::Holds(unsigned int slot, TSyncType kind) const noexcept {
    return Holds(slot) && kinds_[slot] == kind;
}

// REQUIRES: slot < kSlots.
void CSASync::Store(void* handle, unsigned int slot, TSyncType kind) noexcept {
    handles_[slot] = handle;
    kinds_[slot] = kind;
}

void* CSASync::CreateEventW(unsigned int /*arguments*/, unsigned int slot, const wchar_t* name,
                            bool manual_reset) noexcept {
    // A handle without a slot could only leak.
    if (slot >= kSlots || Holds(slot)) {
        return nullptr;
    }
    HANDLE const event = ::CreateEventW(nullptr, manual_reset ? TRUE : FALSE, FALSE, name);
    (void)InsertHandle(event, slot, SyncTypeEvent);  // refuses no event but null
    return event;
}

void* CSASync::CreateMutexW(unsigned int /*arguments*/, unsigned int slot,
                            const wchar_t* name) noexcept {
    if (slot >= kSlots || Holds(slot)) {
        return nullptr;
    }
    HANDLE const mutex = ::CreateMutexW(nullptr, FALSE, name);
    (void)InsertHandle(mutex, slot, SyncTypeMutex);  // refuses no mutex but null
    return mutex;
}

int CSASync::SetHandle(void* handle, unsigned int slot, TSyncType kind) noexcept {
    if (!Holds(slot)) {
        return InsertHandle(handle, slot, kind);
    }
    Dispose(handles_[slot], kinds_[slot]);
    Store(handle, slot, kind);
    return 1;
}

int CSASync::InsertHandle(void* handle, unsigned int slot, TSyncType kind) noexcept {
    if (handle == nullptr || slot >= kSlots || Holds(slot)) {
        return 0;
    }
    Store(handle, slot, kind);
    ++count_;
    return 1;
}

void* CSASync::GetHandle(unsigned int slot) const noexcept {
    return slot < kSlots ? handles_[slot] : nullptr;
}

void* CSASync::operator[](unsigned int slot) const noexcept {
    return GetHandle(slot);
}

unsigned int CSASync::GetID(void* handle) const noexcept {
    void* const* const found = std::find(handles_, handles_ + kSlots, handle);
    return found != handles_ + kSlots ? static_cast<unsigned int>(found - handles_)
                                      : static_cast<unsigned int>(BadSyncId);
}

bool CSASync::ValidateHandles() const noexcept {
    const auto empty = std::count(handles_, handles_ + kSlots, nullptr);
    return kSlots - static_cast<unsigned int>(empty) == count_;
}

bool CSASync::Signal(unsigned int slot) noexcept {
    if (!Holds(slot, SyncTypeEvent)) {
        return false;
    }
    (void)SetEvent(handles_[slot]);  // callers are told of the slot, not of the call
    return true;
}

bool CSASync::Clear(unsigned int slot) noexcept {
    // Callers are told of the slot, not of the calls.
    if (Holds(slot, SyncTypeEvent)) {
        (void)ResetEvent(handles_[slot]);  // as above
    } else if (Holds(slot, SyncTypeMutex)) {
        (void)ReleaseMutex(handles_[slot]);  // as above
    }
    return Holds(slot);
}

void CSASync::ClearAll() noexcept {
    for (unsigned int slot = 0; slot < kSlots; ++slot) {
        (void)Clear(slot);  // false for an empty slot
    }
}

int CSASync::Acquire(unsigned int slot, int timeout) noexcept {
    if (!Holds(slot, SyncTypeMutex)) {
        return 0;
    }
    const DWORD result = WaitForSingleObject(handles_[slot], static_cast<DWORD>(timeout));
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED ? 1 : 0;
}

int CSASync::Release(unsigned int slot) noexcept {
    return Holds(slot, SyncTypeMutex) ? ReleaseMutex(handles_[slot]) : 0;
}

bool CSASync::IsSignalled(unsigned int slot) noexcept {
    return Holds(slot) && WaitForSingleObject(handles_[slot], 0) == WAIT_OBJECT_0;
}

// The slot keeps the closed handle and is still counted: callers read it afterwards, and fill it
// anew with SetHandle.
bool CSASync::Close(unsigned int slot) noexcept {
    if (!Holds(slot)) {
        return false;
    }
    Dispose(handles_[slot], kinds_[slot]);
    return true;
}

void CSASync::CloseAll() noexcept {
    for (unsigned int slot = 0; slot < kSlots; ++slot) {
        if (Holds(slot)) {
            (void)CloseHandle(handles_[slot]);  // as in Dispose
        }
        Store(nullptr, slot, SyncTypeNone);
    }
    count_ = 0;
}

unsigned int CSASync::Wait(DWORD mask, int timeout) noexcept {
    void* selected[kSlots];
    int count = 0;
    for (unsigned int slot = 0; slot < kSlots; ++slot) {
        if ((mask >> slot & 1) != 0) {
            selected[count++] = handles_[slot];
        }
    }
    return DoWait(count, selected, timeout);
}

unsigned int CSASync::DoWait(int count, void** handles, int timeout) noexcept {
    constexpr auto kBad = static_cast<unsigned int>(BadSyncId);
    if (count <= 0 || std::find(handles, handles + count, nullptr) != handles + count) {
        return kBad;
    }
    const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(count), handles, FALSE,
                                                static_cast<DWORD>(timeout));
    if (result == WAIT_TIMEOUT) {
        return static_cast<unsigned int>(SyncTimeout);
    }
    const DWORD index = result - WAIT_OBJECT_0;
    return index < static_cast<DWORD>(count) ? GetID(handles[index]) : kBad;
}

bool IsEventSignalled(void* event) noexcept {
    return event != nullptr && WaitForSingleObject(event, 0) != WAIT_TIMEOUT;
}

}  // namespace ZTK
