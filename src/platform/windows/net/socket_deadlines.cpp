#include "platform/windows/net/socket_deadlines.h"

#include <algorithm>

namespace ZTK {

namespace {

// Of one send. So much at most is in doubt when the sending of it has to be cancelled.
constexpr int kMostAtOnce = 64 * 1024;

int Fail(int code) noexcept {
    WSASetLastError(code);
    return SOCKET_ERROR;
}

// Waits for room to send, or for the outcome of an attempt to connect: failed, unless null,
// receives whether it failed. 0 or the error. Closing the socket ends it (WSAENOTSOCK).
int AwaitWritable(SOCKET s, const Deadline& deadline, bool* failed) noexcept {
    for (;;) {
        const DWORD left = deadline.Left();
        timeval time{};
        time.tv_sec = static_cast<long>(left / 1000);
        time.tv_usec = static_cast<long>(left % 1000 * 1000);
        fd_set writable = {1, {s}};
        fd_set exceptional = writable;
        const int ready = select(0, nullptr, &writable, failed != nullptr ? &exceptional : nullptr,
                                 left == INFINITE ? nullptr : &time);
        if (ready == SOCKET_ERROR) {
            return WSAGetLastError();
        }
        if (ready > 0) {
            if (failed != nullptr) {
                *failed = writable.fd_count == 0;
            }
            return 0;
        }
        if (left == 0) {
            return WSAETIMEDOUT;
        }
    }
}

int AwaitConnect(SOCKET s, const Deadline& deadline) noexcept {
    bool failed = false;
    if (const int error = AwaitWritable(s, deadline, &failed); error != 0) {
        return error;
    }
    int error = 0;
    int length = sizeof(error);
    if (getsockopt(s, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &length) != 0) {
        return WSAGetLastError();
    }
    return failed && error == 0 ? WSAECONNREFUSED : error;
}

// A send that the system may go on with after the call that began it.
class PendingSend {
  public:
    PendingSend() noexcept { operation_.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr); }
    PendingSend(const PendingSend&) = delete;
    PendingSend& operator=(const PendingSend&) = delete;
    ~PendingSend() {
        if (operation_.hEvent != nullptr) {
            CloseHandle(operation_.hEvent);
        }
    }

    // Returns what SendWithin returns. When it returns, the system is done with the data.
    int Run(SOCKET s, const char* data, int length, const Deadline& deadline) noexcept {
        if (operation_.hEvent == nullptr) {
            return SOCKET_ERROR;  // with the event's code, which is one of sockets, too
        }
        WSABUF piece = {static_cast<ULONG>(length), const_cast<char*>(data)};
        if (WSASend(s, &piece, 1, nullptr, 0, &operation_, nullptr) != 0 &&
            WSAGetLastError() != WSA_IO_PENDING) {
            return SOCKET_ERROR;
        }
        const bool in_time =
            WaitForSingleObject(operation_.hEvent, deadline.Left()) == WAIT_OBJECT_0;
        if (!in_time) {
            // Whether it was still there to be cancelled shows below: either way it ends.
            (void)CancelIoEx(reinterpret_cast<HANDLE>(s), &operation_);
            (void)WaitForSingleObject(operation_.hEvent, INFINITE);
        }
        return Outcome(s, in_time);
    }

  private:
    int Outcome(SOCKET s, bool in_time) noexcept {
        DWORD bytes = 0;
        DWORD flags = 0;
        const bool done = WSAGetOverlappedResult(s, &operation_, &bytes, FALSE, &flags) != FALSE;
        const int error = done ? WSAECONNABORTED : WSAGetLastError();
        // Of one that was cancelled, this is what had gone out by then.
        bytes = std::max(bytes, static_cast<DWORD>(operation_.InternalHigh));
        if (bytes > 0) {
            return static_cast<int>(bytes);
        }
        if (error == WSA_OPERATION_ABORTED) {
            return Fail(in_time ? WSAEINTR : WSAETIMEDOUT);
        }
        return Fail(error);
    }

    OVERLAPPED operation_{};
};

}  // namespace

// Windows has no way to wait for an attempt to connect in blocking mode. Nobody else uses the
// socket yet, and it was made in that mode.
int ConnectWithin(SOCKET s, const sockaddr* address, int length,
                  const Deadline& deadline) noexcept {
    u_long non_blocking = 1;
    if (ioctlsocket(s, FIONBIO, &non_blocking) != 0) {
        return SOCKET_ERROR;
    }
    int error = connect(s, address, length) == 0 ? 0 : WSAGetLastError();
    if (error == WSAEWOULDBLOCK) {
        error = AwaitConnect(s, deadline);
    }
    non_blocking = 0;
    if (ioctlsocket(s, FIONBIO, &non_blocking) != 0 && error == 0) {
        return SOCKET_ERROR;
    }
    return error == 0 ? 0 : Fail(error);
}

// Windows has no flag for one send that does not wait. So the send is begun when there is room,
// which makes it end at once, as a rule; and where it does not, it is one that can be cancelled.
int SendWithin(SOCKET s, const char* data, int length, const Deadline& deadline) noexcept {
    if (const int error = AwaitWritable(s, deadline, nullptr); error != 0) {
        return Fail(error);
    }
    return PendingSend().Run(s, data, std::min(length, kMostAtOnce), deadline);
}

}  // namespace ZTK
