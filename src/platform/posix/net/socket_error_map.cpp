#include "platform/posix/net/socket_error_map.h"

#include <cerrno>

namespace ZTKPosix {

namespace {

struct ErrorPair {
    int system;
    int code;
};

// Every system error that a socket call can leave, with the code that the platform leaves in the
// same situation. The first of several errors with one code is the one that the code means.
constexpr ErrorPair kErrnoCodes[] = {
    {EINTR, WSAEINTR},
    {ENOTSOCK, WSAENOTSOCK},
    {EBADF, WSAENOTSOCK},
    {EACCES, WSAEACCES},
    {EPERM, WSAEACCES},
    {EFAULT, WSAEFAULT},
    {EINVAL, WSAEINVAL},
    {EMFILE, WSAEMFILE},
    {ENFILE, WSAEMFILE},
    {EAGAIN, WSAEWOULDBLOCK},
    {EINPROGRESS, WSAEWOULDBLOCK},
    {EALREADY, WSAEALREADY},
    {EDESTADDRREQ, WSAEDESTADDRREQ},
    {EMSGSIZE, WSAEMSGSIZE},
    {EPROTOTYPE, WSAEPROTOTYPE},
    {ENOPROTOOPT, WSAENOPROTOOPT},
    {EPROTONOSUPPORT, WSAEPROTONOSUPPORT},
    {ESOCKTNOSUPPORT, WSAESOCKTNOSUPPORT},
    {EOPNOTSUPP, WSAEOPNOTSUPP},
    {EPFNOSUPPORT, WSAEPFNOSUPPORT},
    {EAFNOSUPPORT, WSAEAFNOSUPPORT},
    {EADDRINUSE, WSAEADDRINUSE},
    {EADDRNOTAVAIL, WSAEADDRNOTAVAIL},
    {ENODEV, WSAEADDRNOTAVAIL},  // a scope id that names no interface
    {ENETDOWN, WSAENETDOWN},
    {ENETUNREACH, WSAENETUNREACH},
    {ENETRESET, WSAENETRESET},
    {ECONNABORTED, WSAECONNABORTED},
    {ECONNRESET, WSAECONNRESET},
    {EPIPE, WSAECONNRESET},  // unless this side shut sending down, which send tells apart
    {ENOBUFS, WSAENOBUFS},
    {ENOMEM, WSAENOBUFS},
    {EISCONN, WSAEISCONN},
    {ENOTCONN, WSAENOTCONN},
    {ESHUTDOWN, WSAESHUTDOWN},
    {ETIMEDOUT, WSAETIMEDOUT},
    {ECONNREFUSED, WSAECONNREFUSED},
    {ENAMETOOLONG, WSAENAMETOOLONG},
    {EHOSTDOWN, WSAEHOSTDOWN},
    {EHOSTUNREACH, WSAEHOSTUNREACH},
    {EUSERS, WSAEUSERS},
};

constexpr ErrorPair kResolverCodes[] = {
    {EAI_NONAME, WSAHOST_NOT_FOUND},
    {EAI_ADDRFAMILY, WSAHOST_NOT_FOUND},  // "::1" asked for as an IPv4 address
    {EAI_AGAIN, WSATRY_AGAIN},
    {EAI_FAIL, WSANO_RECOVERY},
    {EAI_NODATA, WSANO_DATA},
    {EAI_FAMILY, WSAEAFNOSUPPORT},
    {EAI_SERVICE, WSATYPE_NOT_FOUND},
    {EAI_SOCKTYPE, WSAESOCKTNOSUPPORT},
    {EAI_MEMORY, WSA_NOT_ENOUGH_MEMORY},
    {EAI_BADFLAGS, WSAEINVAL},
    {EAI_OVERFLOW, WSAEFAULT},  // the caller's buffer is too small
};

}  // namespace

int SocketErrorFromErrno(int error) noexcept {
    for (const ErrorPair& pair : kErrnoCodes) {
        if (pair.system == error) {
            return pair.code;
        }
    }
    return WSASYSCALLFAILURE;
}

int ErrnoFromSocketError(int code) noexcept {
    for (const ErrorPair& pair : kErrnoCodes) {
        if (pair.code == code) {
            return pair.system;
        }
    }
    return 0;
}

int SocketErrorFromResolver(int result) noexcept {
    if (result == EAI_SYSTEM) {
        return SocketErrorFromErrno(errno);
    }
    for (const ErrorPair& pair : kResolverCodes) {
        if (pair.system == result) {
            return pair.code;
        }
    }
    return WSANO_RECOVERY;
}

int FailSocket(int code) noexcept {
    SetLastError(static_cast<DWORD>(code));
    return SOCKET_ERROR;
}

int FailSocketWithErrno() noexcept {
    return FailSocket(SocketErrorFromErrno(errno));
}

}  // namespace ZTKPosix
