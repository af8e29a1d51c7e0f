#include <sys/mman.h>

#include "platform/memory/address_space.h"

namespace ZTK::address_space {

void* Reserve(std::size_t bytes) noexcept {
    // Without access, so that the system does not count it as memory that is in use.
    void* const space =
        ::mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return space == MAP_FAILED ? nullptr : space;
}

bool Fill(void* space, std::size_t bytes) noexcept {
    return ::mprotect(space, bytes, PROT_READ | PROT_WRITE) == 0;
}

void Free(void* space, std::size_t bytes) noexcept {
    ::munmap(space, bytes);
}

}  // namespace ZTK::address_space
