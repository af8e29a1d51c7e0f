// The printf family of the C runtime: _vscprintf, _vscwprintf (the length of the formatted text
// without its terminator, or -1), _vsnprintf and _vsnwprintf (at most count characters; the
// terminator is stored only if there is room for it; -1 if the text was cut or the format is bad).
#pragma once

#include <cstdarg>

#include "ztk/platform.h"

#if defined(_WIN32)
#include <cstdio>
#include <cwchar>
#else
#include "platform/posix/text/formatting.h"
#endif
