// Text on its way into a tree: from the parser's UTF-8 into 16-bit text, and what is looked for in
// it there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace ZTKPosix::dom {

// Converts length bytes of well-formed UTF-8; target has room for as many units. Returns the end of
// what was written.
wchar_t* WidenUtf8(const char* source, std::size_t length, wchar_t* target) noexcept;

// Whether length characters of text are exactly that ASCII text.
inline bool EqualsAscii(const wchar_t* text, std::size_t length, std::string_view ascii) noexcept {
    return length == ascii.size() && std::equal(ascii.begin(), ascii.end(), text);
}

// Converts UTF-16; target has room for three bytes a unit. Moves source behind what was converted:
// to end, or before the first half of a surrogate pair there, whose second half is still to come.
// Returns the end of what was written, or null when half of a pair stands alone.
char* NarrowUtf16(const wchar_t*& source, const wchar_t* end, char* target) noexcept;

}  // namespace ZTKPosix::dom
