#include "platform/posix/net/socket_address.h"

#include <cstdio>
#include <cstring>

#include "platform/posix/net/socket_calls.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

namespace {

socklen_t MinimumLength(int system_family) noexcept {
    switch (system_family) {
        case AF_INET:
            return sizeof(sockaddr_in);
        case AF_INET6:
            return sizeof(sockaddr_in6);
        default:
            return sizeof(sa_family_t);
    }
}

// "[" + address + "%4294967295" + "]:65535", terminator included.
constexpr int kMaxAddressText = INET6_ADDRSTRLEN + 20;

void WriteIPv4(const sockaddr_in& address, char (&text)[kMaxAddressText]) noexcept {
    char host[INET_ADDRSTRLEN];
    ::inet_ntop(AF_INET, &address.sin_addr, host, sizeof(host));
    if (address.sin_port == 0) {
        std::snprintf(text, sizeof(text), "%s", host);
    } else {
        std::snprintf(text, sizeof(text), "%s:%u", host, unsigned{ntohs(address.sin_port)});
    }
}

void WriteIPv6(const sockaddr_in6& address, char (&text)[kMaxAddressText]) noexcept {
    char host[INET6_ADDRSTRLEN];
    ::inet_ntop(AF_INET6, &address.sin6_addr, host, sizeof(host));
    char scope[12] = "";
    if (address.sin6_scope_id != 0) {
        std::snprintf(scope, sizeof(scope), "%%%u", unsigned{address.sin6_scope_id});
    }
    if (address.sin6_port == 0) {
        std::snprintf(text, sizeof(text), "%s%s", host, scope);
    } else {
        std::snprintf(text, sizeof(text), "[%s%s]:%u", host, scope,
                      unsigned{ntohs(address.sin6_port)});
    }
}

bool WriteAddress(const SystemAddress& address, char (&text)[kMaxAddressText]) noexcept {
    if (address.storage.ss_family == AF_INET) {
        sockaddr_in ipv4;
        std::memcpy(&ipv4, &address.storage, sizeof(ipv4));
        WriteIPv4(ipv4, text);
        return true;
    }
    if (address.storage.ss_family == AF_INET6) {
        sockaddr_in6 ipv6;
        std::memcpy(&ipv6, &address.storage, sizeof(ipv6));
        WriteIPv6(ipv6, text);
        return true;
    }
    return false;
}

}  // namespace

int ToSystemFamily(int family) noexcept {
    return family == kFamilyIPv6 ? AF_INET6 : family;
}

int ToPlatformFamily(int family) noexcept {
    return family == AF_INET6 ? kFamilyIPv6 : family;
}

bool ToSystemAddress(const sockaddr* address, int length, SystemAddress* result) noexcept {
    if (address == nullptr || length < static_cast<int>(sizeof(sa_family_t)) ||
        length > static_cast<int>(sizeof(result->storage))) {
        (void)FailSocket(WSAEFAULT);
        return false;
    }
    result->storage = {};
    std::memcpy(&result->storage, address, static_cast<std::size_t>(length));
    result->length = static_cast<socklen_t>(length);
    const int family = ToSystemFamily(result->storage.ss_family);
    result->storage.ss_family = static_cast<sa_family_t>(family);
    if (result->length < MinimumLength(family)) {
        (void)FailSocket(WSAEFAULT);
        return false;
    }
    return true;
}

bool ToPlatformAddress(const SystemAddress& source, sockaddr* address, int* length) noexcept {
    const int bytes = static_cast<int>(source.length);
    if (address == nullptr || length == nullptr || *length < bytes) {
        (void)FailSocket(WSAEFAULT);
        return false;
    }
    sockaddr_storage block = source.storage;
    block.ss_family = static_cast<sa_family_t>(ToPlatformFamily(block.ss_family));
    std::memcpy(address, &block, source.length);
    *length = bytes;
    return true;
}

int WSAAddressToStringW(sockaddr* address, DWORD address_length, void* protocol_info, LPWSTR buffer,
                        LPDWORD length) noexcept {
    (void)protocol_info;  // chooses a provider on the platform; there is one here
    SystemAddress block;
    if (!RequireSocketsStarted()) {
        return SOCKET_ERROR;
    }
    if (buffer == nullptr || length == nullptr || address_length > sizeof(block.storage) ||
        !ToSystemAddress(address, static_cast<int>(address_length), &block)) {
        return FailSocket(WSAEFAULT);
    }
    char text[kMaxAddressText];
    if (!WriteAddress(block, text)) {
        return FailSocket(WSAEINVAL);
    }
    const DWORD characters = static_cast<DWORD>(std::strlen(text)) + 1;
    const DWORD room = *length;
    *length = characters;  // also tells a caller with too small a buffer what it takes
    if (room < characters) {
        return FailSocket(WSAEFAULT);
    }
    for (DWORD i = 0; i < characters; ++i) {
        buffer[i] = static_cast<wchar_t>(text[i]);  // ASCII
    }
    return 0;
}

}  // namespace ZTKPosix
