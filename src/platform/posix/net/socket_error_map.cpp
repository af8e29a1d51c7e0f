#include "platform/posix/net/socket_error_map.h"

#include <cerrno>
#include <cstddef>

namespace ZTKPosix {

namespace {

struct ErrorPair {
    int system;
    int code;
};

// The system errors that socket calls leave, each with the code that the platform leaves in the
// same situation. Of several errors with one code, the first is the nearest to it in meaning.
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

// Where the codes of numbers that the tables lack begin, and how many numbers have one.
constexpr int kUnmappedErrno = 11500;
constexpr int kUnmappedResolver = 11700;
constexpr int kMaxErrno = 199;
constexpr int kMaxResolver = 299;

// The code of a number in a table, or 0.
template <std::size_t N>
int FindCode(const ErrorPair (&table)[N], int system) noexcept {
    for (const ErrorPair& pair : table) {
        if (pair.system == system) {
            return pair.code;
        }
    }
    return 0;
}

}  // namespace

int SocketErrorFromErrno(int error) noexcept {
    const int code = FindCode(kErrnoCodes, error);
    if (code != 0) {
        return code;
    }
    return error > 0 && error <= kMaxErrno ? kUnmappedErrno + error : WSASYSCALLFAILURE;
}

int ErrnoFromSocketError(int code) noexcept {
    for (const ErrorPair& pair : kErrnoCodes) {
        if (pair.code == code) {
            return pair.system;
        }
    }
    if (code <= kUnmappedErrno || code > kUnmappedErrno + kMaxErrno) {
        return 0;
    }
    const int error = code - kUnmappedErrno;
    return FindCode(kErrnoCodes, error) == 0 ? error : 0;
}

int SocketErrorFromResolver(int result) noexcept {
    if (result == EAI_SYSTEM) {
        return SocketErrorFromErrno(errno);
    }
    const int code = FindCode(kResolverCodes, result);
    if (code != 0) {
        return code;
    }
    return result < 0 && result >= -kMaxResolver ? kUnmappedResolver - result : WSANO_RECOVERY;
}

int FailSocket(int code) noexcept {
    SetLastError(static_cast<DWORD>(code));
    return SOCKET_ERROR;
}

int FailSocketWithErrno() noexcept {
    return FailSocket(SocketErrorFromErrno(errno));
}

}  // namespace ZTKPosix
