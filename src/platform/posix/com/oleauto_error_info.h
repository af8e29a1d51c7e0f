// The error record of the calling thread, seen from the unloading of the library and from a fork.
#pragma once

#include "platform/posix/kernel/lock/lock.h"

namespace ZTKPosix {

// Guards the key that notices the end of threads with an error record.
inline constinit Lock error_key_lock;

// Stops noticing the end of threads, whose error records are then not given back. For the unloading
// of the library; gives back the calling thread's.
void TearDownCom() noexcept;

}  // namespace ZTKPosix
