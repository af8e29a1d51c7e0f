// Connecting and sending within a time.
#include <algorithm>
#include <climits>

#include "platform/socket_calls.h"
#include "platform/socket_deadlines.h"
#include "platform/time/deadline.h"
#include "ztk/sockets.h"

namespace ZTK {

// Shutdown takes the socket out of the member before it closes it. What a call is told of a socket
// that is shut down or gone by then is that close's doing, and comes as the same code however far
// the call was; but what broke a connection before is worth more than that.
void CClientSocket::SetErrorOf(std::uint64_t socket, int code) noexcept {
    const bool of_close = code == WSAENOTSOCK || code == WSAESHUTDOWN;
    SetSocketError(of_close && socket_ != socket ? WSAEINTR : code);
}

bool CClientSocket::Connect(TSOSocketInfo* info, DWORD milliseconds) noexcept {
    const Deadline deadline(milliseconds);
    std::uint64_t created = 0;
    if (!MakeSocket(info, &created)) {
        return false;
    }
    if (ConnectWithin(static_cast<SOCKET>(created), address_.lpSockaddr, address_.iSockaddrLength,
                      deadline) == 0) {
        return true;
    }
    const int error = WSAGetLastError();
    SetErrorOf(created, error);
    if (error == WSAETIMEDOUT) {
        Shutdown();  // the attempt may go on otherwise
    }
    return false;
}

bool CClientSocket::SendAll(const void* data, std::size_t length, DWORD milliseconds,
                            std::uint64_t* sent) noexcept {
    std::size_t done = 0;
    const bool all = SendUntil(static_cast<const char*>(data), length, milliseconds, &done);
    if (sent != nullptr) {
        *sent = done;
    }
    return all;
}

bool CClientSocket::SendUntil(const char* data, std::size_t length, DWORD milliseconds,
                              std::size_t* done) noexcept {
    const std::uint64_t socket = socket_;
    if (socket == 0) {
        // The receiver thread may have recorded what broke the connection, which says more.
        DWORD none = 0;
        (void)last_error_.compare_exchange_strong(none, WSAENOTCONN);
        return false;
    }
    if (data == nullptr && length != 0) {
        SetSocketError(WSAEFAULT);
        return false;
    }
    const Deadline deadline(milliseconds);
    while (*done < length) {
        if (socket_ != socket) {
            SetSocketError(WSAEINTR);  // and another socket may have its number by now
            return false;
        }
        const auto piece = static_cast<int>(std::min<std::size_t>(length - *done, INT_MAX));
        const int sent = SendWithin(static_cast<SOCKET>(socket), data + *done, piece, deadline);
        if (sent == SOCKET_ERROR) {
            SetErrorOf(socket, WSAGetLastError());
            return false;
        }
        *done += static_cast<std::size_t>(sent);
    }
    return true;
}

}  // namespace ZTK
