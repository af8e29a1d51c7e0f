// One conversion of a printf format: what stands between the percent sign and the conversion
// letter.
#pragma once

#include <climits>
#include <cstdint>

#include "text/ascii.h"

namespace ZTKPosix::format {

// The size modifier.
enum class Size { kDefault, kHH, kH, kL, kLL, kJ, kZ, kT, kLongDouble, kI, kI32, kI64, kW };

struct Spec {
    static constexpr int kNone = -1;

    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternate = false;
    bool zero = false;
    std::int64_t width = 0;  // 64 bits: the negated smallest int is a width, too
    int precision = kNone;
    Size size = Size::kDefault;
    char conversion = 0;
};

// Reads one Spec from a format. next_int gives the argument that a '*' stands for.
template <class Char, class NextInt>
class SpecReader {
  public:
    SpecReader(const Char* position, NextInt next_int) noexcept
        : position_(position), next_int_(next_int) {}

    // False for a number that is out of range and for a format that ends too early.
    bool Read(Spec& spec) noexcept {
        // Most conversions are one of these letters alone.
        switch (Peek()) {
            case 'd':
            case 's':
            case 'u':
            case 'x':
                spec.conversion = Peek();
                ++position_;
                return true;
            default:
                return ReadInFull(spec);
        }
    }

    // Behind the conversion letter.
    const Char* position() const noexcept { return position_; }

  private:
    bool ReadInFull(Spec& spec) noexcept {
        ReadFlags(spec);
        if (!ReadWidth(spec) || !ReadPrecision(spec)) {
            return false;
        }
        spec.size = ReadSize();
        spec.conversion = Peek();
        if (spec.conversion == 0) {
            return false;
        }
        ++position_;
        return true;
    }

    // The next character, or 0 for the terminator and for a character outside ASCII, which no
    // conversion has.
    char Peek() const noexcept {
        const auto unit = static_cast<unsigned>(*position_);
        return unit < 0x80 ? static_cast<char>(unit) : '\0';
    }

    bool Skip(char c) noexcept {
        if (Peek() != c) {
            return false;
        }
        ++position_;
        return true;
    }

    void ReadFlags(Spec& spec) noexcept {
        while (true) {
            switch (Peek()) {
                case '-':
                    spec.left = true;
                    break;
                case '+':
                    spec.plus = true;
                    break;
                case ' ':
                    spec.space = true;
                    break;
                case '#':
                    spec.alternate = true;
                    break;
                case '0':
                    spec.zero = true;
                    break;
                default:
                    return;
            }
            ++position_;
        }
    }

    bool ReadNumber(int& number) noexcept {
        std::int64_t value = 0;
        while (ZTK::ascii::IsDigit(Peek())) {
            value = value * 10 + (Peek() - '0');
            if (value > INT_MAX) {
                return false;
            }
            ++position_;
        }
        number = static_cast<int>(value);
        return true;
    }

    bool ReadWidth(Spec& spec) noexcept {
        if (Skip('*')) {
            const std::int64_t width = next_int_();
            spec.left = spec.left || width < 0;
            spec.width = width < 0 ? -width : width;
            return true;
        }
        int width = 0;
        const bool good = ReadNumber(width);
        spec.width = width;
        return good;
    }

    bool ReadPrecision(Spec& spec) noexcept {
        if (!Skip('.')) {
            return true;
        }
        if (Skip('*')) {
            const int precision = next_int_();
            spec.precision = precision < 0 ? Spec::kNone : precision;
            return true;
        }
        return ReadNumber(spec.precision);
    }

    Size ReadSize() noexcept {
        if (Skip('h')) {
            return Skip('h') ? Size::kHH : Size::kH;
        }
        if (Skip('l')) {
            return Skip('l') ? Size::kLL : Size::kL;
        }
        if (Skip('I')) {
            return ReadIntegerBits();
        }
        return Skip('j')   ? Size::kJ
               : Skip('z') ? Size::kZ
               : Skip('t') ? Size::kT
               : Skip('L') ? Size::kLongDouble
               : Skip('w') ? Size::kW
                           : Size::kDefault;
    }

    // I, I32 or I64.
    Size ReadIntegerBits() noexcept {
        if (position_[0] == '3' && position_[1] == '2') {
            position_ += 2;
            return Size::kI32;
        }
        if (position_[0] == '6' && position_[1] == '4') {
            position_ += 2;
            return Size::kI64;
        }
        return Size::kI;
    }

    const Char* position_;
    NextInt next_int_;
};

}  // namespace ZTKPosix::format
