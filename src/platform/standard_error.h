// Standard error, for a message to whoever watches the process: WriteStandardError(bytes, count).
// What cannot be written is lost, without a signal.
#pragma once

#if defined(_WIN32)
#include <cstddef>
#include <cstdio>
namespace ZTK {
inline void WriteStandardError(const char* bytes, std::size_t count) noexcept {
    (void)std::fwrite(bytes, 1, count, stderr);  // there is nowhere else to show it
}
}  // namespace ZTK
#else
#include "platform/posix/process/standard_error.h"
#endif
