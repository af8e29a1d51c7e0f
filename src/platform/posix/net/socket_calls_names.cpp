// Name and address resolution: the system's resolver with the platform's family numbers and codes.
#include <cstring>

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
    (void)FailSocket(code);
    return code;
}

// Rewrites the family numbers of a list in place. The blocks stay the system's own, so its
// freeaddrinfo, which does not look at them, still releases the list.
void TranslateFamilies(addrinfo* list) noexcept {
    for (addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        entry->ai_family = ToPlatformFamily(entry->ai_family);
        if (entry->ai_addr != nullptr) {
            const int family = ToPlatformFamily(entry->ai_addr->sa_family);
            entry->ai_addr->sa_family = static_cast<sa_family_t>(family);
        }
    }
}

}  // namespace

int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                addrinfo** result) noexcept {
    if (!RequireSocketsStarted()) {
        return WSANOTINITIALISED;
    }
    addrinfo system_hints{};
    if (hints != nullptr) {
        system_hints = *hints;
        system_hints.ai_family = ToSystemFamily(hints->ai_family);
    }
    const int outcome =
        ::getaddrinfo(host, service, hints == nullptr ? nullptr : &system_hints, result);
    if (outcome == 0) {
        TranslateFamilies(*result);
    }
    return ResolverResult(outcome);
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
    return ResolverResult(::getnameinfo(reinterpret_cast<const sockaddr*>(&block.storage),
                                        block.length, host, host_length, service, service_length,
                                        flags));
}

}  // namespace ZTKPosix
