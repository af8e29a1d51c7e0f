// Text on its way into a tree: from the parser's UTF-8 into 16-bit text, and what is looked for in
// it there.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ZTKPosix::dom {

// As WidenUtf8, for text of any length; faster for long text.
wchar_t* WidenLongUtf8(const char* source, std::size_t length, wchar_t* target) noexcept;

// Widens length bytes if all are ASCII. If not, false is returned, and what was written is of no
// use. Works on four bytes at a time, the last of which are those left over together with some
// before them.
inline bool WidenShortAscii(const char* source, std::size_t length, wchar_t* target) noexcept {
    std::uint32_t all = 0;
    const auto widen = [&](std::size_t at) noexcept {
        std::uint32_t bytes;
        std::memcpy(&bytes, source + at, sizeof bytes);
        all |= bytes;
        std::uint64_t units = (bytes | std::uint64_t{bytes} << 16) & 0x0000FFFF0000FFFFu;
        units = (units | units << 8) & 0x00FF00FF00FF00FFu;
        std::memcpy(target + at, &units, sizeof units);
    };
    if (length < 4) {
        for (std::size_t at = 0; at < length; ++at) {
            all |= static_cast<unsigned char>(source[at]);
            target[at] = static_cast<wchar_t>(source[at]);
        }
    } else {
        for (std::size_t at = 0; at + 4 < length; at += 4) {
            widen(at);
        }
        widen(length - 4);
    }
    return (all & 0x80808080u) == 0;
}

// Converts length bytes of well-formed UTF-8; target has room for as many units. Returns the end of
// what was written. Most values of attributes are short.
inline wchar_t* WidenUtf8(const char* source, std::size_t length, wchar_t* target) noexcept {
    constexpr std::size_t kShort = 16;
    return length < kShort && WidenShortAscii(source, length, target)
               ? target + length
               : WidenLongUtf8(source, length, target);
}

// Whether length characters of text are exactly that ASCII text.
inline bool EqualsAscii(const wchar_t* text, std::size_t length, std::string_view ascii) noexcept {
    return length == ascii.size() && std::equal(ascii.begin(), ascii.end(), text);
}

// Converts UTF-16; target has room for three bytes a unit. Moves source behind what was converted:
// to end, or before the first half of a surrogate pair there, whose second half is still to come.
// Returns the end of what was written, or null when half of a pair stands alone.
char* NarrowUtf16(const wchar_t*& source, const wchar_t* end, char* target) noexcept;

}  // namespace ZTKPosix::dom
