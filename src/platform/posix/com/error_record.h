// What the layer's objects tell about a failed call.
#pragma once

#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

// Leaves an error record with that description on the calling thread, in place of the one it had.
// Short of memory it leaves none: the result of the failed call is what counts.
// REQUIRES: description lives as long as the library.
void LeaveErrorRecord(const wchar_t* description) noexcept;

// The result of a failed call that leaves no record. That of an earlier failure goes: whoever
// raises this result would take it for the record that belongs to it.
[[nodiscard]] inline HRESULT Fail(HRESULT result) noexcept {
    (void)SetErrorInfo(0, nullptr);
    return result;
}

}  // namespace ZTKPosix
