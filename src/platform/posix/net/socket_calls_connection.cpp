// Connecting, accepting and transferring bytes: the calls that block.
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "platform/posix/net/connection_end.h"
#include "platform/posix/net/socket_address.h"
#include "platform/posix/net/socket_calls.h"
#include "platform/posix/net/socket_deadlines.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/net/socket_mode.h"
#include "platform/posix/net/socket_table.h"
#include "platform/time/deadline.h"

namespace ZTKPosix {

namespace {

using ZTK::Deadline;

// Waits until there is room to send or an attempt to connect has an outcome, until the connection
// ends or the socket is closed. Returns 0 or the error, ETIMEDOUT when the deadline has passed.
int AwaitWritable(const SocketUse& use, const Deadline& deadline) noexcept {
    while (!use.WasClosed()) {
        const DWORD left = deadline.Left();
        const int time = left == INFINITE ? -1 : static_cast<int>(std::min<DWORD>(left, INT_MAX));
        pollfd event{use.descriptor(), POLLOUT, 0};
        const int ready = ::poll(&event, 1, time);
        if (ready > 0) {
            break;
        }
        if (ready < 0 && errno != EINTR) {
            return errno;
        }
        if (left == 0) {
            return ETIMEDOUT;
        }
    }
    return 0;
}

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
int AwaitConnect(const SocketUse& use, const Deadline& deadline) noexcept {
    if (const int error = AwaitWritable(use, deadline); error != 0) {
        // What is not waited for must not connect after this call has failed.
        (void)Disconnect(use.descriptor());
        return error;
    }
    int error = 0;
    socklen_t length = sizeof(error);
    const bool told = ::getsockopt(use.descriptor(), SOL_SOCKET, SO_ERROR, &error, &length) == 0;
    return told ? error : errno;
}

// A connect that waits. It runs in non-blocking mode, so that a close by another thread cannot be
// missed: either the close came before the attempt began, and the test sees it, or it ends the
// attempt.
int ConnectAndWait(SocketUse& use, const SystemAddress& address,
                   const Deadline& deadline) noexcept {
    if (!SetDescriptorMode(use, true)) {
        return FailSocketWithErrno();
    }
    int error = BeginConnect(use, address);
    if (error == EINPROGRESS || error == EINTR) {
        error = AwaitConnect(use, deadline);
    }
    RestoreDescriptorMode(use);
    if (use.WasClosed()) {
        return FailSocket(WSAEINTR);
    }
    if (error != 0) {
        return FailSocket(SocketErrorFromErrno(error));
    }
    use.Set(kSocketHadPeer);
    return 0;
}

// What comes before every attempt to connect. False with the last error set.
bool PrepareConnect(const SocketUse& use, const sockaddr* address, int length,
                    SystemAddress* block) noexcept {
    if (!use || !ToSystemAddress(address, length, block)) {
        return false;
    }
    if (use.Has(kSocketListening)) {
        WSASetLastError(WSAEINVAL);
        return false;
    }
    if (use.Has(kSocketStream)) {
        // Lets the connection's own address be bound again while it is in TIME_WAIT. If it failed,
        // only that would be missing.
        const int enable = 1;
        (void)::setsockopt(use.descriptor(), SOL_SOCKET, SO_REUSEADDR, &enable, sizeof(enable));
    }
    return true;
}

// The code for a send that the system failed with error.
int SendError(SocketUse& use, int error) noexcept {
    return error == EPIPE && !use.WasClosed() ? CauseOfBrokenPipe(use) : TransferError(use, error);
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
    if (!PrepareConnect(use, address, length, &block)) {
        return SOCKET_ERROR;
    }
    if (!use.Has(kSocketNonBlocking)) {
        return ConnectAndWait(use, block, Deadline(INFINITE));
    }
    const int error = BeginConnect(use, block);
    if (error == 0 || error == EINPROGRESS) {
        use.Set(kSocketHadPeer);
    }
    return error == 0 ? 0 : FailSocket(SocketErrorFromErrno(error));
}

int ConnectWithin(SOCKET s, const sockaddr* address, int length,
                  const Deadline& deadline) noexcept {
    SocketUse use(s);
    SystemAddress block;
    return PrepareConnect(use, address, length, &block) ? ConnectAndWait(use, block, deadline)
                                                        : SOCKET_ERROR;
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
    return FailSocket(SendError(use, errno));
}

int SendWithin(SOCKET s, const char* data, int length, const Deadline& deadline) noexcept {
    SocketUse use(s);
    if (!use) {
        return SOCKET_ERROR;
    }
    for (bool had_room = false;; had_room = true) {
        const ssize_t sent = ::send(use.descriptor(), data, static_cast<std::size_t>(length),
                                    MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent > 0) {
            return static_cast<int>(sent);
        }
        if ((errno != EAGAIN && errno != EINTR) || use.WasClosed()) {
            return FailSocket(SendError(use, errno));
        }
        if (had_room) {
            // The system is short of memory for a socket that has room, so there is nothing to wait
            // for but time.
            if (deadline.Left() == 0) {
                return FailSocket(WSAETIMEDOUT);
            }
            (void)::poll(nullptr, 0, 1);  // which only may be too short
        }
        if (const int error = AwaitWritable(use, deadline); error != 0) {
            return FailSocket(SocketErrorFromErrno(error));
        }
    }
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
