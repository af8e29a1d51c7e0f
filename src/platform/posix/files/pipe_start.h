// Looking at the first bytes that a pipe or a socket brings, without taking them.
#pragma once

#include <cstdio>
#include <string_view>

namespace ZTKPosix {

// Waits, as a read would, until the descriptor brings bytes that are enough for the caller, or its
// peer has closed it. `seen` then has the first bytes, in `room`; none for what is neither pipe nor
// socket. False, with errno, if it cannot be looked at now: a descriptor that does not block is not
// waited for, EAGAIN.
bool LookAtPipeStart(int file, bool (*are_enough)(std::string_view), char (&room)[5],
                     std::string_view& seen);

// The reading end of a pipe that brings these few bytes and no more; -1 with errno.
int OpenPipeOf(std::string_view bytes) noexcept;

}  // namespace ZTKPosix
