// The digits of numbers for the format engine.
#include "platform/posix/text/format_number.h"

#include <algorithm>
#include <cfenv>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <system_error>

#include "platform/memory/allocation.h"
#include "text/ascii.h"

namespace ZTKPosix::format {
namespace {

// "00" to "99", so that a division yields two digits.
constexpr auto kPairs = [] {
    struct Table {
        char text[200];
    } table{};
    for (int i = 0; i < 100; ++i) {
        table.text[2 * i] = static_cast<char>('0' + i / 10);
        table.text[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return table;
}();

// These write backwards from end and return the first digit; 0 has no digits.
char* WriteDecimal(char* end, std::uint64_t value) noexcept {
    while (value >= 100) {
        end -= 2;
        std::memcpy(end, kPairs.text + 2 * (value % 100), 2);
        value /= 100;
    }
    if (value >= 10) {
        end -= 2;
        std::memcpy(end, kPairs.text + 2 * value, 2);
    } else if (value > 0) {
        *--end = static_cast<char>('0' + value);
    }
    return end;
}

char* WriteBits(char* end, std::uint64_t value, unsigned bits, const char* digits) noexcept {
    for (; value != 0; value >>= bits) {
        *--end = digits[value & ((1u << bits) - 1)];
    }
    return end;
}

std::string_view SignPrefix(const Spec& spec, bool negative) noexcept {
    return negative ? "-" : spec.plus ? "+" : spec.space ? " " : "";
}

}  // namespace

IntegerText::IntegerText(const Spec& spec, std::uint64_t magnitude, bool negative) noexcept {
    char* const end = digits_ + sizeof digits_;
    char* first = end;
    switch (spec.conversion) {
        case 'o':
            first = WriteBits(end, magnitude, 3, ZTK::ascii::kLowerHexDigits);
            break;
        case 'x':
            first = WriteBits(end, magnitude, 4, ZTK::ascii::kLowerHexDigits);
            parts_.prefix = spec.alternate && magnitude != 0 ? "0x" : "";
            break;
        case 'X':
            first = WriteBits(end, magnitude, 4, ZTK::ascii::kUpperHexDigits);
            parts_.prefix = spec.alternate && magnitude != 0 ? "0X" : "";
            break;
        case 'u':
            first = WriteDecimal(end, magnitude);
            break;
        default:
            first = WriteDecimal(end, magnitude);
            parts_.prefix = SignPrefix(spec, negative);
            break;
    }
    const auto written = static_cast<std::size_t>(end - first);
    // Without a precision a number has at least one digit; an octal one with '#' starts with 0.
    std::size_t least =
        spec.precision == Spec::kNone ? 1 : static_cast<std::size_t>(spec.precision);
    if (spec.conversion == 'o' && spec.alternate && least <= written) {
        least = written + 1;
    }
    parts_.zeros = least > written ? least - written : 0;
    parts_.digits = first;
    parts_.digits_size = written;
    parts_.may_pad_with_zeros = spec.precision == Spec::kNone;
}

// Common numbers without the C library, which would have to read a format that is made for it, heed
// a locale, and have its text taken apart. False for what only the C library has: '#', the letter
// a, infinity and NaN, a rounding that the host has set; and for a number longer than local_.
bool FloatText::WriteQuickly(const Spec& spec, double value) noexcept {
    const char letter = static_cast<char>(spec.conversion | 0x20);
    if (letter == 'a' || spec.alternate || !std::isfinite(value) ||
        std::fegetround() != FE_TONEAREST) {
        return false;
    }
    constexpr int kDefaultPrecision = 6;
    const int precision = spec.precision == Spec::kNone ? kDefaultPrecision : spec.precision;
    if (static_cast<std::size_t>(precision) > sizeof local_) {
        return false;
    }
    const auto style = letter == 'f'   ? std::chars_format::fixed
                       : letter == 'e' ? std::chars_format::scientific
                                       : std::chars_format::general;
    const auto [end, error] =
        std::to_chars(local_, local_ + sizeof local_, std::fabs(value), style, precision);
    if (error != std::errc()) {
        return false;
    }
    if (spec.conversion == 'E' || spec.conversion == 'G') {
        std::replace(local_, end, 'e', 'E');
    }
    good_ = true;
    parts_.prefix = SignPrefix(spec, std::signbit(value));
    parts_.digits = local_;
    parts_.digits_size = static_cast<std::size_t>(end - local_);
    parts_.may_pad_with_zeros = true;
    return true;
}

// The digits behind the point of the smallest value above 0, which has the most of all: each bit
// there takes one. No value has as many significant digits, nor digits before the point.
template <class Value>
constexpr int kMostDigits =
    std::numeric_limits<Value>::digits - std::numeric_limits<Value>::min_exponent;

// The C library does the conversion itself; width and padding are left to the engine, and so are
// the zeros behind the last digit: a precision may ask for more of them than there is memory for.
template <class Value>
void FloatText::Write(const Spec& spec, const char* modifier, Value value) noexcept {
    char format[16];
    std::snprintf(format, sizeof format, "%%%s%s%s%s%s%c", spec.plus ? "+" : "",
                  spec.space ? " " : "", spec.alternate ? "#" : "",
                  spec.precision == Spec::kNone ? "" : ".*", modifier, spec.conversion);
    const int precision = std::min(spec.precision, kMostDigits<Value>);
    const auto print = [&](char* buffer, std::size_t room) {
        return spec.precision == Spec::kNone
                   ? std::snprintf(buffer, room, format, value)
                   : std::snprintf(buffer, room, format, precision, value);
    };
    const int size = print(local_, sizeof local_);
    if (size < 0) {
        return;
    }
    const std::size_t room = static_cast<std::size_t>(size) + 1;
    if (room > sizeof local_) {
        buffer_ = static_cast<char*>(ZTK::allocation::RuntimeAlloc(room));
        if (buffer_ == nullptr || print(buffer_, room) != size) {
            return;
        }
    }
    good_ = true;
    Split(static_cast<std::size_t>(size));
    AppendZeros(spec, static_cast<std::size_t>(spec.precision - precision));
}

template void FloatText::Write(const Spec&, const char*, double) noexcept;
template void FloatText::Write(const Spec&, const char*, long double) noexcept;

// Finds the parts of what the C library wrote, and puts a point where a host's locale has something
// else: the runtime that this engine stands for always works in the "C" locale.
void FloatText::Split(std::size_t size) noexcept {
    std::size_t prefix = 0;
    if (buffer_[0] == '-' || buffer_[0] == '+' || buffer_[0] == ' ') {
        prefix = 1;
    }
    const bool is_number = ZTK::ascii::IsDigit(buffer_[prefix]);
    if (is_number && buffer_[prefix] == '0' && (buffer_[prefix + 1] | 0x20) == 'x') {
        prefix += 2;
    }

    std::size_t kept = prefix;
    for (std::size_t i = prefix; i < size; ++i) {
        const char c = buffer_[i];
        if (ZTK::ascii::IsLetterOrDigit(c) || c == '+' || c == '-') {
            buffer_[kept++] = c;
        } else if (kept == prefix || buffer_[kept - 1] != '.') {
            buffer_[kept++] = '.';
        }
    }
    parts_.prefix = {buffer_, prefix};
    parts_.digits = buffer_ + prefix;
    parts_.digits_size = kept - prefix;
    parts_.may_pad_with_zeros = is_number;
}

void FloatText::AppendZeros(const Spec& spec, std::size_t count) noexcept {
    const char letter = static_cast<char>(spec.conversion | 0x20);
    const bool drops_zeros = letter == 'g' && !spec.alternate;
    if (count == 0 || drops_zeros || !parts_.may_pad_with_zeros) {
        return;
    }
    const char* const end = parts_.digits + parts_.digits_size;
    const char mark = letter == 'a' ? 'p' : 'e';
    const char* const exponent =
        letter == 'f'
            ? end
            : std::find_if(parts_.digits, end, [mark](char c) { return (c | 0x20) == mark; });
    parts_.trailing_zeros = count;
    parts_.exponent = exponent;
    parts_.exponent_size = static_cast<std::size_t>(end - exponent);
    parts_.digits_size -= parts_.exponent_size;
}

FloatText::~FloatText() {
    if (buffer_ != local_) {
        ZTK::allocation::RuntimeFree(buffer_);
    }
}

}  // namespace ZTKPosix::format
