#include "platform/posix/net/connection_end.h"

#include <sched.h>

#include <cerrno>

#include "platform/posix/net/socket_error_map.h"

namespace ZTKPosix {

namespace {

bool IsWithoutConnection(const SocketUse& use) noexcept {
    tcp_info info{};
    socklen_t length = sizeof(info);
    return ::getsockopt(use.descriptor(), IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
           info.tcpi_state == TCP_CLOSE;
}

// Whether an error that a call on a stream socket was told is the end of its connection. The ones
// that a network makes are; the ones that a call makes itself are not; of any other the
// connection's state tells.
bool EndsConnection(const SocketUse& use, int error) noexcept {
    switch (error) {
        case ECONNRESET:
        case ECONNABORTED:
        case ECONNREFUSED:
        case ETIMEDOUT:
        case EPIPE:
        case ENETRESET:
        case ENETDOWN:
        case ENETUNREACH:
        case EHOSTDOWN:
        case EHOSTUNREACH:
            return true;
        case EINTR:
        case EAGAIN:
        case EFAULT:
        case EINVAL:
        case EBADF:
        case ENOTCONN:
        case ENOMEM:
        case ENOBUFS:
            return false;
        default:
            return IsWithoutConnection(use);
    }
}

constexpr int kUnsaid = -1;

// The code that some call has been told, or 0. On a connection that is gone no call blocks, so one
// that is inside may just have been told and is about to say so: it is given the time. kUnsaid when
// it takes more.
int AwaitCause(const SocketUse& use) noexcept {
    constexpr int kRounds = 64;
    for (int round = 0; round < kRounds; ++round) {
        // In this order: whoever was told says so before leaving.
        const bool others = use.IsShared();
        const int code = use.end_code();
        if (code != 0 || !others) {
            return code;
        }
        (void)::sched_yield();  // never fails
    }
    return kUnsaid;
}

// The code for a connection that is gone when no call has said more.
int PeerHasGone(SocketUse& use) noexcept {
    return use.SetEndCodeIfNone(WSAECONNRESET);
}

}  // namespace

int NoteSystemError(SocketUse& use, int error) noexcept {
    const int code = SocketErrorFromErrno(error);
    // A listening socket is told of connections that others tried to make.
    const std::uint32_t kind = use.flags() & (kSocketStream | kSocketListening);
    if (kind == kSocketStream && EndsConnection(use, error)) {
        use.SetEndCode(code);
    }
    return code;
}

int TransferError(SocketUse& use, int error) noexcept {
    if (use.WasClosed()) {
        // The error may be the close's own doing.
        const int cause = use.end_code();
        return cause != 0 ? cause : WSAEINTR;
    }
    if (error == EAGAIN) {
        // On a blocking socket this is the end of a time-out.
        return use.Has(kSocketNonBlocking) ? WSAEWOULDBLOCK : WSAETIMEDOUT;
    }
    return NoteSystemError(use, error);
}

int CauseOfBrokenPipe(SocketUse& use) noexcept {
    if (use.Has(kSocketSendShutDown)) {
        return WSAESHUTDOWN;
    }
    if (!use.Has(kSocketHadPeer)) {
        return WSAENOTCONN;
    }
    const int cause = AwaitCause(use);
    return cause > 0 ? cause : PeerHasGone(use);
}

int CauseOfEndOfStream(SocketUse& use) noexcept {
    const std::uint32_t flags = use.flags();
    if ((flags & kSocketStream) == 0) {
        return 0;
    }
    if ((flags & kSocketHadPeer) == 0) {
        return WSAENOTCONN;  // after an attempt to connect that failed
    }
    const int known = use.end_code();
    if (known != 0 || !IsWithoutConnection(use)) {
        return known;
    }
    const int cause = AwaitCause(use);
    if (cause != kUnsaid) {
        return cause;
    }
    // Without this side's end the connection cannot have ended in an orderly way.
    return (flags & kSocketSendShutDown) != 0 ? use.end_code() : PeerHasGone(use);
}

}  // namespace ZTKPosix
