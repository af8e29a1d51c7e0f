// Connecting and sending by a deadline: platform/socket_deadlines.h has the contract.
#pragma once

#include "platform/time/deadline.h"
#include "ztk/platform.h"

namespace ZTK {

int ConnectWithin(SOCKET s, const sockaddr* address, int length, const Deadline& deadline) noexcept;
int SendWithin(SOCKET s, const char* data, int length, const Deadline& deadline) noexcept;

}  // namespace ZTK
