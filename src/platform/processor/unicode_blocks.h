// UTF-8 and UTF-16 converted into each other many characters at a time.
#pragma once

#include <cstddef>

namespace ZTK::unicode {

struct BlocksDone {
    std::size_t taken;
    std::size_t written;
};

// Converts whole characters from the front of [text, end), mostly all; none where the processor has
// no instructions for this. What might not fit is left to the caller. Units of the room behind the
// result may be written, too. Malformed text becomes what TakeCharacter makes of it.
BlocksDone ConvertBlocks(const char* text, const char* end, wchar_t* out,
                         const wchar_t* out_end) noexcept;
BlocksDone ConvertBlocks(const wchar_t* text, const wchar_t* end, char* out,
                         const char* out_end) noexcept;

}  // namespace ZTK::unicode
