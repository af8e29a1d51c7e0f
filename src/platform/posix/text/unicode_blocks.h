// UTF-8 and UTF-16 converted into each other many characters at a time.
#pragma once

#include <cstddef>

namespace ZTKPosix {

// Source that a block has, and room that it needs.
template <class Source>
inline constexpr std::ptrdiff_t kBlock = sizeof(Source) == 1 ? 64 : 16;
inline constexpr std::ptrdiff_t kBlockRoom = 64;

struct BlocksDone {
    std::size_t taken;
    std::size_t written;
};

// Converts whole characters from the front of [text, end), mostly all; none where the processor has
// no instructions for this. The rest is the caller's: what might not fit, and a few characters at
// the end. Units of the room behind the result may be written, too. Malformed text becomes what
// TakeCharacter makes of it. REQUIRES: a block of text, and room for it.
BlocksDone ConvertBlocks(const char* text, const char* end, wchar_t* out,
                         const wchar_t* out_end) noexcept;
BlocksDone ConvertBlocks(const wchar_t* text, const wchar_t* end, char* out,
                         const char* out_end) noexcept;

}  // namespace ZTKPosix
