// Text functions of the platform's C runtime over 16-bit wide characters, in the "C" locale. They
// mean what the C library's functions of these names mean for its own wide characters. None fails
// or touches the last error. But for IsBadStringPtr..., REQUIRES: texts are not null.
#pragma once

#include <cstddef>
#include <cstring>

#include "ztk/platform.h"

namespace ZTKPosix {

std::size_t wcslen(const wchar_t* s) noexcept;
// The length, but at most n; reads no further.
std::size_t wcsnlen(const wchar_t* s, std::size_t n) noexcept;
const wchar_t* wmemchr(const wchar_t* s, wchar_t c, std::size_t n) noexcept;
const wchar_t* wcschr(const wchar_t* s, wchar_t c) noexcept;
int wmemcmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept;

// Comparison by unsigned code unit.
int wcscmp(const wchar_t* a, const wchar_t* b) noexcept;
int wcsncmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept;

// Comparison that takes 'A' to 'Z' for 'a' to 'z'. Bytes and units count as unsigned.
int _stricmp(const char* a, const char* b) noexcept;
int _strnicmp(const char* a, const char* b, std::size_t n) noexcept;
int _wcsicmp(const wchar_t* a, const wchar_t* b) noexcept;
int _wcsnicmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept;

// Nonzero for a null pointer and for one into the unmapped first page. Any other address is taken
// for readable, without a look at it. With limit 0 no pointer is bad.
BOOL IsBadStringPtrA(LPCSTR s, UINT_PTR limit) noexcept;
BOOL IsBadStringPtrW(LPCWSTR s, UINT_PTR limit) noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_stricmp;
using ZTKPosix::_strnicmp;
using ZTKPosix::_wcsicmp;
using ZTKPosix::_wcsnicmp;
using ZTKPosix::IsBadStringPtrA;
using ZTKPosix::IsBadStringPtrW;
using ZTKPosix::wcschr;
using ZTKPosix::wcscmp;
using ZTKPosix::wcslen;
using ZTKPosix::wcsncmp;
using ZTKPosix::wmemchr;
using ZTKPosix::wmemcmp;
}  // namespace ZTK
