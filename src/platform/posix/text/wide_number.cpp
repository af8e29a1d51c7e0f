// Conversions of 16-bit wide text to numbers.
#include "platform/posix/text/wide_number.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

#include "text/ascii.h"

namespace ZTKPosix {

namespace {

bool IsSpace(wchar_t c) {
    constexpr wchar_t kOthers[] = {L'\x00A0', L'\x1680', L'\x2028', L'\x2029',
                                   L'\x202F', L'\x205F', L'\x3000'};
    return ZTK::ascii::IsRuntimeSpace(c) || (c >= L'\x2000' && c <= L'\x200A') ||
           std::find(std::begin(kOthers), std::end(kOthers), c) != std::end(kOthers);
}

// The value of a decimal digit, or -1.
int DigitValue(wchar_t c) {
    // Where ten of them begin: Arabic, Devanagari, ... and the full-width ones.
    constexpr wchar_t kZeros[] = {L'\x0660', L'\x06F0', L'\x0966', L'\x09E6', L'\x0A66', L'\x0AE6',
                                  L'\x0B66', L'\x0C66', L'\x0CE6', L'\x0D66', L'\x0E50', L'\x0ED0',
                                  L'\x0F20', L'\x1040', L'\x17E0', L'\x1810', L'\xFF10'};
    if (c < 0x80) {
        return ZTK::ascii::IsDigit(c) ? c - L'0' : -1;
    }
    const auto* const zero = std::find_if(std::begin(kZeros), std::end(kZeros),
                                          [c](wchar_t z) { return c >= z && c - z <= 9; });
    return zero != std::end(kZeros) ? c - *zero : -1;
}

std::int32_t Parse(const wchar_t* text) {
    using Limits = std::numeric_limits<std::int32_t>;
    while (IsSpace(*text)) {
        ++text;
    }
    const bool negative = *text == L'-';
    if (negative || *text == L'+') {
        ++text;
    }
    // Cannot overflow: the loop ends at the first digit that takes the value out of 32 bits.
    std::int64_t value = 0;
    for (int digit = 0; (digit = DigitValue(*text)) >= 0; ++text) {
        value = value * 10 + (negative ? -digit : digit);
        if (value < Limits::min() || value > Limits::max()) {
            return negative ? Limits::min() : Limits::max();
        }
    }
    return static_cast<std::int32_t>(value);
}

}  // namespace

int _wtoi(const wchar_t* text) noexcept {
    return Parse(text);
}

LONG _wtol(const wchar_t* text) noexcept {
    return Parse(text);
}

}  // namespace ZTKPosix
