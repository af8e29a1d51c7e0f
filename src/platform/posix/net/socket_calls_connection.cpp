// Connecting, accepting and transferring bytes: the calls that block.
#include <poll.h>

#include <cerrno>

#include "platform/posix/net/socket_address.h"
#include "platform/posix/net/socket_calls.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/net/socket_mode.h"
#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

namespace {

// The code for a call that the system ended with an error. If the socket was closed meanwhile, it
// is that of a cancelled call, whatever the system's error was.
int FailTransfer(SocketUse& use) noexcept {
    const int error = errno;
    if (use.WasClosed()) {
        return FailSocket(WSAEINTR);
    }
    if (error == EAGAIN) {
        // On a blocking socket this is the end of a time-out.
        return FailSocket(use.Has(kSocketNonBlocking) ? WSAEWOULDBLOCK : WSAETIMEDOUT);
    }
    if (error == ECONNRESET) {
        use.Set(kSocketReset);
    }
    return FailSocket(SocketErrorFromErrno(error));
}

bool IsWithoutConnection(const SocketUse& use) noexcept {
    tcp_info info{};
    socklen_t length = sizeof(info);
    return ::getsockopt(use.descriptor(), IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
           info.tcpi_state == TCP_CLOSE;
}

// Whether a receive of 0 bytes is the trace of a reset and not the peer's orderly end. The system
// tells of a reset once, to whichever call comes first; on the platform every later call is told as
// well. A sender that is still inside its call may be the one that has just been told.
bool LostToReset(const SocketUse& use) noexcept {
    const std::uint32_t flags = use.flags();
    return (flags & kSocketReset) != 0 ||
           ((flags & kSocketStream) != 0 && (flags & kSocketSendShutDown) == 0 && use.IsShared() &&
            IsWithoutConnection(use));
}

// A blocking connect. It runs in non-blocking mode, so that a close by another thread cannot be
// missed: either the close came before the attempt began, and the test sees it, or it ends the
// attempt.
int ConnectAndWait(const SocketUse& use, const SystemAddress& address) noexcept {
    if (!SetDescriptorMode(use, true)) {
        return FailSocketWithErrno();
    }
    int error = 0;
    if (::connect(use.descriptor(), reinterpret_cast<const sockaddr*>(&address.storage),
                  address.length) != 0) {
        error = errno;
    }
    if (error == EINPROGRESS || error == EINTR) {
        pollfd event{use.descriptor(), POLLOUT, 0};
        while (!use.WasClosed() && ::poll(&event, 1, -1) < 0 && errno == EINTR) {
        }
        socklen_t length = sizeof(error);
        if (::getsockopt(use.descriptor(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
            error = errno;
        }
    }
    RestoreDescriptorMode(use);
    if (use.WasClosed()) {
        return FailSocket(WSAEINTR);
    }
    return error == 0 ? 0 : FailSocket(SocketErrorFromErrno(error));
}

// Whether a failed accept concerns only the connection that was being accepted.
bool IsAcceptRetried(const SocketUse& use, int error) noexcept {
    if (error == EINTR || error == ECONNABORTED) {
        return true;
    }
    // The receive time-out, which this system applies to accepting too.
    return error == EAGAIN && !use.Has(kSocketNonBlocking);
}

}  // namespace

SOCKET accept(SOCKET s, sockaddr* address, int* length) noexcept {
    SocketUse use(s);
    if (!use) {
        return INVALID_SOCKET;
    }
    const std::uint32_t flags = use.flags();
    const int needed = (flags & kSocketIPv6) != 0 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
    if (address != nullptr && (length == nullptr || *length < needed)) {
        WSASetLastError(WSAEFAULT);  // before a connection is taken off the queue and lost
        return INVALID_SOCKET;
    }
    const bool non_blocking = (flags & kSocketNonBlocking) != 0;
    SystemAddress peer{};
    int descriptor = -1;
    do {
        peer.length = sizeof(peer.storage);
        descriptor = ::accept4(use.descriptor(), reinterpret_cast<sockaddr*>(&peer.storage),
                               &peer.length, SOCK_CLOEXEC | (non_blocking ? SOCK_NONBLOCK : 0));
    } while (descriptor < 0 && IsAcceptRetried(use, errno) && !use.WasClosed());
    if (descriptor < 0) {
        (void)FailTransfer(use);  // for the last error; its result is that of other calls
        return INVALID_SOCKET;
    }
    constexpr std::uint32_t kInherited = kSocketNonBlocking | kSocketIPv6 | kSocketStream;
    const SOCKET accepted = AdoptDescriptor(descriptor, (flags & kInherited) | kSocketHadPeer);
    if (accepted != INVALID_SOCKET && address != nullptr) {
        (void)ToPlatformAddress(peer, address, length);  // the room was checked above
    }
    return accepted;
}

int connect(SOCKET s, const sockaddr* address, int length) noexcept {
    SocketUse use(s);
    SystemAddress block;
    if (!use || !ToSystemAddress(address, length, &block)) {
        return SOCKET_ERROR;
    }
    if (use.Has(kSocketListening)) {
        return FailSocket(WSAEINVAL);
    }
    if (use.Has(kSocketStream)) {
        // Lets the connection's own address be bound again while it is in TIME_WAIT. If it failed,
        // only that would be missing.
        const int enable = 1;
        (void)::setsockopt(use.descriptor(), SOL_SOCKET, SO_REUSEADDR, &enable, sizeof(enable));
    }
    use.Clear(kSocketReset);
    if (!use.Has(kSocketNonBlocking)) {
        if (ConnectAndWait(use, block) != 0) {
            return SOCKET_ERROR;
        }
        use.Set(kSocketHadPeer);
        return 0;
    }
    if (::connect(use.descriptor(), reinterpret_cast<const sockaddr*>(&block.storage),
                  block.length) != 0) {
        const int error = errno;
        if (error == EINPROGRESS) {
            use.Set(kSocketHadPeer);
        }
        return FailSocket(SocketErrorFromErrno(error));
    }
    use.Set(kSocketHadPeer);
    return 0;
}

int send(SOCKET s, const char* data, int length, int flags) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    if (length < 0) {
        return FailSocket(WSAEFAULT);
    }
    ssize_t sent = 0;
    do {
        sent =
            ::send(use.descriptor(), data, static_cast<std::size_t>(length), flags | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent >= 0) {
        return static_cast<int>(sent);
    }
    if (errno == EPIPE && !use.WasClosed()) {
        // One error of the system for three situations.
        return FailSocket(use.Has(kSocketSendShutDown) ? WSAESHUTDOWN
                          : use.Has(kSocketHadPeer)    ? WSAECONNRESET
                                                       : WSAENOTCONN);
    }
    return FailTransfer(use);
}

int recv(SOCKET s, char* data, int length, int flags) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    if (length < 0) {
        return FailSocket(WSAEFAULT);
    }
    if (use.Has(kSocketReceiveShutDown)) {
        return FailSocket(WSAESHUTDOWN);
    }
    ssize_t received = 0;
    do {
        received = ::recv(use.descriptor(), data, static_cast<std::size_t>(length), flags);
    } while (received < 0 && errno == EINTR);
    if (received > 0 || (received == 0 && length == 0)) {
        return static_cast<int>(received);
    }
    if (use.WasClosed()) {
        return FailSocket(WSAEINTR);
    }
    if (use.Has(kSocketReceiveShutDown)) {
        return FailSocket(WSAESHUTDOWN);  // by this side, during the call
    }
    if (received < 0) {
        return FailTransfer(use);
    }
    return LostToReset(use) ? FailSocket(WSAECONNRESET) : 0;
}

int shutdown(SOCKET s, int how) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    if (how < SD_RECEIVE || how > SD_BOTH) {
        return FailSocket(WSAEINVAL);
    }
    sockaddr_storage peer;
    socklen_t length = sizeof(peer);
    if (::getpeername(use.descriptor(), reinterpret_cast<sockaddr*>(&peer), &length) != 0) {
        // Without a connection the call fails, but the system would mark the socket all the same.
        return FailSocketWithErrno();
    }
    // Marked first: a receive that this call ends must know that it was not the peer.
    use.Set((how != SD_SEND ? kSocketReceiveShutDown : 0u) |
            (how != SD_RECEIVE ? kSocketSendShutDown : 0u));
    if (::shutdown(use.descriptor(), how) != 0) {
        return FailSocketWithErrno();
    }
    return 0;
}

}  // namespace ZTKPosix
