#include "platform/memory/allocation.h"

#include <cstdlib>

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
    return std::calloc(1, bytes);
}

void* RuntimeRealloc(void* block, std::size_t bytes) noexcept {
    return std::realloc(block, bytes);
}

void RuntimeFree(void* block) noexcept {
    std::free(block);
}

}  // namespace ZTK::allocation
