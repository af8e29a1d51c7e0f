// The digits of numbers for the format engine: always ASCII, whatever the width of the output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/posix/text/format_spec.h"

namespace ZTKPosix::format {

// A number in its parts, in the order of the text: prefix (sign, 0x), zeros that the precision asks
// for, digits, zeros behind the last digit that a value can have, exponent.
struct NumberParts {
    std::string_view prefix;
    std::size_t zeros = 0;
    const char* digits = "";
    std::size_t digits_size = 0;
    std::size_t trailing_zeros = 0;
    const char* exponent = "";
    std::size_t exponent_size = 0;
    bool may_pad_with_zeros = false;

    bool IsPrefixAndDigits() const noexcept {
        return zeros == 0 && trailing_zeros == 0 && exponent_size == 0;
    }
};

class IntegerText {
  public:
    IntegerText(const Spec& spec, std::uint64_t magnitude, bool negative) noexcept;
    IntegerText(const IntegerText&) = delete;
    IntegerText& operator=(const IntegerText&) = delete;

    const NumberParts& parts() const noexcept { return parts_; }

  private:
    char digits_[24];  // 22 octal digits and the zero that '#' adds
    NumberParts parts_;
};

class FloatText {
  public:
    // conversion: one of e E f F g G a A.
    FloatText(const Spec& spec, double value) noexcept {
        if (!WriteQuickly(spec, value)) {
            Write(spec, "", value);
        }
    }
    FloatText(const Spec& spec, long double value) noexcept { Write(spec, "L", value); }
    FloatText(const FloatText&) = delete;
    FloatText& operator=(const FloatText&) = delete;
    ~FloatText();

    // False when there was no memory for the number.
    bool IsGood() const noexcept { return good_; }
    const NumberParts& parts() const noexcept { return parts_; }

  private:
    bool WriteQuickly(const Spec& spec, double value) noexcept;
    template <class Value>
    void Write(const Spec& spec, const char* modifier, Value value) noexcept;
    void Split(std::size_t size) noexcept;
    void AppendZeros(const Spec& spec, std::size_t count) noexcept;

    char local_[384];  // the longest double in 'f', and some places behind the point
    char* buffer_ = local_;
    bool good_ = false;
    NumberParts parts_;
};

}  // namespace ZTKPosix::format
