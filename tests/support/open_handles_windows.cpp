#include "support/open_handles.h"
#include "ztk/platform.h"

int ztk_test::OpenHandles() {
    DWORD count = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &count) ? static_cast<int>(count) : -1;
}
