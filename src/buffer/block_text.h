// A block of characters as read from a stream, made into text as a buffer stores it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

// How many lines a text of total characters may have that begins with this block of kept ones; 0
// when the block is all of it. A little above what the block suggests, but never a line for less
// than kShortLine characters: room for so many lines could be many times that of the text.
template <class T>
int ExpectedLines(const T* block, std::int64_t kept, std::int64_t total) noexcept {
    constexpr std::int64_t kShortLine = 32;
    if (kept >= total) {
        return 0;
    }
    const std::int64_t ends =
        std::count_if(block, block + kept, [](T c) { return c == '\n' || c == 0; });
    return static_cast<int>(std::min(ends * total / kept * 17 / 16, total / kShortLine));
}

}  // namespace ZTK::buffer
