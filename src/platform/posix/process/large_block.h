// A hint for fresh blocks of many megabytes that are about to be filled.
#pragma once

#include <cstddef>

namespace ZTKPosix {

// Asks the system to back the block by huge pages, where it is a large one. Filling it then costs
// one page fault for two megabytes instead of one for every four kilobytes, which is most of what
// filling a fresh block costs. Only a hint: nothing happens where the system does not offer it.
void ExpectLargeBlockFilled(void* block, std::size_t bytes) noexcept;

}  // namespace ZTKPosix
