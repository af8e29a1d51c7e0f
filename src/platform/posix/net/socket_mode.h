// Blocking and non-blocking mode.
#pragma once

#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

// Sets the mode that a host asked for. 0, or SOCKET_ERROR with the last error set.
int SetSocketMode(SocketUse& use, bool non_blocking) noexcept;

// Switches only the descriptor, for a call that has to work in another mode than its socket's.
bool SetDescriptorMode(const SocketUse& use, bool non_blocking) noexcept;

// Puts the descriptor back into the socket's mode, also when another thread sets that meanwhile.
void RestoreDescriptorMode(const SocketUse& use) noexcept;

}  // namespace ZTKPosix
