// The last-error code of the calling thread.
//
// A call of the layer that fails leaves its code here, as its header says. A call that succeeds
// leaves the code as it was, but for those whose header says that they set it.
//
// Thread-safety: every thread has a code of its own; every function may be called from any thread.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// The calling thread's code; 0 on a new thread. Socket calls use the same one: WSAGetLastError
// returns it as well. Does not fail.
[[nodiscard]] ZTK_API DWORD GetLastError() noexcept;

// Sets the calling thread's code. Any value is kept as it is. Does not fail.
ZTK_API void SetLastError(DWORD code) noexcept;

// The codes that calls of the layer leave, and ERROR_SUCCESS. Those of sockets are in winsock2.h.
inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_READ_FAULT = 30;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_BUSY = 170;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_NOACCESS = 998;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;
inline constexpr DWORD ERROR_RESOURCE_NAME_NOT_FOUND = 1814;
inline constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

}  // namespace ZTKPosix

using ZTKPosix::ERROR_ACCESS_DENIED;
using ZTKPosix::ERROR_ALREADY_EXISTS;
using ZTKPosix::ERROR_BAD_PATHNAME;
using ZTKPosix::ERROR_BUSY;
using ZTKPosix::ERROR_CANT_RESOLVE_FILENAME;
using ZTKPosix::ERROR_DISK_FULL;
using ZTKPosix::ERROR_ENVVAR_NOT_FOUND;
using ZTKPosix::ERROR_FILE_NOT_FOUND;
using ZTKPosix::ERROR_FILENAME_EXCED_RANGE;
using ZTKPosix::ERROR_GEN_FAILURE;
using ZTKPosix::ERROR_INSUFFICIENT_BUFFER;
using ZTKPosix::ERROR_INVALID_HANDLE;
using ZTKPosix::ERROR_INVALID_NAME;
using ZTKPosix::ERROR_INVALID_PARAMETER;
using ZTKPosix::ERROR_MR_MID_NOT_FOUND;
using ZTKPosix::ERROR_NOACCESS;
using ZTKPosix::ERROR_NOT_ENOUGH_MEMORY;
using ZTKPosix::ERROR_NOT_OWNER;
using ZTKPosix::ERROR_NOT_SUPPORTED;
using ZTKPosix::ERROR_PATH_NOT_FOUND;
using ZTKPosix::ERROR_READ_FAULT;
using ZTKPosix::ERROR_RESOURCE_NAME_NOT_FOUND;
using ZTKPosix::ERROR_RESOURCE_TYPE_NOT_FOUND;
using ZTKPosix::ERROR_SUCCESS;
using ZTKPosix::ERROR_TOO_MANY_OPEN_FILES;
using ZTKPosix::ERROR_WRITE_PROTECT;
using ZTKPosix::GetLastError;
using ZTKPosix::SetLastError;
