// The C runtime's text functions that differ between the targets, called from namespace ZTK by
// their platform names: wcslen, wcscmp, wcsncmp, wcschr, wmemchr, wmemcmp, _stricmp, _strnicmp,
// _wcsicmp, _wcsnicmp; and the readability probes IsBadStringPtrA and IsBadStringPtrW. None fails;
// but for the probes, REQUIRES: texts are not null.
//
// Elsewhere than on Windows these are the layer's own: the C library's wide functions assume 32-bit
// characters and must never be called.
#pragma once

#include "ztk/platform.h"

#if defined(_WIN32)
#include <cstring>
#include <cwchar>
#else
#include "platform/posix/text/runtime_text.h"
#endif
