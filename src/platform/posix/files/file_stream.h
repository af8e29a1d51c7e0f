// The C runtime's streams by the platform's names, over the C library's.
#pragma once

#include <cstdio>
#include <cwchar>

#include "ztk/platform.h"

namespace ZTKPosix {

// stream is open for all of these; the last error stays as it was.

// The descriptor behind a stream; -1, with errno EBADF, for a stream that has none.
int _fileno(std::FILE* stream) noexcept;

// The size in bytes of the regular file behind a descriptor; -1 for any other descriptor, an
// invalid one too, and for a file of 2 GiB or more.
LONG _filelength(int file) noexcept;

// Take and release the stream's lock, which is recursive. Waits for other threads without end.
void _lock_file(std::FILE* stream) noexcept;
void _unlock_file(std::FILE* stream) noexcept;

// fgetc: the next byte, or EOF. REQUIRES: the caller holds the stream's lock.
inline int _fgetc_nolock(std::FILE* stream) {
    return getc_unlocked(stream);  // NOLINT(concurrency-mt-unsafe): under the lock
}

// fgetwc, without its taking the stream's lock again, which costs more than the character itself:
// the next character, or WEOF at the end and for bytes that do not decode (errno EILSEQ).
// REQUIRES: the caller holds the stream's lock.
inline std::wint_t FgetwcUnderLock(std::FILE* stream) {
    return ::fgetwc_unlocked(stream);
}

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_fgetc_nolock;
using ZTKPosix::_filelength;
using ZTKPosix::_fileno;
using ZTKPosix::_lock_file;
using ZTKPosix::_unlock_file;
using ZTKPosix::FgetwcUnderLock;
}  // namespace ZTK
