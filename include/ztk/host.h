// Small services of the system in the library's conventions: texts for error codes, strings from a
// module's string table, unescaped URLs, environment variables, and whether a file exists.
//
//     if (!ZTK::FileExists(path)) {
//         ZTK::LogTextW(ZTK::ZTKGetErrorMessageW(ERROR_FILE_NOT_FOUND));
//     }
//     ZTK::String home;
//     if (ZTK::GetEnvironmentVar(L"HOME", home)) { ... }
//
// Texts that are returned are ring strings (ztk/memory.h): never freed, valid until 256 further
// requests on their ring.
//
// Thread-safety: every function may be called from any thread, but GetEnvironmentVar on Linux only
// while no thread changes the environment (setenv, putenv, unsetenv).
#pragma once

#include "ztk/platform.h"
#include "ztk/wide_string.h"

namespace ZTK {

// The system's own text for a last-error code, line end (CR LF) included; the narrow form in the
// system's narrow code page (UTF-8 outside Windows). Code 0 asks for the calling thread's last
// error; if that is 0, too, for the text of success. Inserts such as %1 stay in the text. Takes one
// ring string of 1024 characters.
//
// Never null. A code without a text, or with one that does not fit, gives an empty one, and leaves
// the code for that as the thread's last error: ERROR_MR_MID_NOT_FOUND (317), or
// ERROR_INSUFFICIENT_BUFFER (122).
[[nodiscard]] ZTK_API const char* ZTKGetErrorMessageA(DWORD code) noexcept;
[[nodiscard]] ZTK_API const wchar_t* ZTKGetErrorMessageW(DWORD code) noexcept;

// The string of that identifier from module's string tables. Only the low 16 bits of id count.
//
// Two blocks of the tables matter, and callers rely on it. The string is in block id / 16 + 1. But
// first the block is looked for whose own number is id, and its size in bytes is the measure of the
// result: a string of more characters than half of that size comes back cut to them.
//
// Null when the string does not exist or is empty; when module has no block of the number id, and
// so always for id 0; and when that block has more than 511998 bytes, as the ring string asked for
// has as many characters, and two more. If it has the block, takes one wide ring string, also when
// the result is null.
//
// Outside Windows a host hands the tables over first (ztk/platform/posix/libloaderapi.h).
[[nodiscard]] ZTK_API const wchar_t* ZTKLoadResourceStringW(HINSTANCE module,
                                                            unsigned int id) noexcept;

// url with every %hh escape decoded into the one character of that code: UTF-8 sequences are not
// put together, and '+' stays. Any other '%' stays, too. Null for a null or empty url, and for one
// of 512000 characters or more. An escape %00 ends the text. Empty when memory is short.
[[nodiscard]] ZTK_API const wchar_t* ZTKUrlUnescape(const wchar_t* url) noexcept;

// Stores the value of an environment variable. False, with value as it was, when there is no such
// variable (there is none of a null or empty name), when memory is short to read a value of 1024
// characters or more, and when a value of that length has grown between the two looks that it
// takes. True with value left without a buffer when memory is short to store it (see
// ztk/wide_string.h).
//
// Windows guards the environment: a change by another thread comes before or after a look. Linux
// does not: the environment is the C library's, and reading it while a thread changes it can fault.
// A host sets its variables before it starts threads.
//
// Success is told by the calling thread's last error alone, which is not cleared first: if an
// earlier call left ERROR_ENVVAR_NOT_FOUND (203) there, the result is false, also for a variable
// that exists. Callers that look up one variable after another clear it: SetLastError(0).
[[nodiscard]] ZTK_API bool GetEnvironmentVar(const wchar_t* name, String& value) noexcept;

// Whether path names something that exists, a directory included. Nothing is opened. False for a
// null or empty path, and for one that cannot be looked at: too long, or below a directory that may
// not be searched. On Linux path is that of the system, converted to UTF-8, and a link counts as
// what it leads to.
[[nodiscard]] ZTK_API bool FileExists(const wchar_t* path) noexcept;

}  // namespace ZTK
