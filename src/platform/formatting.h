// The printf family of the C runtime.
//
// _vscprintf, _vscwprintf: the length of the formatted text without its terminator, or -1 for a bad
// format. _vsnprintf, _vsnwprintf: write at most count characters, and the terminator only if there
// is room for it; the length without it, or -1 if the text was cut or the format is bad. The list
// of arguments is not moved on in the layer, on Windows it may be: callers pass a copy. What a
// format may hold in the layer is said in its header.
#pragma once

#include <cstdarg>

#include "ztk/platform.h"

#if defined(_WIN32)
#include <cstdio>
#include <cwchar>
#else
#include "platform/posix/text/formatting.h"
#endif
