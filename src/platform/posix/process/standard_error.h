// Standard error, as a last resort for messages to whoever watches the process.
#pragma once

#include <cstddef>

namespace ZTKPosix {

// Writes the bytes, in one piece where the system takes them so. What it does not take is lost:
// standard error is closed, full or without a reader, and there is nowhere else to show them.
void WriteStandardError(const char* bytes, std::size_t count) noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::WriteStandardError;
}  // namespace ZTK
