// Conversion between UTF-16 and narrow code pages.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

inline constexpr UINT CP_ACP = 0;  // the system's narrow code page, UTF-8 here
inline constexpr UINT CP_UTF8 = 65001;

// Converts source_length characters of source (-1: up to and with the terminator). With
// destination_length 0 only measures. Returns the characters written or needed, or 0 with last
// error ERROR_INVALID_PARAMETER (an unknown code page, null source, source_length 0 or below -1) or
// ERROR_INSUFFICIENT_BUFFER. flags must be 0: malformed input and lone surrogates become U+FFFD (in
// a code page without it, '?'). A destination that is too small holds what fitted.
int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR source, int source_length,
                        LPWSTR destination, int destination_length) noexcept;

// default_char and used_default must be null.
int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR source, int source_length,
                        LPSTR destination, int destination_length, LPCSTR default_char,
                        BOOL* used_default) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::CP_ACP;
using ZTKPosix::CP_UTF8;
using ZTKPosix::MultiByteToWideChar;
using ZTKPosix::WideCharToMultiByte;
