// The C runtime's conversions of wide text to numbers, called from namespace ZTK by their platform
// names: _wtoi and _wtol. 0 for a text without a number; the nearest value for one out of range.
#pragma once

#if defined(_WIN32)
#include <cstdlib>
#else
#include "platform/posix/text/wide_number.h"
#endif
