// Connecting and sending by a deadline. On both targets:
//
//     int ConnectWithin(SOCKET s, const sockaddr* address, int length, const Deadline& deadline)
//
// Connects as connect does, waiting also on a socket in non-blocking mode. 0, or SOCKET_ERROR with
// the last error set: WSAETIMEDOUT when the deadline has passed, else what connect fails with. The
// attempt may go on after a time-out: closing the socket ends it. REQUIRES: the socket is new, so
// that no other call needs its mode.
//
//     int SendWithin(SOCKET s, const char* data, int length, const Deadline& deadline)
//
// Sends at least one byte, and as many as the system takes at once, waiting for room; leaves the
// socket's mode alone. Returns the bytes taken, which may be fewer than length, or SOCKET_ERROR
// with the last error set: WSAETIMEDOUT when the deadline has passed before a byte was taken, else
// what send fails with. REQUIRES: length is above 0.
//
// Both end when another thread closes the socket, with WSAEINTR or, where they were not inside a
// wait, with WSAENOTSOCK or WSAESHUTDOWN.
#pragma once

#if defined(_WIN32)
#include "platform/windows/net/socket_deadlines.h"
#else
#include "platform/posix/net/socket_deadlines.h"
namespace ZTK {
using ZTKPosix::ConnectWithin;
using ZTKPosix::SendWithin;
}  // namespace ZTK
#endif
