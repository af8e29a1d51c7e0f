// The C runtime's access test, called from namespace ZTK by its platform name: _waccess.
#pragma once

#if defined(_WIN32)
#include <io.h>
#else
#include "platform/posix/files/file_access.h"
#endif
