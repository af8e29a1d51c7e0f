// The socket base class.
#include <cstring>

#include "net/socket_util_names.h"
#include "platform/socket_calls.h"
#include "sync/thread_registry.h"
#include "ztk/memory.h"
#include "ztk/scope.h"
#include "ztk/sockets.h"

namespace ZTK {

namespace {

constexpr int kDefaultBufferSize = 8912;

int EffectiveBufferSize(int requested) noexcept {
    return requested < 1 ? kDefaultBufferSize : requested;
}

}  // namespace

CSocket::CSocket(int buffer_size) noexcept {
    Init(buffer_size);
}

CSocket::CSocket(TSOSocketInfo* info, int buffer_size) noexcept {
    Init(buffer_size);
    SetupSocket(info);
}

CSocket::CSocket(std::uint64_t socket, int buffer_size) noexcept {
    Init(buffer_size);
    socket_ = socket;
    sockaddr_in6 peer{};
    int bytes = sizeof(peer);
    if (CSocketUtil::GetPeerName(socket, reinterpret_cast<sockaddr*>(&peer), &bytes) != 0) {
        return;
    }
    address_.lpSockaddr = static_cast<sockaddr*>(MemAlloc(static_cast<std::uint64_t>(bytes)));
    if (address_.lpSockaddr == nullptr) {
        return;
    }
    std::memcpy(address_.lpSockaddr, &peer, static_cast<std::size_t>(bytes));
    address_.iSockaddrLength = bytes;
    net::ReadHostName(address_, host_);
    net::WriteAddressText(address_, ip_address_);
}

CSocket::~CSocket() {
    CSocket::Shutdown();
    MemFree(buffer_);
    MemFree(address_.lpSockaddr);
}

void CSocket::Init(int buffer_size) noexcept {
    family_ = net::kFamilyIPv4;
    protocol_ = IPPROTO_TCP;
    socket_type_ = SOCK_STREAM;
    port_ = 0;
    host_[0] = 0;
    ip_address_[0] = 0;
    address_.lpSockaddr = nullptr;
    address_.iSockaddrLength = 0;
    socket_ = 0;
    buffer_size_ = EffectiveBufferSize(buffer_size);
    buffer_ = static_cast<unsigned char*>(MemAlloc(static_cast<std::uint64_t>(buffer_size_)));
    thread_id_ = 0;
    last_error_ = 0;
}

void CSocket::SetupSocket(TSOSocketInfo* info) noexcept {
    if (info == nullptr) {
        return;
    }
    family_ = info->family;
    protocol_ = info->protocol;
    socket_type_ = info->socketType;
    port_ = info->port;
    net::CopyText(host_, info->host);
}

void CSocket::SetSocketError(int code) noexcept {
    last_error_ = static_cast<DWORD>(code);
}

void CSocket::SetAsyncMode(int enable) noexcept {
    const std::uint64_t socket = socket_;
    if (socket != 0) {
        DWORD mode = enable != 0;
        // A failure shows in the calls that follow.
        (void)ioctlsocket(static_cast<SOCKET>(socket), FIONBIO, &mode);
    }
}

int CSocket::SetBufferSize(int bytes) noexcept {
    const int wanted = EffectiveBufferSize(bytes);
    if (wanted <= buffer_size_) {
        return buffer_size_;
    }
    const CLockGuard guard(lock_);
    const auto size = static_cast<std::uint64_t>(wanted);
    void* grown = buffer_ == nullptr ? MemAlloc(size) : MemRealloc(buffer_, size);
    if (grown != nullptr) {
        buffer_ = static_cast<unsigned char*>(grown);
        buffer_size_ = wanted;
    }
    return buffer_size_;
}

void CSocket::Shutdown() {
    // The member goes to 0 before anything is closed. So one of several threads closes the socket,
    // and a worker thread that this wakes finds 0 and knows that its own side closed.
    const std::uint64_t socket = socket_.exchange(0);
    if (socket != 0) {
        (void)shutdown(static_cast<SOCKET>(socket), SD_BOTH);  // fails when it is not connected
        (void)closesocket(static_cast<SOCKET>(socket));  // fails when it was closed by its number
    }
}

void CSocket::WaitForThreadExit(int milliseconds) noexcept {
    const DWORD id = thread_id_;
    // A handle of our own: the recorded one may be closed while we wait.
    HANDLE thread = id == 0 ? nullptr : sync::OpenRegisteredThread(id);
    if (thread != nullptr) {
        // Callers are not told whether the thread has ended.
        (void)WaitForSingleObject(thread, static_cast<DWORD>(milliseconds));
        CloseHandle(thread);
    }
}

void CSocket::Lock() noexcept {
    lock_.Lock();
}

void CSocket::Unlock() noexcept {
    lock_.Unlock();
}

const wchar_t* CSocket::GetHost() {
    return host_;
}

const wchar_t* CSocket::GetIPAddress() {
    return ip_address_;
}

unsigned short CSocket::GetPort() {
    return port_;
}

std::uint64_t CSocket::GetSocket() noexcept {
    return socket_;
}

DWORD CSocket::GetThreadID() noexcept {
    return thread_id_;
}

unsigned char* CSocket::GetBuffer() noexcept {
    return buffer_;
}

int CSocket::GetBufferSize() noexcept {
    return buffer_size_;
}

DWORD CSocket::GetLastError() noexcept {
    return last_error_;
}

const wchar_t* CSocket::GetErrorDesc() noexcept {
    return CSocketUtil::PrintSocketError(static_cast<int>(last_error_.load()));
}

}  // namespace ZTK
