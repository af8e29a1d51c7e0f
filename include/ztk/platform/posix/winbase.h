// The system's texts for last-error codes.
#pragma once

#include <cstdarg>

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

// Copies the system's text for code, closed by CR LF, into buffer, which has room for room
// characters. There are texts for 0, for the codes that this layer leaves as last error and for
// those of Windows Sockets. They are English and, where the system has an error number of the same
// meaning, the system's own. flags must be the two above together; source, language and arguments
// have no effect. Returns the characters without the terminator, or 0 with buffer untouched and
// last error ERROR_MR_MID_NOT_FOUND (no text), ERROR_INSUFFICIENT_BUFFER (more text than room) or
// ERROR_INVALID_PARAMETER (other flags, a null buffer). Success leaves the last error as it was.
// Safe from any thread.
ZTK_API DWORD FormatMessageA(DWORD flags, const void* source, DWORD code, DWORD language,
                             LPSTR buffer, DWORD room, std::va_list* arguments) noexcept;
ZTK_API DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language,
                             LPWSTR buffer, DWORD room, std::va_list* arguments) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::FORMAT_MESSAGE_FROM_SYSTEM;
using ZTKPosix::FORMAT_MESSAGE_IGNORE_INSERTS;
using ZTKPosix::FormatMessageA;
using ZTKPosix::FormatMessageW;
