// Names and addresses: the system's resolver with the platform's family numbers and codes, and the
// text of an address.
#include <cstdio>
#include <cstring>

#include "platform/posix/net/name_lookup.h"
#include "platform/posix/net/socket_address.h"
#include "platform/posix/net/socket_calls.h"
#include "platform/posix/net/socket_error_map.h"
#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

namespace {

// The resolver's calls return the code and leave it as last error too.
int ResolverResult(int result) noexcept {
    if (result == 0) {
        return 0;
    }
    const int code = SocketErrorFromResolver(result);
    WSASetLastError(code);
    return code;
}

// Rewrites the numbers of a list in place: the families, and for a kind of socket that was asked
// for, kind and protocol, which the platform gives back as they were asked for. The blocks stay the
// system's own, so its freeaddrinfo, which does not look at them, still releases the list.
void TranslateEntries(addrinfo* list, const addrinfo* hints) noexcept {
    for (addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        if (hints != nullptr && hints->ai_socktype != 0) {
            entry->ai_socktype = hints->ai_socktype;
            entry->ai_protocol = hints->ai_protocol;
        }
        entry->ai_family = ToPlatformFamily(entry->ai_family);
        if (entry->ai_addr != nullptr) {
            const int family = ToPlatformFamily(entry->ai_addr->sa_family);
            entry->ai_addr->sa_family = static_cast<sa_family_t>(family);
        }
    }
}

// The system refuses a kind with the other's protocol, which the platform looks up by the protocol.
bool IsMixedPair(const addrinfo& hints) noexcept {
    return (hints.ai_socktype == SOCK_DGRAM && hints.ai_protocol == IPPROTO_TCP) ||
           (hints.ai_socktype == SOCK_STREAM && hints.ai_protocol == IPPROTO_UDP);
}

// Whether a failed lookup of an address's name says that there is none, or that nobody could be
// asked: the platform then gives the address's text.
bool IsWithoutName(int result) noexcept {
    return result == EAI_NONAME || result == EAI_NODATA || result == EAI_AGAIN ||
           result == EAI_FAIL || result == EAI_SYSTEM;
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

int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                addrinfo** result) noexcept {
    if (!RequireSocketsStarted()) {
        return WSANOTINITIALISED;
    }
    if (result == nullptr) {
        WSASetLastError(WSAEFAULT);
        return WSAEFAULT;
    }
    addrinfo system_hints{};
    if (hints != nullptr) {
        system_hints = *hints;
        system_hints.ai_family = ToSystemFamily(hints->ai_family);
        if (IsMixedPair(*hints)) {
            system_hints.ai_socktype = 0;
        }
    }
    const NameLookup lookup;
    if (!lookup.TakesNames()) {
        system_hints.ai_flags &= ~AI_ADDRCONFIG;
        system_hints.ai_flags |= AI_NUMERICHOST | AI_NUMERICSERV;
        hints = &system_hints;
    }
    const int outcome =
        ::getaddrinfo(host, service, hints == nullptr ? nullptr : &system_hints, result);
    if (outcome == 0) {
        TranslateEntries(*result, hints);
    }
    return ResolverResult(outcome == EAI_NONAME && !lookup.TakesNames() ? EAI_AGAIN : outcome);
}

int getnameinfo(const sockaddr* address, int address_length, char* host, DWORD host_length,
                char* service, DWORD service_length, int flags) noexcept {
    if (!RequireSocketsStarted()) {
        return WSANOTINITIALISED;
    }
    SystemAddress block;
    if (!ToSystemAddress(address, address_length, &block)) {
        return WSAEFAULT;
    }
    const NameLookup lookup;
    if (!lookup.TakesNames()) {
        flags |= NI_NUMERICHOST | NI_NUMERICSERV;
    }
    const auto look_up = [&](int with) {
        return ::getnameinfo(reinterpret_cast<const sockaddr*>(&block.storage), block.length, host,
                             host_length, service, service_length, with);
    };
    int outcome = look_up(flags);
    if (IsWithoutName(outcome) && (flags & (NI_NAMEREQD | NI_NUMERICHOST)) == 0) {
        outcome = look_up(flags | NI_NUMERICHOST);
    }
    return ResolverResult(outcome);
}

int WSAAddressToStringW(sockaddr* address, DWORD address_length, void* /*protocol_info*/,
                        LPWSTR buffer, LPDWORD length) noexcept {
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
