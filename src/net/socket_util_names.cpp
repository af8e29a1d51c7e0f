#include "net/socket_util_names.h"

#include <cstdio>
#include <cstring>

#include "platform/code_page.h"
#include "platform/socket_calls.h"
#include "ztk/memory.h"
#include "ztk/strings.h"

namespace ZTK {

namespace {

static_assert(sizeof(sockaddr_in) == 16 && sizeof(sockaddr_in6) == 28);

// A narrow text of its own for the time of a lookup, which may take seconds: a ring string could be
// overwritten by other threads meanwhile.
class LookupText {
  public:
    // Null and empty texts are passed to the system as null.
    explicit LookupText(const wchar_t* text) noexcept {
        if (text != nullptr && text[0] != 0) {
            valid_ = WideCharToMultiByte(CP_ACP, 0, text, -1, text_, sizeof(text_), nullptr,
                                         nullptr) != 0;
            given_ = true;
        }
    }
    explicit LookupText(unsigned short port) noexcept : given_(true) {
        // Five digits at the most: it fits.
        (void)std::snprintf(text_, sizeof(text_), "%d", int{port});
    }
    LookupText(const LookupText&) = delete;
    LookupText& operator=(const LookupText&) = delete;

    [[nodiscard]] const char* get() const noexcept { return given_ ? text_ : nullptr; }

    // False for a text far longer than any name, which cannot be looked up.
    [[nodiscard]] bool valid() const noexcept { return valid_; }

  private:
    char text_[4096];
    bool given_ = false;
    bool valid_ = true;
};

bool Resolve(const LookupText& host, const LookupText& service, const addrinfo* hints,
             addrinfo** result) noexcept {
    if (result == nullptr) {
        WSASetLastError(WSAEFAULT);
        return false;
    }
    if (!host.valid() || !service.valid()) {
        WSASetLastError(WSAHOST_NOT_FOUND);
        return false;
    }
    return (getaddrinfo)(host.get(), service.get(), hints, result) == 0;
}

bool MeansAnyAddress(const wchar_t* host) noexcept {
    return host == nullptr || host[0] == 0 || StrEqual(host, L"any", false);
}

bool StoreAddress(SOCKET_ADDRESS* address, const void* block, std::size_t bytes) noexcept {
    auto* copy = static_cast<sockaddr*>(MemAlloc(bytes));
    if (copy == nullptr) {
        WSASetLastError(WSA_NOT_ENOUGH_MEMORY);
        return false;
    }
    std::memcpy(copy, block, bytes);
    address->lpSockaddr = copy;
    address->iSockaddrLength = static_cast<int>(bytes);
    return true;
}

// Callers do not look at the result for a wildcard, but at the address: a family without a
// wildcard leaves it empty and is no failure. The same holds when memory is short: the results of
// StoreAddress do not matter.
void StoreWildcard(unsigned short family, unsigned short port, SOCKET_ADDRESS* address) noexcept {
    if (family == net::kFamilyIPv4) {
        sockaddr_in block{};
        block.sin_family = net::kFamilyIPv4;
        block.sin_port = htons(port);
        (void)StoreAddress(address, &block, sizeof(block));
    } else if (family == net::kFamilyIPv6 || family == AF_INET6) {  // one number on Windows
        sockaddr_in6 block{};
        block.sin6_family = net::kFamilyIPv6;
        block.sin6_port = htons(port);
        (void)StoreAddress(address, &block, sizeof(block));
    }
}

// The entry that callers get: the last of the list with a family that the library knows.
const addrinfo* LastInternetEntry(const addrinfo* list) noexcept {
    const addrinfo* last = nullptr;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_addr != nullptr && (entry->ai_addr->sa_family == net::kFamilyIPv4 ||
                                          entry->ai_addr->sa_family == net::kFamilyIPv6)) {
            last = entry;
        }
    }
    return last;
}

}  // namespace

bool CSocketUtil::GetAddrInfoW(const wchar_t* host, const wchar_t* service, const addrinfo* hints,
                               addrinfo** result) noexcept {
    const LookupText host_text(host);
    const LookupText service_text(service);
    return Resolve(host_text, service_text, hints, result);
}

bool CSocketUtil::GetAddrInfoW(const wchar_t* host, unsigned short port, const addrinfo* hints,
                               addrinfo** result) noexcept {
    if (host == nullptr) {
        return false;
    }
    const LookupText host_text(host);
    const LookupText port_text(port);
    return Resolve(host_text, port_text, hints, result);
}

int CSocketUtil::GetHostAddress(const wchar_t* host, unsigned short family, IPPROTO protocol,
                                unsigned short socket_type, unsigned short port,
                                SOCKET_ADDRESS* address) noexcept {
    if (address == nullptr) {
        WSASetLastError(WSAEFAULT);
        return 0;
    }
    address->lpSockaddr = nullptr;
    address->iSockaddrLength = 0;
    if (MeansAnyAddress(host)) {
        StoreWildcard(family, port, address);
        return 1;
    }
    // Flags stay 0, for servers too: a server that names a host binds to that host's address only.
    addrinfo hints{};
    hints.ai_family = family;
    hints.ai_socktype = socket_type;
    hints.ai_protocol = protocol;
    addrinfo* list = nullptr;
    if (!GetAddrInfoW(host, port, &hints, &list)) {
        return 0;
    }
    const addrinfo* entry = LastInternetEntry(list);
    const bool stored =
        entry != nullptr && StoreAddress(address, entry->ai_addr, entry->ai_addrlen);
    freeaddrinfo(list);
    return stored ? 1 : 0;
}

int CSocketUtil::GetHostNameW(const sockaddr* address, int address_bytes, TSOHostNameW* host,
                              int flags) noexcept {
    return net::GetNameInfoW(address, address_bytes, host, nullptr, flags);
}

int CSocketUtil::GetServName(const sockaddr* address, int address_bytes, TSOServiceNameW* service,
                             int flags) noexcept {
    return net::GetNameInfoW(address, address_bytes, nullptr, service, flags);
}

void net::ReadHostName(const SOCKET_ADDRESS& address, wchar_t (&host)[kTextCapacity]) noexcept {
    TSOHostNameW name{};
    if (GetNameInfoW(address.lpSockaddr, address.iSockaddrLength, &name, nullptr, 0) == 0) {
        CopyText(host, name.name);
    }
}

void net::WriteAddressText(SOCKET_ADDRESS& address, wchar_t (&text)[kTextCapacity]) noexcept {
    // A failure leaves the text as it was, and shows again in the call that uses the address.
    (void)CSocketUtil::IPAddressToString(&address, text, kTextCapacity);
}

int net::GetNameInfoW(const sockaddr* address, int address_bytes, TSOHostNameW* host,
                      TSOServiceNameW* service, int flags) noexcept {
    char host_text[sizeof(TSOHostNameA)] = {};
    const int result =
        (getnameinfo)(address, address_bytes, host_text, sizeof(host_text), nullptr, 0, flags);
    if (result != 0) {
        return result;
    }
    if (host != nullptr) {
        // Not through a ring string, which a busy process may hand out again before it is copied.
        constexpr int kRoom = sizeof(host->name) / sizeof(host->name[0]);
        if (MultiByteToWideChar(CP_ACP, 0, host_text, -1, host->name, kRoom) == 0) {
            host->name[0] = 0;
        }
    }
    if (service != nullptr) {
        CopyText(service->name, nullptr);
    }
    return 0;
}

}  // namespace ZTK
