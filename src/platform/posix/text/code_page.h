// Conversion between UTF-16 and narrow code pages.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

inline constexpr UINT CP_ACP = 0;  // the system's narrow code page, UTF-8 here
inline constexpr UINT CP_UTF8 = 65001;

// Converts source_length characters of source (-1: up to and with the terminator, which is then
// converted, too). With destination_length 0 only measures. Malformed input and lone surrogates
// become U+FFFD, in a page without it '?'. In a page with shift states the result begins and ends
// in the initial one, and a terminator at the end of the source is one at the end of the result.
//
// Pages: CP_ACP, CP_UTF8 and by their platform number those that the system's iconv has, such as
// 37 (EBCDIC), 1252, 932, 28591 (ISO 8859-1) or 54936. The pages of UTF-16 and UTF-32 (1200, 1201,
// 12000, 12001) do not convert here.
//
// Returns the characters written or needed and leaves the last error as it was; or 0 with last
// error
// - ERROR_INVALID_PARAMETER: an unknown page or one that cannot be opened, flags other than 0,
//   source null, source_length 0 or below -1, destination_length below 0 or above 0 without a
//   destination, a result of more than INT_MAX characters;
// - ERROR_INSUFFICIENT_BUFFER: destination_length is too small. The destination then holds a
//   beginning of the result, without a terminator.
int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR source, int source_length,
                        LPWSTR destination, int destination_length) noexcept;

// The same in the other direction. default_char and used_default must be null, as flags must be 0:
// ERROR_INVALID_PARAMETER.
int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR source, int source_length,
                        LPSTR destination, int destination_length, LPCSTR default_char,
                        BOOL* used_default) noexcept;

}  // namespace ZTKPosix

using ZTKPosix::CP_ACP;
using ZTKPosix::CP_UTF8;
using ZTKPosix::MultiByteToWideChar;
using ZTKPosix::WideCharToMultiByte;
