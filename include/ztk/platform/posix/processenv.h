// The environment of the process.
//
// Thread-safety: any thread may read it while none changes it, as with the C library's getenv:
// reading while a thread calls setenv, putenv or unsetenv can fault.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// Copies the value of a variable into buffer, which has room for room characters. Returns its
// characters without the terminator; when room is too small (or buffer null) the characters that
// are needed with the terminator, buffer untouched.
//
// A variable that does not exist gives 0 with last error ERROR_ENVVAR_NOT_FOUND, buffer untouched;
// a null or empty name, and one with '=' in it, are names of none. Success leaves the last error as
// it was, also that of an empty value, whose result is 0 as well. Names and values are UTF-8 in the
// process; malformed bytes read as U+FFFD. Unlike the platform's, names are case-sensitive.
ZTK_API DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD room) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::GetEnvironmentVariableW;
