// Hints about the pages of large blocks on a heap. Nothing happens where the system refuses them.
#pragma once

#include <cstddef>

namespace ZTKPosix {

// Asks the system to back the block by huge pages, where it is a large one. Filling it then costs
// one page fault for two megabytes instead of one for every four kilobytes, which is most of what
// filling a fresh block costs.
void ExpectLargeBlockFilled(void* block, std::size_t bytes) noexcept;

}  // namespace ZTKPosix
