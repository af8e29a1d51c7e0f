// The server socket and its listener thread.
#include "net/socket_util_names.h"
#include "platform/socket_calls.h"
#include "sync/thread_registry.h"
#include "ztk/sockets.h"
#include "ztk/threads.h"

namespace ZTK {

namespace {

constexpr int kMaximumBacklog = 0x7FFFFFFF;

// The listener thread's results.
constexpr DWORD kStopped = 1;
constexpr DWORD kFailed = 0;  // also after a stop that came during an accept

}  // namespace

CServerSocket::CServerSocket(ISOListener* listener, int buffer_size,
                             TSOSocketInfo* endpoint) noexcept
    : CSocket(endpoint, buffer_size), listener_(listener) {}

CServerSocket::~CServerSocket() {
    listener_ = nullptr;
}

bool CServerSocket::Resume() {
    return true;
}

bool CServerSocket::Pause() {
    return true;
}

int CServerSocket::Listen() {
    if (thread_id_ != 0) {
        return -1;
    }
    HANDLE thread =
        sync::StartThread(ListenThreadProc, this, 0, sync::ThreadHandle::kRegistry, thread_id_);
    if (thread == nullptr) {
        return 1;
    }
    DWORD exit_code = 0;
    const bool running = GetExitCodeThread(thread, &exit_code) && exit_code == STILL_ACTIVE;
    CloseHandle(thread);
    return running ? 1 : 0;
}

DWORD WINAPI CServerSocket::ListenThreadProc(void* parameter) {
    const DWORD result = static_cast<CServerSocket*>(parameter)->ListenProc();
    // Nobody waits for this thread any more once it is out of the registry, so the object may be
    // gone from here on: the id comes from the thread itself.
    DeRegisterThread(GetCurrentThreadId());
    return result;
}

DWORD CServerSocket::ListenProc() {
    if (!OpenListeningSocket()) {
        return kFailed;
    }
    net::WriteAddressText(address_, ip_address_);
    net::ReadHostName(address_, host_);
    listener_.load()->OnListen(host_, ip_address_, port_);
    SetSocketError(0);
    return AcceptLoop();
}

// On failure the listener has been told; the socket stays open until Shutdown or destruction.
bool CServerSocket::OpenListeningSocket() {
    // A failed creation is not noticed here: the calls below fail on it and report the reason.
    const SOCKET created = socket(family_, socket_type_, protocol_);
    socket_ = created;
    listener_.load()->OnSocketCreated(created);
    if (CSocketUtil::GetHostAddress(host_, family_, protocol_, socket_type_, port_, &address_) ==
        0) {
        listener_.load()->OnError(this, WSAGetLastError());
        return false;
    }
    net::WriteAddressText(address_, ip_address_);
    if (bind(created, address_.lpSockaddr, address_.iSockaddrLength) != 0) {
        listener_.load()->OnError(this, WSAGetLastError());
        return false;
    }
    if (listen(created, kMaximumBacklog) != 0) {
        const int error = WSAGetLastError();
        SetSocketError(error);
        listener_.load()->OnError(this, error);
        return false;
    }
    return true;
}

DWORD CServerSocket::AcceptLoop() {
    ISOListener* listener = listener_;
    while (listener != nullptr && !listener->IsStopping()) {
        // The peer's address replaces the server's own; its texts stay.
        int bytes = address_.iSockaddrLength;
        const SOCKET accepted =
            accept(static_cast<SOCKET>(socket_.load()), address_.lpSockaddr, &bytes);
        const int error = accepted == INVALID_SOCKET ? WSAGetLastError() : 0;
        if (listener->IsStopping()) {
            if (accepted != INVALID_SOCKET) {
                (void)closesocket(accepted);  // a new handle: cannot fail
            }
            Shutdown();
            return kFailed;
        }
        if (accepted == INVALID_SOCKET) {
            SetSocketError(error);
            listener->OnError(this, error);
            Shutdown();
            return kFailed;
        }
        int enable = 1;
        // Fails when the connection is broken already, which the host notices by itself.
        (void)CSocketUtil::SetOptions(accepted, SOL_SOCKET, SO_DONTLINGER, &enable, sizeof(enable));
        listener->OnAccept(this, accepted);
        listener = listener_;
    }
    Shutdown();
    return kStopped;
}

}  // namespace ZTK
