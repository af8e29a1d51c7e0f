// Connecting and sending by a deadline: platform/socket_deadlines.h has the contract.
#pragma once

#include "platform/time/deadline.h"
#include "ztk/platform.h"

namespace ZTKPosix {

int ConnectWithin(SOCKET s, const sockaddr* address, int length,
                  const ZTK::Deadline& deadline) noexcept;
int SendWithin(SOCKET s, const char* data, int length, const ZTK::Deadline& deadline) noexcept;

}  // namespace ZTKPosix
