// Decimal numbers.
#include <cstdint>

#include "ztk/strings.h"

namespace ZTK {
namespace {

// Unsigned throughout: the value wraps at 32 bits without a sound, and the sign wraps with it.
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
