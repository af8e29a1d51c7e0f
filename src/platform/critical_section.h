// Critical sections: InitializeCriticalSection, EnterCriticalSection, LeaveCriticalSection,
// DeleteCriticalSection and CRITICAL_SECTION. None fails or touches the last error.
#pragma once

#include "ztk/platform.h"

#if !defined(_WIN32)
#include "platform/posix/kernel/critical_section.h"
#endif
