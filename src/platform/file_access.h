// The C runtime's access test, called from namespace ZTK by its platform name: _waccess. Callers
// pass mode 0, whether the path exists: the layer refuses the others.
#pragma once

#if defined(_WIN32)
#include <io.h>
#else
#include "platform/posix/files/file_access.h"
#endif
