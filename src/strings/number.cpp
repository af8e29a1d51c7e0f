// Decimal numbers.
#include <cstdint>

#include "ztk/strings.h"

namespace ZTK {
namespace {

// Unsigned arithmetic: a number that 32 bits cannot hold wraps, which callers rely on and which
// signed arithmetic does not offer.
template <class Char>
int ToInt(const Char* s) noexcept {
    if (s == nullptr) {
        return 0;
    }
    const bool negative = *s == '-';
    if (negative || *s == '+') {
        ++s;
    }
    std::uint32_t value = 0;
    for (; IsNumeric(*s) != 0; ++s) {
        value = value * 10 + static_cast<std::uint32_t>(*s - '0');
    }
    return static_cast<int>(negative ? 0 - value : value);
}

}  // namespace

int StrToIntA(const char* s) noexcept {
    return ToInt(s);
}
int StrToIntW(const wchar_t* s) noexcept {
    return ToInt(s);
}

}  // namespace ZTK
