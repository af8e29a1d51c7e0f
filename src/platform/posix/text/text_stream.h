// The wide text stream that "w,ccs=UNICODE" opens: UTF-16 little-endian with a byte-order mark,
// line feeds written as carriage return and line feed.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

class TextStream;

// Creates or truncates the file. mode must be "w,ccs=UNICODE". Null when the file cannot be opened.
TextStream* _wfopen(const wchar_t* path, const wchar_t* mode) noexcept;

// Writes text as one whole, also beside other threads. A stream that was closed swallows it: a
// thread that still writes while the process ends does no harm. Returns 0 or above, or -1 after a
// write error.
int fputws(const wchar_t* text, TextStream* stream) noexcept;

// Hands what is buffered to the system. 0, or -1 after a write error; what could not be written is
// dropped.
int fflush(TextStream* stream) noexcept;

// Flushes and closes. The stream's own memory stays with the layer until the library is unloaded.
int fclose(TextStream* stream) noexcept;

// Closes the streams that are open and frees all. Called when the library is unloaded.
void TearDownTextStreams() noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_wfopen;
using ZTKPosix::fclose;
using ZTKPosix::fflush;
using ZTKPosix::fputws;
using ZTKPosix::TextStream;
}  // namespace ZTK
