// The platform's types and calls on POSIX systems, offered by the library itself. The files mirror
// the split of the system headers that a Windows host includes; each says which flags and values
// work, what the rest give, and which last error they leave. Those of COM and the DOM are included
// by ztk/platform/com.h.
//
// Every definition lives in the namespace ZTKPosix and is made visible at global scope by a
// using-declaration: host code spells the platform's names, and no linker symbol of ours can
// collide with another library that offers the same calls.
#pragma once

#include "ztk/platform/posix/errhandlingapi.h"
#include "ztk/platform/posix/fileapi.h"
#include "ztk/platform/posix/handleapi.h"
#include "ztk/platform/posix/heapapi.h"
#include "ztk/platform/posix/libloaderapi.h"
#include "ztk/platform/posix/minwindef.h"
#include "ztk/platform/posix/processenv.h"
#include "ztk/platform/posix/processthreadsapi.h"
#include "ztk/platform/posix/shlwapi.h"
#include "ztk/platform/posix/synchapi.h"
#include "ztk/platform/posix/winbase.h"
#include "ztk/platform/posix/winsock2.h"
#include "ztk/platform/posix/winuser.h"
