// Tests of single characters.
#pragma once

#include "platform/character_class.h"
#include "platform/runtime_text.h"
#include "ztk/strings.h"

namespace ZTK::buffer {

inline bool EqualIgnoringCase(char a, char b) noexcept {
    return _strnicmp(&a, &b, 1) == 0;
}
inline bool EqualIgnoringCase(wchar_t a, wchar_t b) noexcept {
    return _wcsnicmp(&a, &b, 1) == 0;
}

template <class Char>
int CharEqual(const Char* a, const Char* b, bool ignore_case) noexcept {
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return *a == *b || (ignore_case && EqualIgnoringCase(*a, *b)) ? 1 : 0;
}

// Bytes count as signed: from 0x80 up they are below every printable character.
inline bool IsPrintable(char c) noexcept {
    const auto value = static_cast<signed char>(c);
    return value >= ' ' && value <= '~';
}
inline bool IsPrintable(wchar_t c) noexcept {
    return iswprint(c) != 0;
}

// A byte from 0x80 up is never part of a word: alone, it is no letter of the caller's code page.
inline bool IsWordPart(char c) noexcept {
    return IsAlphaNum(c) != 0;
}
inline bool IsWordPart(wchar_t c) noexcept {
    constexpr wchar_t kFirstVisible = 33;
    return c >= kFirstVisible && iswspace(c) == 0 && iswalnum(c) != 0;
}

}  // namespace ZTK::buffer
