// Regular files that exist, read from front to end.
//
// Handles are closed by CloseHandle; a wait on one ends at once. Success leaves the last error as
// it was, unless said otherwise.
//
// Thread-safety: every function may be called from any thread. The threads that read through one
// handle, or through its duplicates, share its position: each byte goes to one of them.
#pragma once

#include <cstdint>

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"
#include "ztk/platform/posix/synchapi.h"

namespace ZTKPosix {

struct OVERLAPPED;  // accepted as a null pointer only
using LPOVERLAPPED = OVERLAPPED*;

// What CreateFileW returns when it fails. The value is that of GetCurrentProcess(): no call on a
// handle takes it for one.
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

inline constexpr DWORD GENERIC_READ = 0x80000000;       // the one access that works
inline constexpr DWORD FILE_SHARE_READ = 1;             // no effect, as all shares
inline constexpr DWORD FILE_SHARE_WRITE = 2;            // no effect
inline constexpr DWORD FILE_SHARE_DELETE = 4;           // no effect
inline constexpr DWORD OPEN_EXISTING = 3;               // the one disposition that works
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;    // no effect, as all attributes
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;  // what GetFileSize returns on failure

// Opens a regular file for reading. path is a path of this system, with slashes, in UTF-16; it is
// converted to UTF-8. access must be GENERIC_READ alone and disposition OPEN_EXISTING; share,
// security, attributes and template_file have no effect: other programs may do with the file what
// they like, and child processes do not inherit it. Returns a handle at the start of the file, with
// last error ERROR_SUCCESS, or INVALID_HANDLE_VALUE with last error
//   ERROR_FILE_NOT_FOUND       no such file in an existing directory
//   ERROR_PATH_NOT_FOUND       no such directory; a null or empty path
//   ERROR_ACCESS_DENIED        no permission; a directory
//   ERROR_TOO_MANY_OPEN_FILES  no descriptor left
//   ERROR_NOT_ENOUGH_MEMORY
//   ERROR_FILENAME_EXCED_RANGE a path of 4096 bytes or more, or a name longer than the system's
//   ERROR_NOT_SUPPORTED        another access or disposition; a pipe, device or socket
//   ERROR_CANT_RESOLVE_FILENAME symbolic links in a circle
//   ERROR_READ_FAULT           the medium cannot be read
//   ERROR_BUSY, ERROR_DISK_FULL, ERROR_WRITE_PROTECT, if the file system has reason to
// For what else the system reports, the code is 11500 plus its error number, or the socket code
// of that number; FormatMessage has the system's text for either.
[[nodiscard]] ZTK_API HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share,
                                         LPSECURITY_ATTRIBUTES security, DWORD disposition,
                                         DWORD attributes, HANDLE template_file) noexcept;

// The size of an open file in bytes: the low 32 bits as the result, the high ones in *high unless
// high is null. INVALID_FILE_SIZE, with *high as it was, and last error ERROR_INVALID_HANDLE for
// anything but an open file handle, a code as CreateFileW leaves if the system does not tell. Where
// INVALID_FILE_SIZE is a file's own low half, the last error is set to ERROR_SUCCESS.
[[nodiscard]] ZTK_API DWORD GetFileSize(HANDLE file, LPDWORD high) noexcept;

// Reads up to count bytes from the handle's position and moves it: less only at the end of the
// file, where it succeeds with nothing read. Returns nonzero with the number of bytes in *read, or
// 0 with 0 in *read and last error
//   ERROR_INVALID_HANDLE     anything but an open file handle
//   ERROR_NOACCESS           buffer cannot be written
//   ERROR_READ_FAULT         what else the system reports
//   ERROR_INVALID_PARAMETER  a null read, an overlapped that is not null; *read is as it was
// After a failure in the middle the position has moved, and buffer holds what came before. A count
// of 0 reads nothing and looks at no buffer. The handle may be closed by another thread meanwhile.
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
