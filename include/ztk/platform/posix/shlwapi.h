// Shell utilities. On Windows a host that wants them includes <shlwapi.h> by itself: the platform
// header leaves it out, because it brings functions with names of this library along (StrDupW,
// StrToIntW).
#pragma once

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"
#include "ztk/platform/posix/winerror.h"

namespace ZTKPosix {

// Decodes every %hh of url (two hexadecimal digits, also behind '?' and '#') into the character of
// that code; any other '%' stays. *length: the room in unescaped in characters on entry; the
// characters without the terminator afterwards, or those needed with it when the result is
// E_POINTER because room was too small (unescaped then holds what fitted, without a terminator).
// unescaped may be url itself. flags must be 0, no pointer null: E_INVALIDARG otherwise.
ZTK_API HRESULT UrlUnescapeW(LPWSTR url, LPWSTR unescaped, LPDWORD length, DWORD flags) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::UrlUnescapeW;
