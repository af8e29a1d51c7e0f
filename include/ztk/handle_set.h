// A set of waitable handles in numbered slots.
//
//     ZTK::CSASync set;
//     set.CreateEventW(0, 0, nullptr, true);     // slot 0: stop, stays signalled
//     set.CreateEventW(0, 1, nullptr, false);    // slot 1: work, taken by one wait
//     switch (set.Wait(0b11, 5000)) {
//         case 0:                          ...   // stop; the lowest slot wins
//         case 1:                          ...   // work
//         case unsigned(ZTK::CSASync::SyncTimeout): ...
//         default:                         ...   // CSASync::BadSyncId
//     }
//     set.CloseAll();                            // the destructor closes nothing
#pragma once

#include "ztk/platform.h"

namespace ZTK {

// The kind of a slot's handle. Any other value is stored as it is: the slot then holds a waitable
// handle of the caller's, which the set waits on but neither signals nor closes (but CloseAll
// does).
enum TSyncType : int {
    SyncTypeNone = 0,
    SyncTypeEvent = 3,
    SyncTypeMutex = 4,
};

// Up to 16 handles, created, signalled, taken and waited for by slot number, 0 to 15. A slot is
// filled while its handle is not null.
//
// Ownership: the destructor closes nothing, and copies share the handles. Handles are closed by
// Close, CloseAll and a replacing SetHandle only. Close leaves the slot as it was, so the set then
// holds a stale handle: ValidateHandles stays true, and a later CloseAll or SetHandle closes it
// once more. That is harmless unless, on Windows, another object has got the value meanwhile;
// there, give a handle up with SetHandle and null, which empties the slot as well.
//
// Errors: a slot of 16 or more is refused by every operation (false, 0 or null). Those that answer
// true or 1 "for an event" or "a mutex" do so by the slot's kind; whether the platform's call on
// the handle worked, which may be stale, is told by Acquire, Release, IsSignalled and Wait alone.
// No operation returns a code; the last error is what the platform's calls leave.
//
// Thread-safety: the set has no lock. Any number of threads may wait on it and signal through it as
// long as none changes it, which creating, SetHandle, CloseAll and assignment do.
class ZTK_API CSASync {
  public:
    // What is returned in place of a slot, as unsigned values: 0xFFFFFFFF and 0xFFFFFFFE.
    static const int BadSyncId = -1;
    static const int SyncTimeout = -2;

    CSASync() noexcept;
    CSASync(CSASync& other) noexcept;
    CSASync& operator=(const CSASync& other) noexcept;
    virtual ~CSASync();

    // --- Filling. The first argument of the creating operations is ignored.

    // Creates an event, not signalled, or a mutex that nobody owns, in an empty slot, and returns
    // its handle, which stays the slot's. A null name makes an unnamed object; a name that exists
    // already gives a handle of the same object, as it is, with last error ERROR_ALREADY_EXISTS.
    // Null, and nothing created, for a slot that is filled or of 16 or more; null when the platform
    // fails (out of memory, the name of an object of another kind, or a backslash in the name that
    // is not that of "Local\" or "Global\" in front).
    void* CreateEventW(unsigned int arguments, unsigned int slot, const wchar_t* name,
                       bool manual_reset) noexcept;
    void* CreateMutexW(unsigned int arguments, unsigned int slot, const wchar_t* name) noexcept;

    // Stores a handle. In a filled slot it replaces the old one, which is disposed of first (an
    // event is closed, a mutex released and closed, others are left open); null then empties the
    // slot. The set counts a slot when it is filled while empty, and never counts back: replacing
    // does not change the count, nor does emptying by null, and the slot counts twice when it is
    // filled again. Returns 1; 0 for null in an empty slot.
    int SetHandle(void* handle, unsigned int slot, TSyncType kind) noexcept;

    // --- Looking

    // Borrowed; null for an empty slot.
    [[nodiscard]] void* GetHandle(unsigned int slot) const noexcept;
    [[nodiscard]] void* operator[](unsigned int slot) const noexcept;

    // The lowest slot with that handle, or BadSyncId. Null is what empty slots hold.
    [[nodiscard]] unsigned int GetID(void* handle) const noexcept;

    // Whether as many slots are filled as the set has counted (see SetHandle). Nothing is asked of
    // the platform, so a stale handle does not show.
    [[nodiscard]] bool ValidateHandles() const noexcept;

    // --- One slot. All of these give false or 0 for an empty slot.

    // Sets an event and returns true. False for other kinds.
    bool Signal(unsigned int slot) noexcept;

    // Resets an event, releases a mutex, leaves other kinds alone; true in all three cases.
    bool Clear(unsigned int slot) noexcept;

    // Clear for every filled slot.
    void ClearAll() noexcept;

    // Waits up to timeout milliseconds (-1: without end; 0 only looks) for a mutex. Returns 1 when
    // the caller has got it, also from an owner that ended without releasing it; 0 otherwise and
    // for other kinds.
    int Acquire(unsigned int slot, int timeout) noexcept;

    // Releases one level of a mutex. Nonzero on success; 0 for other kinds, and for a mutex that
    // the caller does not own.
    int Release(unsigned int slot) noexcept;

    // Whether a wait for the slot succeeds at once. It takes what it finds: an auto-reset event is
    // reset, a free mutex becomes the caller's. False for a mutex whose owner ended without
    // releasing it; the caller has it all the same.
    bool IsSignalled(unsigned int slot) noexcept;

    // Closes an event, releases and closes a mutex, leaves other kinds open; true in all three
    // cases. The slot keeps handle and kind, and the count stays.
    bool Close(unsigned int slot) noexcept;

    // Closes the handle of every filled slot, whatever its kind, and empties the set. Mutexes are
    // not released first.
    void CloseAll() noexcept;

    // --- Waiting

    // Waits up to timeout milliseconds (-1: without end; 0 only looks) until one of the slots of
    // mask is signalled, bit i for slot i, and takes it; of several the lowest. Returns the lowest
    // slot with its handle, SyncTimeout, or BadSyncId: at once for an empty slot in mask and for a
    // mask without one of the 16 bits; when the wait fails; and for a mutex whose owner ended
    // without releasing it, which the caller then has all the same.
    unsigned int Wait(DWORD mask, int timeout) noexcept;

  private:
    ZTK_LOCAL int InsertHandle(void* handle, unsigned int slot, TSyncType kind) noexcept;
    ZTK_LOCAL unsigned int DoWait(int count, void** handles, int timeout) noexcept;
    [[nodiscard]] ZTK_LOCAL bool Holds(unsigned int slot) const noexcept;
    [[nodiscard]] ZTK_LOCAL bool Holds(unsigned int slot, TSyncType kind) const noexcept;
    ZTK_LOCAL void Store(void* handle, unsigned int slot, TSyncType kind) noexcept;

    static constexpr unsigned int kSlots = 16;

    unsigned int count_ = 0;  // slots filled, replacements left out
    DWORD creator_;           // id of the thread that made the set
    void* handles_[kSlots] = {};
    TSyncType kinds_[kSlots] = {};
};

// Whether a wait for event ends at once, for any reason but time running out: a handle that cannot
// be waited for counts as signalled, so that a loop on it ends. False for null. Takes what it
// finds, as CSASync::IsSignalled.
ZTK_API bool IsEventSignalled(void* event) noexcept;

}  // namespace ZTK
