// The C runtime's streams by the platform's names, over the C library's.
#include "platform/posix/files/file_stream.h"

#include <sys/stat.h>

#include <limits>

namespace ZTKPosix {

int _fileno(std::FILE* stream) noexcept {
    return ::fileno(stream);
}

LONG _filelength(int file) noexcept {
    struct stat info {};
    // A pipe or a terminal has no length, and what a directory reports as its own means nothing.
    if (::fstat(file, &info) != 0 || !S_ISREG(info.st_mode) ||
        info.st_size > std::numeric_limits<LONG>::max()) {
        return -1;
    }
    return static_cast<LONG>(info.st_size);
}

void _lock_file(std::FILE* stream) noexcept {
    ::flockfile(stream);
}

void _unlock_file(std::FILE* stream) noexcept {
    ::funlockfile(stream);
}

}  // namespace ZTKPosix
