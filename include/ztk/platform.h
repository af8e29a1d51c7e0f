// The one place where a host gets the platform's types and calls: handles and waits, threads,
// files, the process heap, sockets, the environment, string tables, the last error. On Windows
// these are the system's own headers; elsewhere they are the library's layer, which offers the
// calls that the headers in ztk/platform/posix declare, with the same results but where these
// headers say otherwise. A host that includes this header (ztk/ztk.h does) and uses only such calls
// compiles unchanged on both targets. COM and the DOM are in ztk/platform/com.h.
//
// Thread-safety: every call may be made from any thread, except where its header says otherwise. A
// child of fork may go on using the library; what it finds there is in "Threads and lifetimes". No
// call raises SIGPIPE or changes how a signal is dealt with.
#pragma once

#include "ztk/platform/export.h"

// An installation holds the headers of its own target only.
#if defined(_WIN32)
#if !__has_include("ztk/platform/windows.h")
#error "These headers of ZTK are installed for Linux: let the build find those for Windows."
#endif
#include "ztk/platform/windows.h"
#else
#if !__has_include("ztk/platform/posix.h")
#error "These headers of ZTK are installed for Windows: let the build find those for Linux."
#endif
#include "ztk/platform/posix.h"
#endif

// Wide text is UTF-16 everywhere in this library.
static_assert(
    sizeof(wchar_t) == 2,
    "ZTK needs 16-bit wide characters: compile with -fshort-wchar. The CMake package and the "
    "pkg-config file of this library add it by themselves.");
static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4,
              "the platform's long types are 32 bits wide");
