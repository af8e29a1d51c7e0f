// UrlUnescapeW of the platform's shell utilities. Callers pass flags 0: the layer refuses the
// others. Failures are told by the result, not by the last error.
#pragma once

#include "ztk/platform.h"

#if defined(_WIN32)
// Not the rest: its text functions carry names of ours.
#define NO_SHLWAPI_STRFCNS
#define NO_SHLWAPI_REG
#define NO_SHLWAPI_STREAM
#define NO_SHLWAPI_GDI
#include <shlwapi.h>
#endif
