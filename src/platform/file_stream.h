// The C runtime's streams as far as a buffer reads them: _fileno and _filelength (the size of the
// file behind an open stream in bytes, or -1), _lock_file and _unlock_file, and _fgetc_nolock,
// which is fgetc for a caller that holds the stream's lock. FgetwcUnderLock is that for fgetwc, and
// FgetwcFirst for the first of several characters, before which a byte-order mark may have to go.
//
// Wide characters are read with fgetwc on both targets: how a stream decodes depends on the mode in
// which the caller opened it, which only the runtime knows. It returns wint_t, whose width does not
// depend on that of wchar_t, so it is safe to call where the C library's own wide characters are
// wider than ours.
#pragma once

#include <cstdio>
#include <cwchar>

#include "ztk/platform.h"

#if defined(_WIN32)
#include <io.h>
#else
#include "platform/posix/files/file_stream.h"
#endif

namespace ZTK {

#if defined(_WIN32)
// The runtime exports no form of it that leaves the lock out.
inline std::wint_t FgetwcUnderLock(std::FILE* stream) {
    return fgetwc(stream);
}
inline std::wint_t FgetwcFirst(std::FILE* stream) {
    return fgetwc(stream);
}
#endif

// Keeps a stream to the calling thread for a scope.
class StreamLock {
  public:
    explicit StreamLock(std::FILE* stream) noexcept : stream_(stream) { _lock_file(stream_); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;
    ~StreamLock() { _unlock_file(stream_); }

  private:
    std::FILE* stream_;
};

}  // namespace ZTK
