#include "platform/posix/net/socket_address.h"

#include <cstring>

#include "platform/posix/net/socket_error_map.h"

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
        WSASetLastError(WSAEFAULT);
        return false;
    }
    result->storage = {};
    std::memcpy(&result->storage, address, static_cast<std::size_t>(length));
    result->length = static_cast<socklen_t>(length);
    const int family = ToSystemFamily(result->storage.ss_family);
    result->storage.ss_family = static_cast<sa_family_t>(family);
    if (result->length < MinimumLength(family)) {
        WSASetLastError(WSAEFAULT);
        return false;
    }
    return true;
}

bool ToPlatformAddress(const SystemAddress& source, sockaddr* address, int* length) noexcept {
    const int bytes = static_cast<int>(source.length);
    if (address == nullptr || length == nullptr || *length < bytes) {
        WSASetLastError(WSAEFAULT);
        return false;
    }
    sockaddr_storage block = source.storage;
    block.ss_family = static_cast<sa_family_t>(ToPlatformFamily(block.ss_family));
    std::memcpy(address, &block, source.length);
    *length = bytes;
    return true;
}

}  // namespace ZTKPosix
