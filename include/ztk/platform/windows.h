// The system headers in the order they need, without the macros that break ordinary C++ names.
#pragma once

#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#if !defined(NOMINMAX)
#define NOMINMAX
#endif

// Winsock 2 has to come before windows.h, which would bring in version 1.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

// The enumeration of protocols, which MinGW's headers leave out (they have its constants as
// macros).
#if defined(__MINGW32__)
using IPPROTO = int;
#endif
