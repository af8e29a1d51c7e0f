// Connecting, accepting and transferring bytes: the calls that block.
#include <poll.h>

#include <cerrno>

#include "platform/posix/net/connection_end.h"
#include "platform/posix/net/socket_address.h"
#include "platform/posix/net/socket_calls.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/net/socket_mode.h"
#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

namespace {

// One connect call of the system. Returns 0 or the error.
int BeginConnect(SocketUse& use, const SystemAddress& address) noexcept {
    const int error =
        ::connect(use.descriptor(), reinterpret_cast<const sockaddr*>(&address.storage),
                  address.length) == 0
            ? 0
            : errno;
    if (error == 0 || error == EINPROGRESS || error == EINTR) {
        use.SetEndCode(0);  // what ended an earlier connection does not count for this one
    }
    return error;
}

// Waits for the outcome of an attempt to connect. Returns 0 or the error.
int AwaitConnect(const SocketUse& use) noexcept {
    pollfd event{use.descriptor(), POLLOUT, 0};
    int ready = 0;
    while (!use.WasClosed() && (ready = ::poll(&event, 1, -1)) < 0 && errno == EINTR) {
    }
    if (ready < 0) {
        const int error = errno;
        // What cannot be waited for must not connect after this call has failed.
        (void)Disconnect(use.descriptor());
        return error;
    }
    int error = 0;
    socklen_t length = sizeof(error);
    const bool told = ::getsockopt(use.descriptor(), SOL_SOCKET, SO_ERROR, &error, &length) == 0;
    return told ? error : errno;
}

// A blocking connect. It runs in non-blocking mode, so that a close by another thread cannot be
// missed: either the close came before the attempt began, and the test sees it, or it ends the
// attempt.
int ConnectAndWait(SocketUse& use, const SystemAddress& address) noexcept {
    if (!SetDescriptorMode(use, true)) {
        return FailSocketWithErrno();
    }
    int error = BeginConnect(use, address);
    if (error == EINPROGRESS || error == EINTR) {
        error = AwaitConnect(use);
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
        WSASetLastError(TransferError(use, errno));
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
    if (!use.Has(kSocketNonBlocking)) {
        if (ConnectAndWait(use, block) != 0) {
            return SOCKET_ERROR;
        }
        use.Set(kSocketHadPeer);
        return 0;
    }
    const int error = BeginConnect(use, block);
    if (error == 0 || error == EINPROGRESS) {
        use.Set(kSocketHadPeer);
    }
    return error == 0 ? 0 : FailSocket(SocketErrorFromErrno(error));
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
    const int error = errno;
    return FailSocket(error == EPIPE && !use.WasClosed() ? CauseOfBrokenPipe(use)
                                                         : TransferError(use, error));
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
    const int error = received < 0 ? errno : 0;
    if (use.WasClosed()) {
        return FailSocket(TransferError(use, error));
    }
    if (use.Has(kSocketReceiveShutDown)) {
        return FailSocket(WSAESHUTDOWN);  // by this side, during the call
    }
    const int code = received < 0 ? TransferError(use, error) : CauseOfEndOfStream(use);
    return code == 0 ? 0 : FailSocket(code);
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
    const std::uint32_t marks = (how != SD_SEND ? kSocketReceiveShutDown : 0u) |
                                (how != SD_RECEIVE ? kSocketSendShutDown : 0u);
    const std::uint32_t new_marks = marks & ~use.flags();
    use.Set(marks);
    if (::shutdown(use.descriptor(), how) != 0) {
        use.Clear(new_marks);
        return FailSocketWithErrno();
    }
    return 0;
}

}  // namespace ZTKPosix
