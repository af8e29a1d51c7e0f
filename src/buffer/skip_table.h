// The table of moves of a search term: how far a search goes on from an alignment, by the character
// of the text under the term's last one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "text/ascii.h"

namespace ZTK::buffer {

// The index of a character's entry. A byte and its negative share one, which makes some moves
// shorter than they could be, never longer.
inline std::uint16_t SkipKey(char c) noexcept {
    const int value = static_cast<signed char>(c);
    return static_cast<std::uint16_t>(value < 0 ? -value : value);
}
inline std::uint16_t SkipKey(wchar_t c) noexcept {
    return static_cast<std::uint16_t>(c);
}

// The largest value of a term's character that the table has to reach. In a folded narrow table a
// byte from 0x80 up counts as a negative number made unsigned: such a table has some 65,400
// entries.
inline std::uint16_t FoldedReach(char c) noexcept {
    const auto up = static_cast<signed char>(ascii::ToUpper(c));
    const auto low = static_cast<signed char>(ascii::ToLower(c));
    return static_cast<std::uint16_t>(std::max(up, low));
}
inline std::uint16_t FoldedReach(wchar_t c) noexcept {
    return static_cast<std::uint16_t>(std::max(ascii::ToUpper(c), ascii::ToLower(c)));
}

// The number of entries of a term's table: 0 if the term has a character whose reach is 0xFFFF,
// because the number wraps. Every move is then by the whole term.
template <class T>
std::uint16_t SkipTableSize(const T* term, std::size_t length, bool fold) noexcept {
    std::uint16_t reach = 0;
    for (std::size_t i = 0; i < length; ++i) {
        reach = std::max(reach, fold ? FoldedReach(term[i]) : SkipKey(term[i]));
    }
    return static_cast<std::uint16_t>(reach + 1);
}

// Fills the table. Each key of the term gets the distance from its last place to the term's end,
// all others the term's length; in 16 bits, so in a term of 65,536 characters and more distances
// wrap. The last character's key gets 1: an earlier place of it counts for nothing.
template <class T>
void FillSkipTable(std::uint16_t* table, std::uint16_t size, const T* term, std::size_t length,
                   bool fold) noexcept {
    std::fill_n(table, size, static_cast<std::uint16_t>(length));
    const auto put = [&](T c, auto value) {
        if (SkipKey(c) < size) {
            table[SkipKey(c)] = value(table[SkipKey(c)]);
        }
    };
    const auto put_cases = [&](T c, auto value) {
        put(fold ? ascii::ToUpper(c) : c, value);
        put(fold ? ascii::ToLower(c) : c, value);
    };
    for (std::size_t i = length; i-- > 0;) {
        const auto distance = static_cast<std::uint16_t>(length - 1 - i);
        put_cases(term[i], [&](std::uint16_t old) { return std::min(old, distance); });
    }
    if (length > 0) {
        put_cases(term[length - 1], [](std::uint16_t) { return std::uint16_t{1}; });
    }
}

}  // namespace ZTK::buffer
