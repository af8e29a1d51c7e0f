// The socket calls with the platform's types and results.
//
// What holds for all of them, unless a call says otherwise:
//   - A call that fails returns SOCKET_ERROR (or INVALID_SOCKET) and leaves a Windows Sockets code
//   as
//     last error; one that succeeds leaves the last error alone. What the system refuses for a
//     reason not named here comes as socket_error_map.h says.
//   - Before WSAStartup and after the last WSACleanup every call fails with WSANOTINITIALISED, and
//   on
//     a closed or invented handle with WSAENOTSOCK.
//   - A call that is blocked when another thread closes its socket fails with WSAEINTR, or with the
//     code of what had ended the connection before. A signal does not end a call, and no call
//     raises SIGPIPE.
//   - An address is accepted with family 23 or the system's AF_INET6, and handed out with 23. A
//   null
//     one, or one whose length does not fit its family, gives WSAEFAULT.
//   - Any thread may call; a socket serves one sender and one receiver at a time.
//
// freeaddrinfo, inet_ntoa and inet_addr are the C library's own.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

struct WSADATA {
    WORD wVersion;
    WORD wHighVersion;
};

// Counts one start; data receives version 2.2, whatever of 2 and above was asked for. Returns 0 or
// the code itself, without setting the last error: WSAEFAULT for null data, WSAVERNOTSUPPORTED for
// a version below 2.
int WSAStartup(WORD version, WSADATA* data) noexcept;

// Takes one start back. The last one closes every socket that is still open.
int WSACleanup() noexcept;

// Makes a socket, which a program that the process starts does not inherit. family: 2, 23 or
// AF_INET6. type: SOCK_STREAM; the system's other kinds work as the system has them, and its flags
// (SOCK_NONBLOCK, ...) give WSAESOCKTNOSUPPORT. protocol: IPPROTO_TCP, or 0 for the type's own. A
// socket of family 23 does not serve IPv4 as well.
//
// Errors: WSAEAFNOSUPPORT, WSAESOCKTNOSUPPORT, WSAEPROTONOSUPPORT; WSAEACCES for a kind that the
// process may not use; WSAEMFILE, WSAENOBUFS.
SOCKET socket(int family, int type, int protocol) noexcept;

// Names a socket; port 0 lets the system choose one. A connection in TIME_WAIT is not in the way; a
// socket that is bound to the port is, whatever SO_REUSEADDR says.
//
// Errors: WSAEADDRINUSE; WSAEADDRNOTAVAIL for an address that is not this machine's; WSAEACCES for
// a port that the process may not use; WSAEINVAL for a socket that has a name; WSAEAFNOSUPPORT, or
// WSAEINVAL, for an address of another family.
int bind(SOCKET s, const sockaddr* address, int length) noexcept;

// Lets a bound stream socket accept. backlog: cut to the system's limit; a negative one means that
// limit. A second call only changes the backlog.
//
// Errors: WSAEINVAL for a socket without a name or with a peer; WSAEOPNOTSUPP for a kind that does
// not listen; WSAEADDRINUSE.
int listen(SOCKET s, int backlog) noexcept;

// Takes the oldest waiting connection, or waits for one; SO_RCVTIMEO does not limit the wait.
// address may be null; otherwise it receives the peer's address, and *length is the room there and
// becomes the address's length. The new socket has the mode (FIONBIO) of the listening one, but not
// its SO_REUSEADDR.
//
// Errors: WSAEFAULT when the room is too small for an address of the socket's family (the
// connection goes on waiting); WSAEWOULDBLOCK in non-blocking mode; WSAEINVAL for a socket that
// does not listen; WSAEMFILE, WSAENOBUFS.
SOCKET accept(SOCKET s, sockaddr* address, int* length) noexcept;

// Connects, and waits as long as the system does: SO_SNDTIMEO does not limit it. In non-blocking
// mode it begins the attempt and fails with WSAEWOULDBLOCK; asked again it fails with WSAEALREADY
// meanwhile.
//
// Errors: WSAECONNREFUSED, WSAETIMEDOUT, WSAENETUNREACH, WSAEHOSTUNREACH; WSAEISCONN for a socket
// with a peer; WSAEINVAL for a listening one; WSAEADDRNOTAVAIL when no local port is left, or for a
// scope id that names no interface; WSAEAFNOSUPPORT, or WSAEINVAL, for an address of another
// family.
int connect(SOCKET s, const sockaddr* address, int length) noexcept;

// Returns the bytes taken: on a blocking socket all of them, unless SO_SNDTIMEO or the connection
// ended in between. flags: the system's, unchanged; the library passes 0. MSG_DONTWAIT is not
// offered: on a blocking socket its failure reads as that of a time-out.
//
// Errors: WSAEFAULT for a length below 0, and for data that cannot be read; WSAESHUTDOWN after this
// side's shutdown; WSAENOTCONN for a socket that never had a peer; WSAECONNRESET when the peer has
// gone, and what else may end a connection (WSAETIMEDOUT, WSAEHOSTUNREACH, WSAECONNABORTED, ...):
// from the call that is told on, every send and receive fails with the same code. WSAEWOULDBLOCK in
// non-blocking mode, WSAETIMEDOUT after SO_SNDTIMEO.
int send(SOCKET s, const char* data, int length, int flags) noexcept;

