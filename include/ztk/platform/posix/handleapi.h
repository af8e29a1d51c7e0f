// Closing handles.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// Closes an event, mutex, thread or file handle. The object lives on while a thread waits on it or
// another handle names it; closing the handle of a running thread lets the thread run on. Returns
// nonzero, or 0 with last error ERROR_INVALID_HANDLE for a null, closed or invented handle. For
// GetCurrentProcess() it returns nonzero and does nothing. Sockets are closed with closesocket, not
// with this call. Safe from any thread.
ZTK_API BOOL CloseHandle(HANDLE handle) noexcept;

inline constexpr DWORD DUPLICATE_CLOSE_SOURCE = 1;
inline constexpr DWORD DUPLICATE_SAME_ACCESS = 2;

// Makes a second handle of the same object, to be closed on its own. Both processes must be
// GetCurrentProcess(), which is no source itself. options: DUPLICATE_CLOSE_SOURCE closes source
// once the new handle is made, other bits have no effect, as access and inherit: every handle
// allows everything, and child processes inherit none. Returns nonzero with *target set, or 0 with
// *target null and ERROR_INVALID_HANDLE (a bad source or process) or ERROR_NOT_ENOUGH_MEMORY, or 0
// with ERROR_INVALID_PARAMETER for a null target. A failed call leaves source open.
ZTK_API BOOL DuplicateHandle(HANDLE source_process, HANDLE source, HANDLE target_process,
                             HANDLE* target, DWORD access, BOOL inherit, DWORD options) noexcept;

// Stands for this process as a process of DuplicateHandle; CloseHandle accepts it without effect.
// Every other call takes it for a handle that is not open (a wait on it fails, where the platform's
// would last until the process ends). Its value is that of INVALID_HANDLE_VALUE.
[[nodiscard]] ZTK_API HANDLE GetCurrentProcess() noexcept;

}  // namespace ZTKPosix

using ZTKPosix::CloseHandle;
using ZTKPosix::DUPLICATE_CLOSE_SOURCE;
using ZTKPosix::DUPLICATE_SAME_ACCESS;
using ZTKPosix::DuplicateHandle;
using ZTKPosix::GetCurrentProcess;
