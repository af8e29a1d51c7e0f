// Address blocks between the platform's family numbers (23 for IPv6) and the system's.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

inline constexpr int kFamilyIPv6 = 23;  // in every block that crosses the layer's boundary

// The system's number for a family given by a caller: 23 and the system's own both mean IPv6.
int ToSystemFamily(int family) noexcept;

// The platform's number for a family that the system reports.
int ToPlatformFamily(int family) noexcept;

// An address block in the system's form.
struct SystemAddress {
    sockaddr_storage storage;
    socklen_t length;
};

// Copies a caller's block. False with last error WSAEFAULT for a null block, or a length that is
// too short for its family or longer than any address.
bool ToSystemAddress(const sockaddr* address, int length, SystemAddress* result) noexcept;

// Copies a block of the system to a caller's. *length is the room there and becomes the block's
// length. False with last error WSAEFAULT, and nothing copied, when something is null or the room
// is too small.
bool ToPlatformAddress(const SystemAddress& source, sockaddr* address, int* length) noexcept;

}  // namespace ZTKPosix
