// A block of characters as read from a stream, made into text as a buffer stores it.
#pragma once

#include <cstddef>
#include <cstring>

#include "strings/runtime_overloads.h"

namespace ZTK::buffer {

// Large enough that a block's fixed costs do not count, small enough for the stack and the cache.
inline constexpr std::size_t kBlockBytes = 65536;

// Closes the gaps that carriage returns leave; returns the new count.
template <class T>
std::size_t DropReturns(T* block, std::size_t count) noexcept {
    const T* const end = block + count;
    const T* found = strings::FindElement(block, T{'\r'}, count);
    if (found == nullptr) {
        return count;
    }
    T* out = block + (found - block);
    while (found != nullptr) {
        const T* const piece = found + 1;
        found = strings::FindElement(piece, T{'\r'}, static_cast<std::size_t>(end - piece));
        const auto length = static_cast<std::size_t>((found == nullptr ? end : found) - piece);
        std::memmove(out, piece, length * sizeof(T));
        out += length;
    }
    return static_cast<std::size_t>(out - block);
}

}  // namespace ZTK::buffer
