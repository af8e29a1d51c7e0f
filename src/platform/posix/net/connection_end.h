// What ended a connection. The system tells of that once, to whichever call comes first; on the
// platform every later call is told as well. So the code is kept with the socket.
#pragma once

#include "platform/posix/net/socket_table.h"

namespace ZTKPosix {

// The code of a system error that a call has just been told. If it is one that ends a connection,
// it is remembered.
int NoteSystemError(SocketUse& use, int error) noexcept;

// The code for a send or a receive that the system failed with error: WSAEINTR if the socket was
// closed meanwhile, unless the connection was broken by then.
int TransferError(SocketUse& use, int error) noexcept;

// The code for a send that the system refused because the connection is gone.
int CauseOfBrokenPipe(SocketUse& use) noexcept;

// The code for a receive that found neither bytes nor an error: 0 for the peer's orderly end.
int CauseOfEndOfStream(SocketUse& use) noexcept;

}  // namespace ZTKPosix
