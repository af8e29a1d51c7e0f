// Address space that is filled with memory by and by, straight from the system. For the allocation
// seam only.
#pragma once

#include <cstddef>

namespace ZTK::address_space {

// See the functions of like names in allocation.h.
void* Reserve(std::size_t bytes) noexcept;
bool Fill(void* space, std::size_t bytes) noexcept;
void Free(void* space, std::size_t bytes) noexcept;

}  // namespace ZTK::address_space
