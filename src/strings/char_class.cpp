// Character classes.
#include <cctype>

#include "ztk/strings.h"

namespace ZTK {
namespace {

// 1 to 127. Bytes from 0x80 up are part of longer characters in most code pages, and never letters
// or digits by themselves.
bool IsInClassRange(char c) {
    return static_cast<signed char>(c) >= 1;
}
bool IsInClassRange(wchar_t c) {
    return c >= 1 && c <= 127;
}

// Callers test these only for zero; the runtime's own value is returned.
template <class Char>
unsigned int Alpha(Char c) {
    return IsInClassRange(c) ? static_cast<unsigned int>(std::isalpha(c)) : 0;
}

template <class Char>
unsigned int Numeric(Char c) {
    return IsInClassRange(c) ? static_cast<unsigned int>(std::isdigit(c)) : 0;
}

template <class Char>
unsigned int AlphaNum(Char c) {
    return Alpha(c) != 0 || Numeric(c) != 0 ? 1 : 0;
}

}  // namespace

unsigned int IsAlpha(char c) noexcept {
    return Alpha(c);
}
unsigned int IsAlpha(wchar_t c) noexcept {
    return Alpha(c);
}
unsigned int IsNumeric(char c) noexcept {
    return Numeric(c);
}
unsigned int IsNumeric(wchar_t c) noexcept {
    return Numeric(c);
}
unsigned int IsAlphaNum(char c) noexcept {
    return AlphaNum(c);
}
unsigned int IsAlphaNum(wchar_t c) noexcept {
    return AlphaNum(c);
}

}  // namespace ZTK
