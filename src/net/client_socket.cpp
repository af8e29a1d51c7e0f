// The client socket and its receiver thread.
#include "net/socket_util_names.h"
#include "platform/socket_calls.h"
#include "sync/thread_registry.h"
#include "ztk/memory.h"
#include "ztk/sockets.h"
#include "ztk/threads.h"

namespace ZTK {

CClientSocket::CClientSocket(int buffer_size) noexcept : CClientSocket(nullptr, buffer_size) {}

CClientSocket::CClientSocket(ISOReceiver* receiver, int buffer_size) noexcept
    : CSocket(buffer_size), receiver_(receiver) {}

CClientSocket::CClientSocket(ISOReceiver* receiver, std::uint64_t socket, int buffer_size) noexcept
    : CSocket(socket, buffer_size), receiver_(receiver) {}

CClientSocket::~CClientSocket() {
    receiver_ = nullptr;
    // Hosts destroy the object and go on with the connection, so the base class must not close it.
    // Held by ClientSocket.DestructionLeavesTheConnectionOpen.
    socket_ = 0;
}

void CClientSocket::SetReceiver(ISOReceiver* receiver) noexcept {
    receiver_ = receiver;
}

// What connecting begins with. created receives the socket, which the member may lose at any time:
// Shutdown by another thread takes it away, and makes the calls on it fail.
bool CClientSocket::MakeSocket(TSOSocketInfo* info, std::uint64_t* created) noexcept {
    Shutdown();
    SetupSocket(info);
    // A failed creation is stored as it is: the calls below fail on it and leave the reason.
    *created = socket(family_, socket_type_, protocol_);
    socket_ = *created;
    MemFree(address_.lpSockaddr);
    if (CSocketUtil::GetHostAddress(host_, family_, protocol_, socket_type_, port_, &address_) ==
        0) {
        SetSocketError(WSAGetLastError());
        return false;
    }
    net::WriteAddressText(address_, ip_address_);
    return true;
}

bool CClientSocket::Connect(TSOSocketInfo* info) noexcept {
    std::uint64_t created = 0;
    if (!MakeSocket(info, &created)) {
        return false;
    }
    if (connect(static_cast<SOCKET>(created), address_.lpSockaddr, address_.iSockaddrLength) != 0) {
        SetSocketError(WSAGetLastError());
        return false;
    }
    return true;
}

int CClientSocket::Send(const void* data, int length) noexcept {
    const std::uint64_t socket = socket_;
    if (socket == 0) {
        return 0;
    }
    const int sent = send(static_cast<SOCKET>(socket), static_cast<const char*>(data), length, 0);
    if (sent == SOCKET_ERROR) {
        SetSocketError(WSAGetLastError());
    }
    return sent;
}

int CClientSocket::Read() noexcept {
    const std::uint64_t socket = socket_;
    if (buffer_ == nullptr || socket == 0) {
        return 0;
    }
    const int received =
        recv(static_cast<SOCKET>(socket), reinterpret_cast<char*>(buffer_), buffer_size_, 0);
    if (received == SOCKET_ERROR) {
        SetSocketError(WSAGetLastError());
    }
    return received;
}

void* CClientSocket::Receive(DWORD creation_flags) noexcept {
    if (thread_id_ != 0) {
        return nullptr;
    }
    HANDLE thread = sync::StartThread(ReceiverThreadProc, this, creation_flags,
                                      sync::ThreadHandle::kShared, thread_id_);
    if (thread == nullptr) {
        // Registered too, as id 0 without a handle: hosts look for it there. It gives nobody
        // anything to wait for, so it does not matter if there is no memory for it.
        (void)RegisterThread(0, nullptr);
    }
    return thread;
}

DWORD WINAPI CClientSocket::ReceiverThreadProc(void* parameter) {
    if (parameter == nullptr) {
        return 0;
    }
    const DWORD result = static_cast<CClientSocket*>(parameter)->ReceiverProc();
    // Nobody waits for this thread any more once it has deregistered, so the object may be gone
    // from here on: the id comes from the thread itself.
    DeRegisterThread(GetCurrentThreadId());
    return result;
}

DWORD CClientSocket::ReceiverProc() {
    SetAsyncMode(0);
    if (buffer_ == nullptr || socket_ == 0) {
        return 0;
    }
    SetSocketError(0);
    int length = Read();
    // Without a socket this side shut it down, and what the receive returned says nothing of the
    // peer.
    while (socket_ != 0) {
        ISOReceiver* receiver = receiver_;
        if (receiver == nullptr || receiver->IsStopping()) {
            break;
        }
        if (length == 0) {
            receiver->OnDisconnect(this);
            break;
        }
        if (length < 0) {
            break;  // Read has recorded the error, which is all that the owner is told
        }
        if (!receiver->OnReceive(this, buffer_, length)) {
            SetSocketError(0);
            break;
        }
        length = Read();
    }
    Shutdown();
    return 1;
}

}  // namespace ZTK
