// Hints about the pages of large blocks on a heap.
#pragma once

#include <cstddef>

#if !defined(_WIN32)
#include "platform/posix/process/large_block.h"
#endif

namespace ZTK {

#if defined(_WIN32)
// The system has no such hint for a part of a heap.
inline void ExpectLargeBlockFilled(void*, std::size_t) noexcept {}
#else
using ZTKPosix::ExpectLargeBlockFilled;
#endif

}  // namespace ZTK
