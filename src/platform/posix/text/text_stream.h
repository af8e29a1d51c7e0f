// The wide text stream that "w,ccs=UNICODE" opens: UTF-16 little-endian with a byte-order mark,
// line feeds written as carriage return and line feed.
#pragma once

#include "platform/posix/kernel/lock/lock.h"
#include "ztk/platform.h"

namespace ZTKPosix {

inline constinit Lock stream_pool_lock;  // guards the list of all streams

class TextStream;

// Creates or truncates the file. mode must be "w,ccs=UNICODE". Null for another mode, for a path
// that is null or longer than the system takes, when the file cannot be opened and when memory is
// short. A failure to open leaves its reason in errno, as the platform's runtime does; a path that
// is too long leaves ERROR_INSUFFICIENT_BUFFER as last error, which otherwise stays as it was, here
// and below.
//
// A disk that is full does not fail the opening: the byte-order mark is then written before the
// first text that gets through.
TextStream* _wfopen(const wchar_t* path, const wchar_t* mode) noexcept;

// Writes text as one whole, also when other threads write at the same time. A stream that was
// closed drops it and reports success: a thread that still writes while the process ends does no
// harm. Returns 0, or -1 after a write error. REQUIRES: text is not null.
int fputws(const wchar_t* text, TextStream* stream) noexcept;

// Hands what is buffered to the system. 0, or -1 after a write error; what could not be written is
// dropped, but no character in part: its rest is written before the next text. The limit on the
// size of files (RLIMIT_FSIZE) counts as a full disk and raises no signal, unless it is lowered
// while the stream is open. A pipe whose reader stalls counts as one, too: after five seconds in
// which it took nothing, and from then on at once until it takes something. 0 for a closed stream.
int fflush(TextStream* stream) noexcept;

// Flushes and closes. Returns what fflush would, but waits no longer than one second for a pipe,
// together with writers that wait for it already. The stream's own memory stays with the layer
// until the library is unloaded, and may serve the next _wfopen.
int fclose(TextStream* stream) noexcept;

// In a child of fork: frees each stream from a parent's thread that was writing to it and drops
// what it had buffered.
void DropTextStreamBuffersInChild() noexcept ZTK_REQUIRES(stream_pool_lock);

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
