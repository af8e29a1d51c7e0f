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
// Thread-safety: every function may be called from any thread.
#pragma once

#include "ztk/platform.h"
#include "ztk/wide_string.h"

namespace ZTK {

// The system's own text for a last-error code, line end (CR LF) included; the narrow form in the
// system's narrow code page (UTF-8 outside Windows). Code 0 asks for the calling thread's last
// error. Inserts such as %1 stay in the text. Never null: a code without a text gives an empty one,
// and then the thread's last error becomes the system's code for that.
[[nodiscard]] ZTK_API const char* ZTKGetErrorMessageA(DWORD code) noexcept;
[[nodiscard]] ZTK_API const wchar_t* ZTKGetErrorMessageW(DWORD code) noexcept;

// The string of that identifier from module's string tables. Null when the string does not exist or
// is empty, and also when module has no string-table block whose own number is id: that block, not
// the one that holds the string (the platform numbers it id / 16 + 1), is looked for first, and its
// size in bytes is the measure of the result. A string longer than half of that size in characters
// comes back cut to it.
//
// Outside Windows a host hands the tables over first (ztk/platform/posix/libloaderapi.h).
[[nodiscard]] ZTK_API const wchar_t* ZTKLoadResourceStringW(HINSTANCE module,
                                                            unsigned int id) noexcept;

// url with every %hh escape decoded into the one character of that code: UTF-8 sequences are not
// put together, and '+' stays. Any other '%' stays, too. Null for a null or empty url, and for one
// of 512000 characters or more. An escape %00 ends the text. Empty when memory is short.
[[nodiscard]] ZTK_API const wchar_t* ZTKUrlUnescape(const wchar_t* url) noexcept;

// Stores the value of an environment variable. False, with value as it was, when there is no such
// variable, and when memory for a value of 1024 characters or more is short.
//
// Success is told by the calling thread's last error alone, which is not cleared first: if an
// earlier call left ERROR_ENVVAR_NOT_FOUND (203) there, the result is false, also for a variable
// that exists. Callers that look up one variable after another clear it: SetLastError(0).
[[nodiscard]] ZTK_API bool GetEnvironmentVar(const wchar_t* name, String& value) noexcept;

// Whether path names something that exists, a directory included. Nothing is opened. False for a
// null or empty path.
[[nodiscard]] ZTK_API bool FileExists(const wchar_t* path) noexcept;

}  // namespace ZTK
