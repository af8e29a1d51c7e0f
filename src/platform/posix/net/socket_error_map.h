// Windows Sockets codes for the system's error numbers.
//
// A number for which the platform has no code keeps its identity. It comes as a code of its own, in
// the part of the Windows Sockets range (10000 to 11999) in which the platform defines none:
//
//     11500 + errno           11571: errno 71, EPROTO
//     11700 - EAI_ result     11805: result -105 of getaddrinfo, EAI_IDN_ENCODE
//
// For such a code CSocketUtil::PrintSocketError says "Unknown socket error", and FormatMessage
// gives the system's text for the errno. A number beyond these ranges, which the system does not
// have today, gives WSASYSCALLFAILURE, or WSANO_RECOVERY from the resolver.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

// The code of an errno value.
int SocketErrorFromErrno(int error) noexcept;

// The errno value that a code stands for (for a code of several, the nearest in meaning), or 0 for
// a code without one.
int ErrnoFromSocketError(int code) noexcept;

// The code of a result of the system's getaddrinfo or getnameinfo that is not 0; EAI_SYSTEM takes
// the code of errno.
int SocketErrorFromResolver(int result) noexcept;

// Sets the last error and returns SOCKET_ERROR: a failing call ends with `return FailSocket(code)`.
// The second sets the code of errno.
int FailSocket(int code) noexcept;
int FailSocketWithErrno() noexcept;

}  // namespace ZTKPosix
