// Threads.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"
#include "ztk/platform/posix/synchapi.h"

namespace ZTKPosix {

inline constexpr DWORD CREATE_SUSPENDED = 0x00000004;
inline constexpr DWORD STILL_ACTIVE = 259;

using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID);

// Starts a thread that runs start(parameter); its result is the thread's exit code. stack_bytes
// below the system's default, 0 among them, mean that default. flags: CREATE_SUSPENDED makes the
// thread wait for ResumeThread, other bits are ignored; attributes are not looked at. *thread_id
// (may be null) receives the id before start runs. Returns a handle for CloseHandle, signalled when
// the thread has ended, or null with last error ERROR_INVALID_PARAMETER for a null start, or
// ERROR_NOT_ENOUGH_MEMORY when the system makes no thread, for whatever reason. A thread must not
// leave start by an exception: that ends the process.
[[nodiscard]] ZTK_API HANDLE CreateThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack_bytes,
                                          LPTHREAD_START_ROUTINE start, LPVOID parameter,
                                          DWORD flags, LPDWORD thread_id) noexcept;

// Lets a thread that was created suspended run. Returns its suspend count before the call (1 the
// first time, then 0; 0 for a thread that was not created suspended), or 0xFFFFFFFF with
// ERROR_INVALID_HANDLE when handle is not an open thread handle.
ZTK_API DWORD ResumeThread(HANDLE thread) noexcept;

// Stores the exit code of a thread, STILL_ACTIVE (259) while it runs or is suspended; a thread
// whose own exit code is 259 looks the same. Returns nonzero, or 0 with ERROR_INVALID_HANDLE when
// handle is not an open thread handle, or ERROR_INVALID_PARAMETER for a null exit_code.
ZTK_API BOOL GetExitCodeThread(HANDLE thread, LPDWORD exit_code) noexcept;

// The calling thread's id, never 0, unique among the threads alive. Works on every thread, however
// it was started; cannot fail.
[[nodiscard]] ZTK_API DWORD GetCurrentThreadId() noexcept;

}  // namespace ZTKPosix

using ZTKPosix::CREATE_SUSPENDED;
using ZTKPosix::CreateThread;
using ZTKPosix::GetCurrentThreadId;
using ZTKPosix::GetExitCodeThread;
using ZTKPosix::LPTHREAD_START_ROUTINE;
using ZTKPosix::ResumeThread;
using ZTKPosix::STILL_ACTIVE;
