// The calling thread's last-error code.
#include "ztk/platform.h"

namespace ZTKPosix {

namespace {
thread_local DWORD last_error = ERROR_SUCCESS;
}

DWORD GetLastError() noexcept {
    return last_error;
}

void SetLastError(DWORD code) noexcept {
    last_error = code;
}

}  // namespace ZTKPosix