// Returns the bytes received, at least one; 0 for a length of 0, and when the peer has shut down
// sending and everything before was received. flags as for send; MSG_PEEK, MSG_WAITALL and MSG_OOB
// do what they do on the system.
//
// Errors: WSAEFAULT for a length below 0, and for data that cannot be written; WSAESHUTDOWN after
// this side's shutdown, also for a call that was blocked then; WSAENOTCONN; the code of what ended
// the connection, as for send, once the bytes that came before are received; WSAEWOULDBLOCK in
// non-blocking mode, WSAETIMEDOUT after SO_RCVTIMEO.
int recv(SOCKET s, char* data, int length, int flags) noexcept;

// Ends receiving (SD_RECEIVE), sending (SD_SEND) or both (SD_BOTH), and wakes the threads that are
// blocked in it. Bytes that send has taken before are still sent. WSAEINVAL for any other how;
// WSAENOTCONN without a peer, as on a listening socket.
int shutdown(SOCKET s, int how) noexcept;

// Options: ztk/platform/posix/winsock2.h says which levels and options there are and what they
// mean. *length is the room in value on entry and the value's length afterwards, in bytes.
//
// Errors: WSAEFAULT for a null pointer, a negative length, and one below 4 where the value is one
// of the layer's 4-byte ones; WSAEINVAL for another length that is too short, or a value out of
// range; WSAENOPROTOOPT for an option or level that there is not, and for setting SO_ERROR (reading
// at an unknown level: WSAEOPNOTSUPP).
int getsockopt(SOCKET s, int level, int option, char* value, int* length) noexcept;
int setsockopt(SOCKET s, int level, int option, const char* value, int length) noexcept;

// The peer's address and the socket's own. *length is the room in address and becomes the address's
// length. WSAEFAULT, with nothing copied, for a null pointer or too little room; WSAENOTCONN
// without a peer; WSAEINVAL for a socket that has no name yet.
int getpeername(SOCKET s, sockaddr* address, int* length) noexcept;
int getsockname(SOCKET s, sockaddr* address, int* length) noexcept;

// The system's lookup; it blocks as long as that takes. host or service may be null, not both.
// hints may be null; its flags are the system's AI_ flags. Returns 0, and a list that the caller
// releases with freeaddrinfo, or the code, which is the last error too; *result is unspecified
// then. If hints name a kind of socket, the entries have the kind and the protocol of the hints,
// whether or not the two go together.
//
// Errors: WSAHOST_NOT_FOUND, WSATRY_AGAIN, WSANO_RECOVERY, WSANO_DATA; WSATYPE_NOT_FOUND for an
// unknown service; WSAEAFNOSUPPORT, WSAESOCKTNOSUPPORT and WSAEINVAL for the family, the type and
// the flags of the hints; WSAEFAULT for a null result; WSA_NOT_ENOUGH_MEMORY.
int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                addrinfo** result) noexcept;

// The names of an address, terminated; host or service may be null, not both. Where no name is
// found, or no name server answers, host gets the address's text, unless flags have NI_NAMEREQD.
// The lengths count the terminator; flags are the system's NI_ flags, whose numbers are not the
// platform's. Returns 0 or the code, which is the last error too: WSAEFAULT also for a buffer that
// is too small, WSAEAFNOSUPPORT for a family that the resolver does not serve, else as getaddrinfo.
// What the buffers hold after a failure is unspecified.
int getnameinfo(const sockaddr* address, int address_length, char* host, DWORD host_length,
                char* service, DWORD service_length, int flags) noexcept;

// Address text as the platform writes it: no port when it is 0, an IPv6 address with a port in
// brackets. *length: the room in buffer in characters on entry, the characters with terminator
// afterwards. protocol_info is not looked at. WSAEFAULT for a null pointer, and for too little
// room: *length then says how much it takes. WSAEINVAL for a family other than 2 and 23.
int WSAAddressToStringW(sockaddr* address, DWORD address_length, void* protocol_info, LPWSTR buffer,
                        LPDWORD length) noexcept;

// What shutdown ends.
inline constexpr int SD_RECEIVE = 0;
inline constexpr int SD_SEND = 1;
inline constexpr int SD_BOTH = 2;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::accept;
using ZTKPosix::bind;
using ZTKPosix::connect;
using ZTKPosix::getaddrinfo;
using ZTKPosix::getnameinfo;
using ZTKPosix::getpeername;
using ZTKPosix::getsockname;
using ZTKPosix::getsockopt;
using ZTKPosix::listen;
using ZTKPosix::recv;
using ZTKPosix::SD_BOTH;
using ZTKPosix::SD_RECEIVE;
using ZTKPosix::SD_SEND;
using ZTKPosix::send;
using ZTKPosix::setsockopt;
using ZTKPosix::shutdown;
using ZTKPosix::socket;
using ZTKPosix::WSAAddressToStringW;
using ZTKPosix::WSACleanup;
using ZTKPosix::WSADATA;
using ZTKPosix::WSAStartup;
}  // namespace ZTK
