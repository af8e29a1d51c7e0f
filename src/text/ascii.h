// What is the same for ASCII in every encoding, locale and width of characters: digits, the case of
// letters, white space. A character outside ASCII is no digit, letter or white space here, and has
// no case. Nothing asks the C runtime, which would look at the locale for every character.
//
// Char is char, signed or not, or a type of 16-bit characters.
#pragma once

#include <array>
#include <cstddef>

namespace ZTK::ascii {

template <class Char>
constexpr bool IsDigit(Char c) noexcept {
    return c >= '0' && c <= '9';
}

template <class Char>
constexpr bool IsUpper(Char c) noexcept {
    return c >= 'A' && c <= 'Z';
}

template <class Char>
constexpr bool IsLower(Char c) noexcept {
    return c >= 'a' && c <= 'z';
}

template <class Char>
constexpr bool IsLetterOrDigit(Char c) noexcept {
    return IsUpper(c) || IsLower(c) || IsDigit(c);
}

// --- White space. Two sets, which are not exchangeable.

// XML's: blank, tab, line feed, carriage return.
template <class Char>
constexpr bool IsXmlSpace(Char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// That of the C runtime's isspace in the "C" locale: vertical tab and form feed, too.
template <class Char>
constexpr bool IsRuntimeSpace(Char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// --- Case.

inline constexpr int kCaseDistance = 'a' - 'A';

// By byte. Bytes are looked up where text is compared: the values depend on the text, and a branch
// would often be predicted wrong.
inline constexpr auto kLowerBytes = [] {
    std::array<char, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = static_cast<char>(i >= 'A' && i <= 'Z' ? i + kCaseDistance : i);
    }
    return table;
}();

constexpr char ToLower(char c) noexcept {
    return kLowerBytes[static_cast<unsigned char>(c)];
}
constexpr wchar_t ToLower(wchar_t c) noexcept {
    return static_cast<wchar_t>(c | (IsUpper(c) ? kCaseDistance : 0));
}

template <class Char>
constexpr Char ToUpper(Char c) noexcept {
    return IsLower(c) ? static_cast<Char>(c - kCaseDistance) : c;
}

// --- Hexadecimal digits.

inline constexpr char kUpperHexDigits[] = "0123456789ABCDEF";
inline constexpr char kLowerHexDigits[] = "0123456789abcdef";

// 0 to 15 for a digit in either case, otherwise -1.
template <class Char>
constexpr int HexDigitValue(Char c) noexcept {
    if (IsDigit(c)) {
        return c - '0';
    }
    const int letter = c | kCaseDistance;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

}  // namespace ZTK::ascii
