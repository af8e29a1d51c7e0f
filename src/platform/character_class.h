// The C runtime's wide character classes, called from namespace ZTK by their platform names:
// iswalnum, iswspace, iswprint.
#pragma once

#if defined(_WIN32)
#include <cwctype>
#else
#include "platform/posix/text/character_class.h"
#endif
