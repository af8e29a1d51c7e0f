// Events, mutexes and waits.
//
// All calls are safe from any thread. Waits do not poll (but one for a named mutex that has an
// owner looks once a second whether he lives) and lose no wake-up; time-outs are measured on the
// monotonic clock. Objects with names are shared by all processes of this user;
// docs/threads-and-lifetimes.md says with whom exactly, what ended processes leave, and what
// differs from unnamed objects.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

struct SECURITY_ATTRIBUTES;  // never defined: only null can be passed, and it is not looked at
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED_0 = 0x80;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD MAXIMUM_WAIT_OBJECTS = 64;

// Creates an event, or opens the event of that name if a process already has one (then with last
// error ERROR_ALREADY_EXISTS, and manual_reset and initial_state are ignored). Names are
// case-sensitive, and live as long as any handle of the object in any process; a null or empty name
// makes an unnamed event. "Local\x" is the name "x" and "Global\x" one of its own; there is no
// other backslash in a name. Returns a handle for CloseHandle, or null: last error
// ERROR_INVALID_HANDLE when the name belongs to an object of another kind, as "Local", "Global" and
// "Session" do; ERROR_PATH_NOT_FOUND for a backslash in the name, ERROR_BAD_PATHNAME for one that
// it begins with, ERROR_INVALID_NAME for a prefix with no name behind; ERROR_FILENAME_EXCED_RANGE
// for more than 260 characters without the prefix; ERROR_NOT_ENOUGH_MEMORY when memory is short, or
// what processes share for names is full. Success without an existing object sets the last error to
// 0.
[[nodiscard]] ZTK_API HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manual_reset,
                                          BOOL initial_state, LPCWSTR name) noexcept;

// Signals an event, which may be signalled already: a manual-reset event releases every waiter and
// stays signalled; an auto-reset event releases one waiter, or stays signalled until one wait takes
// it. Returns nonzero, or 0 with ERROR_INVALID_HANDLE when handle is not an open event.
ZTK_API BOOL SetEvent(HANDLE event) noexcept;

// Makes an event non-signalled. Results as for SetEvent.
ZTK_API BOOL ResetEvent(HANDLE event) noexcept;

// Creates or opens a mutex; the naming rules and errors are those of CreateEventW. initial_owner
// gives a new mutex to the calling thread. A mutex is recursive: its owner may take it again and
// releases it as often. If the owner, a thread or its process, ends without releasing it, the next
// waiter gets it with WAIT_ABANDONED.
[[nodiscard]] ZTK_API HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES attributes, BOOL initial_owner,
                                          LPCWSTR name) noexcept;

// Releases one level of a mutex that the calling thread owns.
// Returns nonzero, or 0 with ERROR_NOT_OWNER when another thread or none owns it, and with
// ERROR_INVALID_HANDLE when handle is not an open mutex.
ZTK_API BOOL ReleaseMutex(HANDLE mutex) noexcept;

// Waits until an event, mutex or thread is signalled and takes it (an auto-reset event is reset, a
// mutex becomes the caller's). A file is signalled always. milliseconds: 0 only looks, INFINITE
// waits without end. Returns WAIT_OBJECT_0, WAIT_ABANDONED (a mutex, taken), WAIT_TIMEOUT, or
// WAIT_FAILED with last error ERROR_INVALID_HANDLE, or with ERROR_NOT_ENOUGH_MEMORY when memory is
// too short to make the calling thread the owner of a mutex, or a process was stopped while it
// changed what processes share for names. Otherwise the last error stays as it
// was. Closing the handle during the wait does not end the wait.
ZTK_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) noexcept;

// Waits until one (wait_all FALSE) or all (wait_all TRUE) of count objects are signalled.
// Any: returns WAIT_OBJECT_0 + i, or WAIT_ABANDONED_0 + i, for the lowest signalled index i; only
// that object is taken. All: takes nothing until all are available at the same moment, then returns
// WAIT_OBJECT_0, or WAIT_ABANDONED_0 (0x80) when any of the mutexes was abandoned, whichever it
// was. Otherwise WAIT_TIMEOUT, or WAIT_FAILED with ERROR_INVALID_PARAMETER (count 0 or above
// MAXIMUM_WAIT_OBJECTS, a null array, or the same object twice in a wait for all),
// ERROR_INVALID_HANDLE (any bad handle) or ERROR_NOT_ENOUGH_MEMORY (as for one object, if there is
// a mutex among them). milliseconds and the last error are as for one object.
ZTK_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all,
                                     DWORD milliseconds) noexcept;

// Whether events and mutexes with names are shared with the other processes of this user. If not,
// because the system lacks what it takes (docs/threads-and-lifetimes.md says what that is), names
// lead to the same object within this process only. FALSE also while memory or descriptors are too
// short to tell; once an object with a name was made, the answer stays the same.
[[nodiscard]] ZTK_API BOOL NamesAreShared() noexcept;

// Suspends the calling thread for at least milliseconds; 0 only lets other threads run, INFINITE
// never returns.
ZTK_API void Sleep(DWORD milliseconds) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::CreateEventW;
using ZTKPosix::CreateMutexW;
using ZTKPosix::INFINITE;
using ZTKPosix::LPSECURITY_ATTRIBUTES;
using ZTKPosix::MAXIMUM_WAIT_OBJECTS;
using ZTKPosix::ReleaseMutex;
using ZTKPosix::ResetEvent;
using ZTKPosix::SECURITY_ATTRIBUTES;
using ZTKPosix::SetEvent;
using ZTKPosix::Sleep;
using ZTKPosix::WAIT_ABANDONED;
using ZTKPosix::WAIT_ABANDONED_0;
using ZTKPosix::WAIT_FAILED;
using ZTKPosix::WAIT_OBJECT_0;
using ZTKPosix::WAIT_TIMEOUT;
using ZTKPosix::WaitForMultipleObjects;
using ZTKPosix::WaitForSingleObject;
