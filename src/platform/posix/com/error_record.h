// What the layer's objects tell about a failed call.
#pragma once

namespace ZTKPosix {

// Leaves an error record with that description on the calling thread, in place of the one it had.
// Short of memory it leaves none: the result of the failed call is what counts.
// REQUIRES: description lives as long as the library.
void LeaveErrorRecord(const wchar_t* description) noexcept;

}  // namespace ZTKPosix
