// Blocking and non-blocking mode: a socket has one, which its host chose with FIONBIO, and a call
// may need its descriptor to be in the other for a while.
#pragma once

#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

// Sets the mode that a host asked for. 0, or SOCKET_ERROR with the last error set.
int SetSocketMode(SocketUse& use, bool non_blocking) noexcept;

// Switches only the descriptor, for a call that has to work in another mode than its socket's.
// False with errno set; the last error is not touched.
bool SetDescriptorMode(const SocketUse& use, bool non_blocking) noexcept;

// Puts the descriptor back into the socket's mode, also when another thread sets that meanwhile.
// May change errno; the last error is not touched.
void RestoreDescriptorMode(const SocketUse& use) noexcept;

}  // namespace ZTKPosix
