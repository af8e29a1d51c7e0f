// The socket calls, called from namespace ZTK by their platform names: WSAStartup, WSACleanup,
// socket, bind, listen, accept, connect, send, recv, shutdown, closesocket, ioctlsocket,
// getsockopt, setsockopt, getpeername, getsockname, getaddrinfo, getnameinfo, freeaddrinfo,
// inet_ntoa, inet_addr, WSAAddressToStringW.
//
// Elsewhere than on Windows the C library has functions of the same names at global scope. The
// layer's are brought into namespace ZTK, where they hide the C library's; write the calls
// unqualified.
#pragma once

#include "ztk/platform.h"

#if !defined(_WIN32)
#include "platform/posix/net/socket_calls.h"
#endif
