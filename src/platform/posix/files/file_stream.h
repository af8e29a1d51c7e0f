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

// The same for the first of several characters: what FgetwcUnderLock would return, but a byte-order
// mark at the start of the file is passed over, as the platform's runtime does when it opens one.
//
// That concerns streams that were opened with "ccs=", and regular files. In all of those modes a
// file that holds nothing but a mark of UTF-8, UTF-16 or UTF-32 is empty; the C library would abort
// the process over it where its decoder takes the mark and finds no character behind it. Any other
// mark is one if the stream decodes it to U+FEFF. Where setvbuf has left a stream no room for more
// than a mark, a file in big-endian UTF-16 is empty, too.
//
// From a pipe or a socket a mark of UTF-16 or UTF-32 comes to the decoder together with what
// follows, or with half a character where nothing does. Where setvbuf has left no room for more
// than a mark, little-endian UTF-16 loses its mark and big-endian fails with EILSEQ. To look at
// what comes first takes descriptors: WEOF, with the stream's error set, if there are none, or if
// there is no more than a mark yet and the descriptor does not block.
//
// The C library still aborts where a read gives it bytes of which its decoder makes nothing: escape
// sequences that fill a buffer, a mark from a terminal. Modes with a state of their own, all but
// UTF-8, UTF-16 and UTF-16LE, are for text that can be trusted.
std::wint_t FgetwcPastMark(std::FILE* stream);

// REQUIRES: as above.
inline std::wint_t FgetwcFirst(std::FILE* stream) {
    // Streams of a ccs mode are wide from the start. One that has filled its buffer is past its
    // own, which costs no system call to find out. The C library has no calls that tell either.
    const bool nothing_read =
        stream->_IO_read_end == nullptr || stream->_IO_read_end == stream->_IO_buf_base;
    const bool may_start = stream->_mode > 0 && nothing_read;
    return may_start ? FgetwcPastMark(stream) : FgetwcUnderLock(stream);
}

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_fgetc_nolock;
using ZTKPosix::_filelength;
using ZTKPosix::_fileno;
using ZTKPosix::_lock_file;
using ZTKPosix::_unlock_file;
using ZTKPosix::FgetwcFirst;
using ZTKPosix::FgetwcUnderLock;
}  // namespace ZTK
