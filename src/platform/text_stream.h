// The C runtime's wide text stream, opened with mode "w,ccs=UNICODE" (the layer has no other):
// _wfopen, fputws, fflush, fclose on a TextStream.
#pragma once

#include "ztk/platform.h"

#if defined(_WIN32)
#include <cstdio>
#include <cwchar>
namespace ZTK {
using TextStream = FILE;
}
#else
#include "platform/posix/text/text_stream.h"
#endif
