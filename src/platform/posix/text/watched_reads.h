// Looks for a tool that watches every read of this process.
#pragma once

#include "platform/processor/watched_reads.h"

namespace ZTKPosix {

using ZTK::processor::reads_are_watched;

// Looks for a tool that runs the process. For the load of the library, before any other call.
void LookForTools() noexcept;

}  // namespace ZTKPosix
