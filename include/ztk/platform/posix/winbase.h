// The system's texts for last-error codes.
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include <cstdarg>

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// The two flags that work, and only together.
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

// Copies the system's text for code, closed by CR LF, into buffer, which has room for room
// characters. There are texts for 0, for the codes that this layer leaves as last error and for
// those of Windows Sockets. They are English, in ASCII and, where the system has an error number of
// the same meaning, the system's own. flags must be the two above together; source, language and
// arguments have no effect. Returns the characters without the terminator, and then the last error
// stays as it was; or 0 with buffer untouched and last error
//   ERROR_MR_MID_NOT_FOUND     there is no text for code
//   ERROR_INSUFFICIENT_BUFFER  the text with its terminator is longer than room
//   ERROR_INVALID_PARAMETER    other flags, a null buffer
ZTK_API DWORD FormatMessageA(DWORD flags, const void* source, DWORD code, DWORD language,
                             LPSTR buffer, DWORD room, std::va_list* arguments) noexcept;
ZTK_API DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language,
                             LPWSTR buffer, DWORD room, std::va_list* arguments) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::FORMAT_MESSAGE_FROM_SYSTEM;
using ZTKPosix::FORMAT_MESSAGE_IGNORE_INSERTS;
using ZTKPosix::FormatMessageA;
using ZTKPosix::FormatMessageW;
