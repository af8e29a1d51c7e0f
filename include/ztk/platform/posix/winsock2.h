// Socket handles, and the few socket calls that a host makes itself. Everything else goes through
// the library's socket classes and CSocketUtil.
//
// The address records (sockaddr, sockaddr_in, sockaddr_in6, addrinfo) and the names of protocols,
// option levels and options are the system's own. In every record that the library hands out, the
// family of an IPv6 address is 23; as input, the system's own number (AF_INET6) is accepted as
// well.
//
// Options, for CSocketUtil::GetOptions and SetOptions: the levels SOL_SOCKET, IPPROTO_TCP,
// IPPROTO_IP and IPPROTO_IPV6 with the system's options of a stream socket, in the system's form
// (TCP_NODELAY, SO_KEEPALIVE, SO_SNDBUF, SO_RCVBUF: 4 bytes; SO_LINGER: the system's `linger`).
// Four of level SOL_SOCKET mean what they mean on the platform, with values of 4 bytes:
//
// - SO_DONTLINGER: the opposite of the switch in SO_LINGER, whose time stays as it is.
// - SO_ERROR: the socket's pending error as a Windows Sockets code, 0 for none; reading takes it
//   off. It cannot be set (WSAENOPROTOOPT).
// - SO_RCVTIMEO and SO_SNDTIMEO: milliseconds, 0 for no limit; the system may round them up. A
//   receive or send that takes longer fails with WSAETIMEDOUT; connecting and accepting are not
//   limited. (A value as long as the system's `timeval` is taken for one.)
// - SO_REUSEADDR: kept and given back, without effect: a port in TIME_WAIT can be bound anyway, and
//   one in use cannot.
//
// An option that the system does not know fails with WSAENOPROTOOPT.
#pragma once

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "ztk/platform/export.h"
#include "ztk/platform/posix/minwindef.h"

namespace ZTKPosix {

// A checked id, never 0: every call notices a handle that was closed or never was one. It is not a
// file descriptor: pass it only to the library and to these calls.
using SOCKET = UINT_PTR;
using IPPROTO = int;

// What a call returns that could not make a socket, and one that failed.
inline constexpr SOCKET INVALID_SOCKET = ~static_cast<SOCKET>(0);
inline constexpr int SOCKET_ERROR = -1;

// An address of any family and its length in bytes. Whoever hands one over says who frees it.
struct SOCKET_ADDRESS {
    sockaddr* lpSockaddr;
    int iSockaddrLength;
};

// Closes a socket. A thread that is blocked in a call on it wakes at once, and its call fails with
// WSAEINTR. Bytes that were sent before are still delivered; but
// when received bytes are left unread, or SO_LINGER is on with time 0, the system resets the
// connection and drops them. With SO_LINGER on and a time, closing waits up to that time for
// the peer to take them. Returns 0, or SOCKET_ERROR with last error WSAENOTSOCK for a closed or
// invented handle, WSANOTINITIALISED before InitWSA. Safe from any thread.
ZTK_API int closesocket(SOCKET socket) noexcept;

// command FIONBIO: switches non-blocking mode on (*argument not 0) or off. command FIONREAD: stores
// the number of bytes that can be read at once.
//
// Returns 0, or SOCKET_ERROR with the last error set: WSAENOTSOCK and WSANOTINITIALISED as for
// closesocket; WSAEFAULT for a null argument; WSAEINVAL for any other command, and for FIONREAD on
// a listening socket. Safe from any thread.
ZTK_API int ioctlsocket(SOCKET socket, long command, std::uint32_t* argument) noexcept;

// The same for hosts that declare the argument as the platform's u_long.
inline int ioctlsocket(SOCKET socket, long command, unsigned long* argument) noexcept {
    if (argument == nullptr) {
        return ioctlsocket(socket, command, static_cast<std::uint32_t*>(nullptr));
    }
    std::uint32_t value = static_cast<std::uint32_t>(*argument);
    const int result = ioctlsocket(socket, command, &value);
    *argument = value;
    return result;
}

// The calling thread's last error, which socket calls share with all others: GetLastError returns
// the same. A call that succeeds does not clear it.
//
// A system error that has none of the codes below comes as 11500 + its errno, and one of the
// system's resolver as 11700 + its number: no code of the platform has these values.
[[nodiscard]] ZTK_API int WSAGetLastError() noexcept;
ZTK_API void WSASetLastError(int code) noexcept;

inline constexpr int WSA_NOT_ENOUGH_MEMORY = 8;
inline constexpr int WSAEINTR = 10004;
inline constexpr int WSAEBADF = 10009;
inline constexpr int WSAEACCES = 10013;
inline constexpr int WSAEFAULT = 10014;
inline constexpr int WSAEINVAL = 10022;
inline constexpr int WSAEMFILE = 10024;
inline constexpr int WSAEWOULDBLOCK = 10035;
inline constexpr int WSAEINPROGRESS = 10036;
inline constexpr int WSAEALREADY = 10037;
inline constexpr int WSAENOTSOCK = 10038;
inline constexpr int WSAEDESTADDRREQ = 10039;
inline constexpr int WSAEMSGSIZE = 10040;
inline constexpr int WSAEPROTOTYPE = 10041;
inline constexpr int WSAENOPROTOOPT = 10042;
inline constexpr int WSAEPROTONOSUPPORT = 10043;
inline constexpr int WSAESOCKTNOSUPPORT = 10044;
inline constexpr int WSAEOPNOTSUPP = 10045;
inline constexpr int WSAEPFNOSUPPORT = 10046;
inline constexpr int WSAEAFNOSUPPORT = 10047;
inline constexpr int WSAEADDRINUSE = 10048;
inline constexpr int WSAEADDRNOTAVAIL = 10049;
inline constexpr int WSAENETDOWN = 10050;
inline constexpr int WSAENETUNREACH = 10051;
inline constexpr int WSAENETRESET = 10052;
inline constexpr int WSAECONNABORTED = 10053;
inline constexpr int WSAECONNRESET = 10054;
inline constexpr int WSAENOBUFS = 10055;
inline constexpr int WSAEISCONN = 10056;
inline constexpr int WSAENOTCONN = 10057;
inline constexpr int WSAESHUTDOWN = 10058;
inline constexpr int WSAETIMEDOUT = 10060;
inline constexpr int WSAECONNREFUSED = 10061;
inline constexpr int WSAENAMETOOLONG = 10063;
inline constexpr int WSAEHOSTDOWN = 10064;
inline constexpr int WSAEHOSTUNREACH = 10065;
inline constexpr int WSAEUSERS = 10068;
inline constexpr int WSAVERNOTSUPPORTED = 10092;
inline constexpr int WSANOTINITIALISED = 10093;
inline constexpr int WSASYSCALLFAILURE = 10107;
inline constexpr int WSATYPE_NOT_FOUND = 10109;
inline constexpr int WSAHOST_NOT_FOUND = 11001;
inline constexpr int WSATRY_AGAIN = 11002;
inline constexpr int WSANO_RECOVERY = 11003;
inline constexpr int WSANO_DATA = 11004;

}  // namespace ZTKPosix

