// The socket calls with the platform's types and results. Failures return the platform's value and
// leave a Windows Sockets code as last error; before WSAStartup that is WSANOTINITIALISED.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

struct WSADATA {
    WORD wVersion;
    WORD wHighVersion;
};

int WSAStartup(WORD version, WSADATA* data) noexcept;
int WSACleanup() noexcept;

SOCKET socket(int family, int type, int protocol) noexcept;
int bind(SOCKET s, const sockaddr* address, int length) noexcept;
int listen(SOCKET s, int backlog) noexcept;
SOCKET accept(SOCKET s, sockaddr* address, int* length) noexcept;
int connect(SOCKET s, const sockaddr* address, int length) noexcept;
int send(SOCKET s, const char* data, int length, int flags) noexcept;
int recv(SOCKET s, char* data, int length, int flags) noexcept;
int shutdown(SOCKET s, int how) noexcept;
int getsockopt(SOCKET s, int level, int option, char* value, int* length) noexcept;
int setsockopt(SOCKET s, int level, int option, const char* value, int length) noexcept;
int getpeername(SOCKET s, sockaddr* address, int* length) noexcept;
int getsockname(SOCKET s, sockaddr* address, int* length) noexcept;

int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                addrinfo** result) noexcept;
int getnameinfo(const sockaddr* address, int address_length, char* host, DWORD host_length,
                char* service, DWORD service_length, int flags) noexcept;

// Address text as the platform writes it: no port when it is 0, an IPv6 address with a port in
// brackets. *length: the room in buffer in characters on entry, the characters with terminator
// afterwards.
int WSAAddressToStringW(sockaddr* address, DWORD address_length, void* protocol_info, LPWSTR buffer,
                        LPDWORD length) noexcept;

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
