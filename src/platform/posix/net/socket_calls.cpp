// Start and end; making, naming and closing sockets.
#include "platform/posix/net/socket_calls.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "platform/posix/net/socket_address.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/net/socket_mode.h"
#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

namespace {

// Kinds of sockets are small numbers; the system would take higher bits as flags.
constexpr int kSocketTypeMask = 0xF;

int SetReuse(const SocketUse& use, int enable) noexcept {
    return ::setsockopt(use.descriptor(), SOL_SOCKET, SO_REUSEADDR, &enable, sizeof(enable));
}

bool GetLocalAddress(const SocketUse& use, SystemAddress* address) noexcept {
    address->storage = {};
    address->length = sizeof(address->storage);
    return ::getsockname(use.descriptor(), reinterpret_cast<sockaddr*>(&address->storage),
                         &address->length) == 0;
}

// The system reports the wildcard address and port 0 for a socket that has no address yet; on the
// platform such a socket has no name.
bool IsUnbound(const SystemAddress& address) noexcept {
    // The port is at the same place in both families.
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    sockaddr_in internet;
    std::memcpy(&internet, &address.storage, sizeof(internet));
    return (internet.sin_family == AF_INET || internet.sin_family == AF_INET6) &&
           internet.sin_port == 0;
}

}  // namespace

int WSAGetLastError() noexcept {
    return static_cast<int>(GetLastError());
}

void WSASetLastError(int code) noexcept {
    SetLastError(static_cast<DWORD>(code));
}

int WSAStartup(WORD version, WSADATA* data) noexcept {
    constexpr WORD kVersion = 0x0202;
    if (data == nullptr) {
        return WSAEFAULT;
    }
    data->wVersion = kVersion;
    data->wHighVersion = kVersion;
    if ((version & 0xFF) < 2) {
        return WSAVERNOTSUPPORTED;
    }
    CountStart();
    return 0;
}

int WSACleanup() noexcept {
    return CountCleanup() ? 0 : SOCKET_ERROR;
}

SOCKET socket(int family, int type, int protocol) noexcept {
    if (!RequireSocketsStarted()) {
        return INVALID_SOCKET;
    }
    if ((type & ~kSocketTypeMask) != 0) {
        WSASetLastError(WSAESOCKTNOSUPPORT);
        return INVALID_SOCKET;
    }
    const int system_family = ToSystemFamily(family);
    const int descriptor = ::socket(system_family, type | SOCK_CLOEXEC, protocol);
    if (descriptor < 0) {
        WSASetLastError(errno == EINVAL ? WSAESOCKTNOSUPPORT : SocketErrorFromErrno(errno));
        return INVALID_SOCKET;
    }
    std::uint32_t flags = 0;
    if (type == SOCK_STREAM) {
        flags |= kSocketStream;
    }
    if (system_family == AF_INET6) {
        // The platform's default: an IPv6 socket does not serve IPv4 as well.
        const int enable = 1;
        // Not refused: the socket is new.
        (void)::setsockopt(descriptor, IPPROTO_IPV6, IPV6_V6ONLY, &enable, sizeof(enable));
        flags |= kSocketIPv6;
    }
    return AdoptDescriptor(descriptor, flags);
}

int bind(SOCKET s, const sockaddr* address, int length) noexcept {
    SocketUse use(s);
    SystemAddress block;
    if (!use || !ToSystemAddress(address, length, &block)) {
        return SOCKET_ERROR;
    }
    const auto* system_address = reinterpret_cast<const sockaddr*>(&block.storage);
    if (::bind(use.descriptor(), system_address, block.length) == 0) {
        return 0;
    }
    if (errno == EADDRINUSE && use.Has(kSocketStream)) {
        // What is in the way may be only a connection in TIME_WAIT, which does not count on the
        // platform. With the reuse option on, the system passes over sockets that have it on too
        // and do not listen. Ours have it only while they listen, connect or are connected, so a
        // socket that is bound and not yet listening is still in the way. Setting the option may
        // be ignored: should it fail, the second attempt fails as the first did.
        (void)SetReuse(use, 1);
        const int result = ::bind(use.descriptor(), system_address, block.length);
        const int error = errno;
        (void)SetReuse(use, 0);
        errno = error;
        if (result == 0) {
            return 0;
        }
    }
    return FailSocketWithErrno();
}

int listen(SOCKET s, int backlog) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    SystemAddress address;
    if (GetLocalAddress(use, &address) && IsUnbound(address)) {
        return FailSocket(WSAEINVAL);  // the system would choose a port
    }
    // Accepted sockets inherit this; it lets their addresses be bound again while in TIME_WAIT. If
    // it failed, only that would be missing.
    (void)SetReuse(use, 1);
    if (::listen(use.descriptor(), backlog) != 0) {
        return FailSocketWithErrno();
    }
    use.Set(kSocketListening);
    return 0;
}

int closesocket(SOCKET s) noexcept {
    return CloseSocket(s);
}

int ioctlsocket(SOCKET s, long command, std::uint32_t* argument) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    if (argument == nullptr) {
        return FailSocket(WSAEFAULT);
    }
    switch (static_cast<unsigned long>(command)) {
        case FIONBIO:
            return SetSocketMode(use, *argument != 0);
        case FIONREAD: {
            int bytes = 0;
            if (::ioctl(use.descriptor(), FIONREAD, &bytes) != 0) {
                return FailSocketWithErrno();
            }
            *argument = static_cast<std::uint32_t>(bytes);
            return 0;
        }
        default:
            return FailSocket(WSAEINVAL);
    }
}

int getpeername(SOCKET s, sockaddr* address, int* length) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    SystemAddress block{};
    block.length = sizeof(block.storage);
    if (::getpeername(use.descriptor(), reinterpret_cast<sockaddr*>(&block.storage),
                      &block.length) != 0) {
        return FailSocketWithErrno();
    }
    return ToPlatformAddress(block, address, length) ? 0 : SOCKET_ERROR;
}

int getsockname(SOCKET s, sockaddr* address, int* length) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    SystemAddress block;
    if (!GetLocalAddress(use, &block)) {
        return FailSocketWithErrno();
    }
    if (IsUnbound(block)) {
        return FailSocket(WSAEINVAL);
    }
    return ToPlatformAddress(block, address, length) ? 0 : SOCKET_ERROR;
}

}  // namespace ZTKPosix
