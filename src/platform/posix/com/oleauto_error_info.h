// The error record of the calling thread, seen from the unloading of the library.
#pragma once

namespace ZTKPosix {

// Stops noticing the end of threads, whose error records are then not given back. For the unloading
// of the library; gives back the calling thread's.
void TearDownCom() noexcept;

}  // namespace ZTKPosix
