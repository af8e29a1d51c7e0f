// The C runtime's wide character classes, called from namespace ZTK by their platform names:
// iswalnum, iswspace, iswprint. Zero or nonzero; none fails. Callers ask about ASCII: for other
// characters the runtime's answer depends on its locale, the layer's is always zero.
#pragma once

#if defined(_WIN32)
#include <cwctype>
#else
#include "platform/posix/text/character_class.h"
#endif
