// The C runtime's text functions under one name for both widths, so that a rule is written once.
#pragma once

#include <cstddef>
#include <cstring>

#include "platform/runtime_text.h"

namespace ZTK::strings {

// Null, or a first element that cannot be read. Says nothing about the rest of the string.
inline bool IsBad(const char* s) noexcept {
    return IsBadStringPtrA(s, 1) != 0;
}
inline bool IsBad(const wchar_t* s) noexcept {
    return IsBadStringPtrW(s, 1) != 0;
}

// REQUIRES: s is terminated.
inline std::size_t Length(const char* s) noexcept {
    return std::strlen(s);
}
inline std::size_t Length(const wchar_t* s) noexcept {
    return wcslen(s);
}

// The first c among the first count elements of s, or null.
inline const char* FindElement(const char* s, char c, std::size_t count) noexcept {
    return static_cast<const char*>(std::memchr(s, static_cast<unsigned char>(c), count));
}
inline const wchar_t* FindElement(const wchar_t* s, wchar_t c, std::size_t count) noexcept {
    return wmemchr(s, c, count);
}

// The first match of find (find_size elements, at least one) wholly inside [s, end), or null.
template <class Char>
const Char* FindText(const Char* s, const Char* end, const Char* find,
                     std::size_t find_size) noexcept {
    while (static_cast<std::size_t>(end - s) >= find_size) {
        const auto starts = static_cast<std::size_t>(end - s) - find_size + 1;
        s = FindElement(s, find[0], starts);
        if (s == nullptr || std::memcmp(s, find, find_size * sizeof(Char)) == 0) {
            return s;
        }
        ++s;
    }
    return nullptr;
}

}  // namespace ZTK::strings
