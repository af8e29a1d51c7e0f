// Files, as far as they are read from front to end.
#pragma once

#include <cstdint>

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"
#include "ztk/platform/posix/synchapi.h"

namespace ZTKPosix {

struct OVERLAPPED;  // accepted as a null pointer only
using LPOVERLAPPED = OVERLAPPED*;

inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;

// Opens a regular file for reading. path is taken as UTF-16 for a path of this system, with
// slashes. access must be GENERIC_READ and disposition OPEN_EXISTING; share, security, attributes
// and template_file have no effect: other programs may do with the file what they like. Returns a
// handle for CloseHandle, at the start of the file, or INVALID_HANDLE_VALUE with last error
//   ERROR_FILE_NOT_FOUND       no such file in an existing directory
//   ERROR_PATH_NOT_FOUND       no such directory; a null or empty path
//   ERROR_ACCESS_DENIED        no permission; a directory
//   ERROR_TOO_MANY_OPEN_FILES  no descriptor left
//   ERROR_NOT_ENOUGH_MEMORY
//   ERROR_FILENAME_EXCED_RANGE a path that is too long
//   ERROR_NOT_SUPPORTED        other arguments; a pipe, device or socket
//   ERROR_GEN_FAILURE          what else the system reports
// A wait on the handle ends at once. Safe from any thread.
[[nodiscard]] ZTK_API HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share,
                                         LPSECURITY_ATTRIBUTES security, DWORD disposition,
                                         DWORD attributes, HANDLE template_file) noexcept;

// The size of an open file in bytes: the low 32 bits, and the high ones in *high unless it is null.
// INVALID_FILE_SIZE with last error ERROR_INVALID_HANDLE for anything but a file handle, or
// ERROR_GEN_FAILURE when the system cannot tell; where that is a file's own low half the last error
// is ERROR_SUCCESS.
[[nodiscard]] ZTK_API DWORD GetFileSize(HANDLE file, LPDWORD high) noexcept;

// Reads up to count bytes from the handle's position and moves it: less only at the end of the
// file, where it succeeds with nothing read. Returns nonzero with the number of bytes in *read, or
// 0 with last error ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER (a null read, an overlapped),
// ERROR_NOACCESS (buffer cannot be written) or ERROR_READ_FAULT, and 0 in *read. The handle may be
// closed by another thread meanwhile.
ZTK_API BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD count, LPDWORD read,
                      LPOVERLAPPED overlapped) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::CreateFileW;
using ZTKPosix::FILE_ATTRIBUTE_NORMAL;
using ZTKPosix::FILE_SHARE_DELETE;
using ZTKPosix::FILE_SHARE_READ;
using ZTKPosix::FILE_SHARE_WRITE;
using ZTKPosix::GENERIC_READ;
using ZTKPosix::GetFileSize;
using ZTKPosix::INVALID_FILE_SIZE;
using ZTKPosix::INVALID_HANDLE_VALUE;
using ZTKPosix::LPOVERLAPPED;
using ZTKPosix::OPEN_EXISTING;
using ZTKPosix::OVERLAPPED;
using ZTKPosix::ReadFile;
