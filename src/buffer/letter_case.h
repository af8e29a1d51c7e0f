// The case of letters in the "C" locale: ASCII letters have one, and nothing else does. No call of
// the C runtime, which would ask for the locale at every character.
#pragma once

#include <array>
#include <cstddef>

namespace ZTK::buffer {

inline constexpr auto kLowerBytes = [] {
    std::array<char, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = static_cast<char>(i >= 'A' && i <= 'Z' ? i + ('a' - 'A') : i);
    }
    return table;
}();

constexpr char ToLower(char c) noexcept {
    return kLowerBytes[static_cast<unsigned char>(c)];
}
constexpr wchar_t ToLower(wchar_t c) noexcept {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c;
}

template <class T>
constexpr T ToUpper(T c) noexcept {
    return c >= 'a' && c <= 'z' ? static_cast<T>(c - ('a' - 'A')) : c;
}

// Whether two characters count as the same in a search.
template <bool kIgnoreCase, class T>
constexpr bool IsSame(T a, T b) noexcept {
    return a == b || (kIgnoreCase && ToLower(a) == ToLower(b));
}

}  // namespace ZTK::buffer
