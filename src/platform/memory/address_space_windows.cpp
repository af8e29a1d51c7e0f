#include "platform/memory/address_space.h"
#include "ztk/platform.h"

namespace ZTK::address_space {

void* Reserve(std::size_t bytes) noexcept {
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS);
}

bool Fill(void* space, std::size_t bytes) noexcept {
    return VirtualAlloc(space, bytes, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

void Free(void* space, std::size_t) noexcept {
    VirtualFree(space, 0, MEM_RELEASE);
}

}  // namespace ZTK::address_space
