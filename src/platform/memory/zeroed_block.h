// A block of the C library's heap that is filled with zeros.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace ZTK::allocation {

// As calloc of one element. The C library keeps small blocks at hand for the thread that frees
// them, and does not look there when it is asked for zeros.
inline void* ZeroedBlock(std::size_t bytes) noexcept {
    constexpr std::size_t kSmall = 1024;
    if (bytes > kSmall) {
        return std::calloc(1, bytes);
    }
    void* const block = std::malloc(bytes);
    // Otherwise the compiler makes the two calls one of calloc.
    asm volatile("" : : "r"(block) : "memory");
    return block != nullptr ? std::memset(block, 0, bytes) : nullptr;
}

}  // namespace ZTK::allocation