// An option of level SOL_SOCKET that the system knows only as part of SO_LINGER.
#if !defined(SO_DONTLINGER)
#define SO_DONTLINGER (static_cast<int>(~SO_LINGER))
#endif

using ZTKPosix::closesocket;
using ZTKPosix::INVALID_SOCKET;
using ZTKPosix::ioctlsocket;
using ZTKPosix::IPPROTO;
using ZTKPosix::SOCKET;
using ZTKPosix::SOCKET_ADDRESS;
using ZTKPosix::SOCKET_ERROR;
using ZTKPosix::WSA_NOT_ENOUGH_MEMORY;
using ZTKPosix::WSAEACCES;
using ZTKPosix::WSAEADDRINUSE;
using ZTKPosix::WSAEADDRNOTAVAIL;
using ZTKPosix::WSAEAFNOSUPPORT;
using ZTKPosix::WSAEALREADY;
using ZTKPosix::WSAEBADF;
using ZTKPosix::WSAECONNABORTED;
using ZTKPosix::WSAECONNREFUSED;
using ZTKPosix::WSAECONNRESET;
using ZTKPosix::WSAEDESTADDRREQ;
using ZTKPosix::WSAEFAULT;
using ZTKPosix::WSAEHOSTDOWN;
using ZTKPosix::WSAEHOSTUNREACH;
using ZTKPosix::WSAEINPROGRESS;
using ZTKPosix::WSAEINTR;
using ZTKPosix::WSAEINVAL;
using ZTKPosix::WSAEISCONN;
using ZTKPosix::WSAEMFILE;
using ZTKPosix::WSAEMSGSIZE;
using ZTKPosix::WSAENAMETOOLONG;
using ZTKPosix::WSAENETDOWN;
using ZTKPosix::WSAENETRESET;
using ZTKPosix::WSAENETUNREACH;
using ZTKPosix::WSAENOBUFS;
using ZTKPosix::WSAENOPROTOOPT;
using ZTKPosix::WSAENOTCONN;
using ZTKPosix::WSAENOTSOCK;
using ZTKPosix::WSAEOPNOTSUPP;
using ZTKPosix::WSAEPFNOSUPPORT;
using ZTKPosix::WSAEPROTONOSUPPORT;
using ZTKPosix::WSAEPROTOTYPE;
using ZTKPosix::WSAESHUTDOWN;
using ZTKPosix::WSAESOCKTNOSUPPORT;
using ZTKPosix::WSAETIMEDOUT;
using ZTKPosix::WSAEUSERS;
using ZTKPosix::WSAEWOULDBLOCK;
using ZTKPosix::WSAGetLastError;
using ZTKPosix::WSAHOST_NOT_FOUND;
using ZTKPosix::WSANO_DATA;
using ZTKPosix::WSANO_RECOVERY;
using ZTKPosix::WSANOTINITIALISED;
using ZTKPosix::WSASetLastError;
using ZTKPosix::WSASYSCALLFAILURE;
using ZTKPosix::WSATRY_AGAIN;
using ZTKPosix::WSATYPE_NOT_FOUND;
using ZTKPosix::WSAVERNOTSUPPORTED;
