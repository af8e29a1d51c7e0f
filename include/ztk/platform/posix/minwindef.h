// The platform's basic types, as wide as on the platform itself: WORD has 16 bits, BOOL, DWORD,
// LONG, ULONG and UINT have 32. None of them is the language's own long, which has 32 bits there
// and 64 here. A BOOL that a call returns is 0 for failure and anything else for success.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ZTKPosix {

using BOOL = int;
using BYTE = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using UINT = unsigned int;
using SIZE_T = std::size_t;
using UINT_PTR = std::uintptr_t;
using LPVOID = void*;
using PVOID = void*;
using LPDWORD = DWORD*;
using LPCWSTR = const wchar_t*;
using LPWSTR = wchar_t*;
using LPCSTR = const char*;
using LPSTR = char*;

// A checked id of an event, mutex, thread or file, never a pointer into memory. A value is not
// reused: a closed or invented handle is recognised as such by every call that takes one. All bits
// of a value count: it does not survive a conversion to 32 bits.
using HANDLE = void*;

// A module: any value by which the host names one, see libloaderapi.h. No call looks behind it.
using HMODULE = void*;
using HINSTANCE = void*;

// A window, which is only handed through to a host's own message box, see winuser.h.
using HWND = void*;

}  // namespace ZTKPosix

using ZTKPosix::BOOL;
using ZTKPosix::BYTE;
using ZTKPosix::DWORD;
using ZTKPosix::HANDLE;
using ZTKPosix::HINSTANCE;
using ZTKPosix::HMODULE;
using ZTKPosix::HWND;
using ZTKPosix::LONG;
using ZTKPosix::LPCSTR;
using ZTKPosix::LPCWSTR;
using ZTKPosix::LPDWORD;
using ZTKPosix::LPSTR;
using ZTKPosix::LPVOID;
using ZTKPosix::LPWSTR;
using ZTKPosix::PVOID;
using ZTKPosix::SIZE_T;
using ZTKPosix::UINT;
using ZTKPosix::UINT_PTR;
using ZTKPosix::ULONG;
using ZTKPosix::WORD;

#if !defined(TRUE)
#define TRUE 1
#endif
#if !defined(FALSE)
#define FALSE 0
#endif

// The platform's calling conventions; there is only one here.
#if !defined(WINAPI)
#define WINAPI
#endif
#if !defined(CALLBACK)
#define CALLBACK
#endif
