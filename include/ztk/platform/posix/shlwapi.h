// Shell utilities. On Windows a host that wants them includes <shlwapi.h> itself: ztk/platform.h
// leaves that header out, because it declares functions with names of this library (StrDupW,
// StrToIntW).
//
// Thread-safety: every function may be called from any thread.
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"
#include "ztk/platform/posix/winerror.h"

namespace ZTKPosix {

// Decodes every %hh of url (two hexadecimal digits, also behind '?' and '#') into the character of
// that code, %00 into NUL; any other '%' stays, and so does '+'. *length: the room in unescaped in
// characters on entry, the terminator included. unescaped may be url itself, which is else not
// written to. The last error stays as it was. Returns
//   S_OK          with the characters in *length, without the terminator
//   E_POINTER     room was too small: *length has the characters needed with the terminator, and
//                 unescaped holds what fitted, without a terminator
//   E_INVALIDARG  a null pointer, or flags other than 0; nothing was written
ZTK_API HRESULT UrlUnescapeW(LPWSTR url, LPWSTR unescaped, LPDWORD length, DWORD flags) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::UrlUnescapeW;
