// COM's state of the calling thread.
#pragma once

#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

// Whether the calling thread has initialised COM.
[[nodiscard]] bool IsComInitialized() noexcept;

// Leaves an error record with that description on the calling thread. Without memory there is none,
// as the failure itself is what counts.
void LeaveErrorRecord(const wchar_t* description) noexcept;

// Stops noticing the end of threads, whose error records are then not given back. For the unloading
// of the library; gives back the calling thread's.
void TearDownCom() noexcept;

}  // namespace ZTKPosix
