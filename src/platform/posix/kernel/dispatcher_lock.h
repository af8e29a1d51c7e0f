// The lock of all kernel objects.
#pragma once

#include "platform/posix/kernel/lock/lock.h"

namespace ZTKPosix {

// Guards the handle table, the names and the state of every object, and what the layer knows of
// threads. One lock for all keeps a wait for all of several objects simple and free of deadlock; it
// is held for a few dozen instructions, never across a system call, except that of a growing table.
// Taken through DispatcherSection.
inline constinit Lock dispatcher_lock;

}  // namespace ZTKPosix
