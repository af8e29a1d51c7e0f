// Start and end of Windows Sockets, and the helpers that need no name lookup.
#include "platform/character_class.h"
#include "platform/code_page.h"
#include "platform/keep_alive.h"
#include "platform/socket_calls.h"
#include "ztk/sockets.h"
#include "ztk/strings.h"

namespace ZTK {

namespace {

constexpr WORD kSocketsVersion = 0x0202;  // 2.2

}  // namespace

void InitWSA() noexcept {
    WSADATA data{};
    // There is no result to pass on: if this fails, the calls that follow fail with 10093.
    (void)WSAStartup(kSocketsVersion, &data);
}

void CloseWSA() noexcept {
    (void)WSACleanup();  // fails when there was no start: then there is nothing to undo
}

CSocketUtil& CSocketUtil::operator=(const CSocketUtil&) noexcept {
    return *this;
}

CSocketUtil& CSocketUtil::operator=(CSocketUtil&&) noexcept {
    return *this;
}

int CSocketUtil::GetOptions(std::uint64_t socket, int level, int option, void* value,
                            int length) noexcept {
    return getsockopt(static_cast<SOCKET>(socket), level, option, static_cast<char*>(value),
                      &length);
}

int CSocketUtil::SetOptions(std::uint64_t socket, int level, int option, void* value,
                            int length) noexcept {
    return setsockopt(static_cast<SOCKET>(socket), level, option, static_cast<const char*>(value),
                      length);
}

int CSocketUtil::SetKeepAlive(std::uint64_t socket, int idle_seconds,
                              int interval_seconds) noexcept {
    if (idle_seconds < 0 || idle_seconds > kMostKeepAliveSeconds || interval_seconds < 1 ||
        interval_seconds > kMostKeepAliveSeconds) {
        WSASetLastError(WSAEINVAL);
        return SOCKET_ERROR;
    }
    return ZTK::SetKeepAlive(static_cast<SOCKET>(socket), idle_seconds, interval_seconds);
}

int CSocketUtil::SetNoDelay(std::uint64_t socket, bool enable) noexcept {
    int value = enable;
    return SetOptions(socket, IPPROTO_TCP, TCP_NODELAY, &value, sizeof(value));
}

int CSocketUtil::GetPeerName(std::uint64_t socket, sockaddr* address, int* address_bytes) noexcept {
    return getpeername(static_cast<SOCKET>(socket), address, address_bytes);
}

int CSocketUtil::GetSockName(std::uint64_t socket, sockaddr* address, int* address_bytes) noexcept {
    return getsockname(static_cast<SOCKET>(socket), address, address_bytes);
}

const wchar_t* CSocketUtil::IP4SockIPToStrIP(sockaddr_in* address) noexcept {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the text belongs to the calling thread on both targets
    return address == nullptr ? nullptr : StrConvert(inet_ntoa(address->sin_addr), CP_ACP);
}

DWORD CSocketUtil::IP4StrIPToSockIP(const wchar_t* text) noexcept {
    const char* narrow = StrConvert(text, CP_ACP);
    return narrow == nullptr ? INADDR_NONE : inet_addr(narrow);
}

int CSocketUtil::IPAddressToString(SOCKET_ADDRESS* address, wchar_t* buffer,
                                   DWORD length) noexcept {
    if (address == nullptr) {
        WSASetLastError(WSAEFAULT);
        return 0;
    }
    DWORD count = length;
    if (WSAAddressToStringW(address->lpSockaddr, static_cast<DWORD>(address->iSockaddrLength),
                            nullptr, buffer, &count) != 0) {
        return 0;
    }
    // The cut is blind: an IPv6 text without a port loses its last group. Callers know the texts in
    // this form; SocketUtil.AddressTextIsCutAtItsLastColon holds it.
    for (DWORD i = count; i > 1; --i) {
        if (buffer[i - 1] == L':') {
            buffer[i - 1] = 0;
            break;
        }
    }
    return static_cast<int>(count);
}

bool CSocketUtil::IsHostName(const wchar_t* text) noexcept {
    if (text == nullptr) {
        return false;
    }
    for (; *text != 0; ++text) {
        if (iswalnum(*text) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace ZTK
