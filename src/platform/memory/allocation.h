// The one seam through which all memory of the library is requested. The shipped library links
// allocation.cpp; a variant for the tests links a seam that refuses the n-th request, so that every
// out-of-memory outcome can be provoked without a hook in the shipped code.
#pragma once

#include <cstddef>

namespace ZTK::allocation {

// The process heap: blocks that may cross the library's boundary. Zero-filled, also the growth.
// A failed ProcessRealloc leaves block valid.
void* ProcessAlloc(std::size_t bytes) noexcept;
void* ProcessRealloc(void* block, std::size_t bytes) noexcept;
void ProcessFree(void* block) noexcept;

// The library's private C-runtime heap: memory that never leaves its owner. Not zero-filled,
// unless asked for: then large blocks cost nothing until they are touched.
void* RuntimeAlloc(std::size_t bytes) noexcept;
void* RuntimeAllocZeroed(std::size_t bytes) noexcept;
void* RuntimeRealloc(void* block, std::size_t bytes) noexcept;
void RuntimeFree(void* block) noexcept;

// Address space for so many bytes, which holds no memory yet and must not be touched. Null if there
// is none.
void* ReserveSpace(std::size_t bytes) noexcept;

// Puts memory into the first so many bytes of the space: zeros where there was none. Any number of
// threads may do so at the same time. False if there is not enough; what was there stays.
bool FillSpace(void* space, std::size_t bytes) noexcept;

// Gives back the space and its memory. REQUIRES: bytes is what was reserved.
void FreeSpace(void* space, std::size_t bytes) noexcept;

}  // namespace ZTK::allocation
