// Windows Sockets codes for the system's error numbers.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

// The code of an errno value. A value without a counterpart of its own gives WSASYSCALLFAILURE.
int SocketErrorFromErrno(int error) noexcept;

// The errno value that a code stands for first of all, or 0 for a code without one.
int ErrnoFromSocketError(int code) noexcept;

// The code of a result of the system's getaddrinfo or getnameinfo; EAI_SYSTEM takes the code of
// errno.
int SocketErrorFromResolver(int result) noexcept;

// Sets the last error and returns SOCKET_ERROR: a failing call ends with `return FailSocket(code)`.
int FailSocket(int code) noexcept;
int FailSocketWithErrno() noexcept;

}  // namespace ZTKPosix
