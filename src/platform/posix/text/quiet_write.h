// Writing to a file that may be a pipe without a reader.
#pragma once

#include <sys/types.h>

#include <cstddef>

namespace ZTKPosix {

// Whether a write to the open file may raise SIGPIPE: it is a pipe or a socket, or its kind cannot
// be told.
bool MayRaiseSigpipe(int file) noexcept;

// As the system's write, errno included, but no SIGPIPE comes of it: the host may have left that
// signal's default in force, which ends the process. Four system calls more or less in place of
// one: for files that MayRaiseSigpipe.
ssize_t WriteWithoutSigpipe(int file, const void* bytes, std::size_t count) noexcept;

}  // namespace ZTKPosix
