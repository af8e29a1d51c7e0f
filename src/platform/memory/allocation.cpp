#include "platform/memory/allocation.h"

#include <cstdlib>

#include "platform/memory/address_space.h"
#include "platform/memory/zeroed_block.h"
#include "ztk/platform.h"

namespace ZTK::allocation {

void* ProcessAlloc(std::size_t bytes) noexcept {
    return HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, bytes);
}

void* ProcessRealloc(void* block, std::size_t bytes) noexcept {
    return HeapReAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, block, bytes);
}

void ProcessFree(void* block) noexcept {
    HeapFree(GetProcessHeap(), 0, block);
}

void* RuntimeAlloc(std::size_t bytes) noexcept {
    return std::malloc(bytes);
}

void* RuntimeAllocZeroed(std::size_t bytes) noexcept {
    return ZeroedBlock(bytes);
}

void* RuntimeRealloc(void* block, std::size_t bytes) noexcept {
    return std::realloc(block, bytes);
}

void RuntimeFree(void* block) noexcept {
    std::free(block);
}

void* ReserveSpace(std::size_t bytes) noexcept {
    return address_space::Reserve(bytes);
}

bool FillSpace(void* space, std::size_t bytes) noexcept {
    return address_space::Fill(space, bytes);
}

void FreeSpace(void* space, std::size_t bytes) noexcept {
    address_space::Free(space, bytes);
}

}  // namespace ZTK::allocation
