// Length and end of a string.
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

template <class Char>
std::uint64_t LengthOf(const Char* s) noexcept {
    return strings::IsBad(s) ? 0 : strings::Length(s);
}

// Null for an empty string, too: callers take a non-null result as "there is text before it".
template <class Char>
const Char* EndOf(const Char* s) noexcept {
    return strings::IsBad(s) || *s == 0 ? nullptr : s + strings::Length(s);
}

}  // namespace

std::uint64_t StrLength(const char* s) noexcept {
    return LengthOf(s);
}
std::uint64_t StrLength(const wchar_t* s) noexcept {
    return LengthOf(s);
}
const char* EndOfString(const char* s) noexcept {
    return EndOf(s);
}
const wchar_t* EndOfString(const wchar_t* s) noexcept {
    return EndOf(s);
}

}  // namespace ZTK
