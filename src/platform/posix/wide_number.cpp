// Conversions of 16-bit wide text to numbers.
#include "platform/posix/wide_number.h"

#include <limits>

namespace ZTKPosix {

namespace {

// The white space of the "C" locale.
bool IsSpace(wchar_t c) {
    return c == L' ' || (c >= L'\t' && c <= L'\r');
}

template <typename Integer>
Integer Parse(const wchar_t* text) {
    using Limits = std::numeric_limits<Integer>;
    while (IsSpace(*text)) {
        ++text;
    }
    const bool negative = *text == L'-';
    if (negative || *text == L'+') {
        ++text;
    }
    // Counted downwards, because the range reaches one further there.
    Integer value = 0;
    for (; *text >= L'0' && *text <= L'9'; ++text) {
        const auto digit = static_cast<Integer>(*text - L'0');
        if (value < (Limits::min() + digit) / 10) {
            return negative ? Limits::min() : Limits::max();
        }
        value = static_cast<Integer>(value * 10 - digit);
    }
    if (negative) {
        return value;
    }
    return value == Limits::min() ? Limits::max() : static_cast<Integer>(-value);
}

}  // namespace

int _wtoi(const wchar_t* text) noexcept {
    return Parse<int>(text);
}

long _wtol(const wchar_t* text) noexcept {
    return Parse<long>(text);
}

}  // namespace ZTKPosix
