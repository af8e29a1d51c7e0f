// The printf engine: one core for narrow and wide formats, for counting and for writing.
#include "platform/posix/text/format_engine.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "platform/posix/text/format_number.h"
#include "platform/posix/text/format_sink.h"
#include "platform/posix/text/format_spec.h"
#include "platform/posix/text/runtime_text.h"
#include "platform/posix/text/unicode.h"

namespace ZTKPosix::format {
namespace {

constexpr std::uint64_t kUnbounded = std::numeric_limits<std::uint64_t>::max();

std::size_t BoundedLength(const char* text, std::size_t limit) noexcept {
    return strnlen(text, limit);
}
std::size_t BoundedLength(const wchar_t* text, std::size_t limit) noexcept {
    return wcsnlen(text, limit);
}

// Whether a text or character argument is wide: s and c are of the format's own width, S and C of
// the other, and h, l and w overrule both.
template <class Char>
bool IsWideArgument(const Spec& spec) noexcept {
    switch (spec.size) {
        case Size::kDefault: {
            const bool other_width = spec.conversion == 'S' || spec.conversion == 'C';
            return std::is_same_v<Char, wchar_t> != other_width;
        }
        case Size::kL:
        case Size::kW:
            return true;
        default:
            return false;
    }
}

bool IsTextSize(Size size) noexcept {
    return size == Size::kDefault || size == Size::kH || size == Size::kHH || size == Size::kL ||
           size == Size::kW;
}

// One run over a format and its arguments.
template <class Char>
class Run {
  public:
    Run(Sink<Char>& sink, std::va_list arguments) noexcept : sink_(sink) {
        va_copy(arguments_, arguments);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() { va_end(arguments_); }

    // False for a malformed format and for a text that grows beyond INT_MAX.
    bool Write(const Char* format) noexcept {
        while (true) {
            const Char* const literal = format;
            while (*format != 0 && *format != '%') {
                ++format;
            }
            sink_.Append(literal, static_cast<std::size_t>(format - literal));
            if (*format == 0) {
                return sink_.length() <= INT_MAX;
            }
            if (!WriteConversion(++format) || sink_.length() > INT_MAX) {
                return false;
            }
        }
    }

  private:
    bool WriteConversion(const Char*& format) noexcept {
        Spec spec;
        SpecReader reader(format, [this]() noexcept { return va_arg(arguments_, int); });
        if (!reader.Read(spec)) {
            return false;
        }
        format = reader.position();
        switch (spec.conversion) {
            case 'd':
            case 'i':
                return WriteSigned(spec);
            case 'o':
            case 'u':
            case 'x':
            case 'X':
                return WriteUnsigned(spec);
            case 'c':
            case 'C':
                return WriteCharacter(spec);
            case 's':
            case 'S':
                return WriteTextArgument(spec);
            case 'p':
                return WritePointer(spec);
            case 'e':
            case 'E':
            case 'f':
            case 'F':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                return WriteFloat(spec);
            case '%':
                sink_.Fill('%', 1);
                return true;
            default:
                // Unknown letters, and %n: a format never writes through its arguments.
                return false;
        }
    }

    bool WriteSigned(const Spec& spec) noexcept {
        std::uint64_t bits = 0;
        if (!TakeInteger<int>(spec.size, bits)) {
            return false;
        }
        const bool negative = static_cast<std::int64_t>(bits) < 0;
        WriteNumber(spec, IntegerText(spec, negative ? 0 - bits : bits, negative).parts());
        return true;
    }

    bool WriteUnsigned(const Spec& spec) noexcept {
        std::uint64_t bits = 0;
        if (!TakeInteger<unsigned>(spec.size, bits)) {
            return false;
        }
        WriteNumber(spec, IntegerText(spec, bits, false).parts());
        return true;
    }

    // Takes an integer argument, signed or not as Int is, and extends it to 64 bits. False for a
    // size that integers do not have. l is the target's own long, which has 64 bits here and 32 on
    // Windows.
    template <class Int>
    bool TakeInteger(Size size, std::uint64_t& bits) noexcept {
        constexpr bool kIsSigned = std::is_signed_v<Int>;
        using Char8 = std::conditional_t<kIsSigned, signed char, unsigned char>;
        using Short = std::conditional_t<kIsSigned, short, unsigned short>;
        using Long = std::conditional_t<kIsSigned, long, unsigned long>;
        using LongLong = std::conditional_t<kIsSigned, long long, unsigned long long>;
        using Widest = std::conditional_t<kIsSigned, std::intmax_t, std::uintmax_t>;
        using Pointer = std::conditional_t<kIsSigned, std::ptrdiff_t, std::size_t>;
        switch (size) {
            case Size::kDefault:
            case Size::kI32:
                bits = static_cast<std::uint64_t>(va_arg(arguments_, Int));
                return true;
            case Size::kHH:
                bits = static_cast<std::uint64_t>(static_cast<Char8>(va_arg(arguments_, Int)));
                return true;
            case Size::kH:
                bits = static_cast<std::uint64_t>(static_cast<Short>(va_arg(arguments_, Int)));
                return true;
            case Size::kL:
                bits = static_cast<std::uint64_t>(va_arg(arguments_, Long));
                return true;
            case Size::kLL:
            case Size::kI64:
                bits = static_cast<std::uint64_t>(va_arg(arguments_, LongLong));
                return true;
            case Size::kJ:
                bits = static_cast<std::uint64_t>(va_arg(arguments_, Widest));
                return true;
            case Size::kZ:
            case Size::kT:
            case Size::kI:
                bits = static_cast<std::uint64_t>(va_arg(arguments_, Pointer));
                return true;
            case Size::kLongDouble:
            case Size::kW:
                break;
        }
        return false;
    }

    // All digits of the address in upper-case hex, without a prefix.
    bool WritePointer(Spec spec) noexcept {
        const auto address = reinterpret_cast<std::uintptr_t>(va_arg(arguments_, void*));
        spec.conversion = 'X';
        spec.alternate = false;
        spec.precision = 2 * sizeof address;
        WriteNumber(spec, IntegerText(spec, address, false).parts());
        return true;
    }

    bool WriteFloat(const Spec& spec) noexcept {
        if (spec.size == Size::kLongDouble) {
            return WriteFloatText(spec, FloatText(spec, va_arg(arguments_, long double)));
        }
        return (spec.size == Size::kDefault || spec.size == Size::kL) &&
               WriteFloatText(spec, FloatText(spec, va_arg(arguments_, double)));
    }

    bool WriteFloatText(const Spec& spec, const FloatText& number) noexcept {
        if (number.IsGood()) {
            WriteNumber(spec, number.parts());
        }
        return number.IsGood();
    }

    void WriteNumber(const Spec& spec, const NumberParts& number) noexcept {
        if (spec.width == 0 && number.IsPrefixAndDigits()) {  // as most are
            sink_.AppendAscii(number.prefix.data(), number.prefix.size());
            sink_.AppendAscii(number.digits, number.digits_size);
        } else {
            WriteNumberInFull(spec, number);
        }
    }

    void WriteNumberInFull(const Spec& spec, const NumberParts& number) noexcept {
        const std::uint64_t padding =
            Padding(spec, number.prefix.size() + number.zeros + number.digits_size +
                              number.trailing_zeros + number.exponent_size);
        const bool zero_padded = spec.zero && !spec.left && number.may_pad_with_zeros;
        if (!spec.left && !zero_padded) {
            sink_.Fill(' ', padding);
        }
        sink_.AppendAscii(number.prefix.data(), number.prefix.size());
        sink_.Fill('0', number.zeros + (zero_padded ? padding : 0));
        sink_.AppendAscii(number.digits, number.digits_size);
        sink_.Fill('0', number.trailing_zeros);
        sink_.AppendAscii(number.exponent, number.exponent_size);
        if (spec.left) {
            sink_.Fill(' ', padding);
        }
    }

    bool WriteCharacter(const Spec& spec) noexcept {
        if (!IsTextSize(spec.size)) {
            return false;
        }
        const int argument = va_arg(arguments_, int);
        if (IsWideArgument<Char>(spec)) {
            WriteUnit(spec, static_cast<wchar_t>(argument));
        } else {
            WriteUnit(spec, static_cast<char>(argument));
        }
        return true;
    }

    template <class Source>
    void WriteUnit(const Spec& spec, Source unit) noexcept {
        if constexpr (std::is_same_v<Source, Char>) {
            WritePadded(spec, 1, [&] { sink_.Append(&unit, 1); });
        } else {
            // A unit that is no character of its own becomes the replacement character.
            const Source* position = &unit;
            const EncodedCharacter<Char> encoded(TakeCharacter(position, &unit + 1));
            WritePadded(spec, encoded.size, [&] { sink_.Append(encoded.units, encoded.size); });
        }
    }

    bool WriteTextArgument(const Spec& spec) noexcept {
        if (!IsTextSize(spec.size)) {
            return false;
        }
        if (IsWideArgument<Char>(spec)) {
            WriteText(spec, va_arg(arguments_, const wchar_t*));
        } else {
            WriteText(spec, va_arg(arguments_, const char*));
        }
        return true;
    }

    template <class Source>
    void WriteText(const Spec& spec, const Source* text) noexcept {
        const std::uint64_t limit =
            spec.precision == Spec::kNone ? kUnbounded : static_cast<std::uint64_t>(spec.precision);
        if (text == nullptr) {
            constexpr char kNull[] = "(null)";
            const std::uint64_t size = std::min<std::uint64_t>(sizeof kNull - 1, limit);
            WritePadded(spec, size, [&] { sink_.AppendAscii(kNull, size); });
        } else if constexpr (std::is_same_v<Source, Char>) {
            const std::size_t size = BoundedLength(text, static_cast<std::size_t>(limit));
            WritePadded(spec, size, [&] { sink_.Append(text, size); });
        } else {
            const std::uint64_t size = Transcode(text, limit, [](const Char*, std::size_t) {});
            WritePadded(spec, size, [&] {
                Transcode(text, limit, [this](const Char* units, std::size_t count) {
                    sink_.Append(units, count);
                });
            });
        }
    }

    // Whether the first unit alone tells that its character does not fit into room units. Then
    // nothing behind it is read: the text may end there.
    static bool IsTooLong(char lead, std::uint64_t room) noexcept {
        const auto byte = static_cast<unsigned char>(lead);
        return byte >= 0xF0 && byte <= 0xF4 && room < 2;
    }
    static bool IsTooLong(wchar_t unit, std::uint64_t room) noexcept {
        return (IsHighSurrogate(unit) || IsLowSurrogate(unit)) && room < 3;
    }

    // Calls put with each character of text in the units of the output, up to the first that would
    // exceed limit units. Returns the units that put was given.
    template <class Source, class Put>
    static std::uint64_t Transcode(const Source* text, std::uint64_t limit, Put put) noexcept {
        std::uint64_t size = 0;
        while (size < limit && *text != 0 && !IsTooLong(*text, limit - size)) {
            const EncodedCharacter<Char> encoded(TakeCharacter(text, nullptr));
            if (encoded.size > limit - size) {
                break;
            }
            put(encoded.units, encoded.size);
            size += encoded.size;
        }
        return size;
    }

    template <class WriteBody>
    void WritePadded(const Spec& spec, std::uint64_t size, WriteBody write_body) noexcept {
        const std::uint64_t padding = Padding(spec, size);
        // The platform pads text with zeros, too, when the flag asks for it.
        if (!spec.left) {
            sink_.Fill(spec.zero ? '0' : ' ', padding);
        }
        write_body();
        if (spec.left) {
            sink_.Fill(' ', padding);
        }
    }

    static std::uint64_t Padding(const Spec& spec, std::uint64_t size) noexcept {
        const auto width = static_cast<std::uint64_t>(spec.width);
        return width > size ? width - size : 0;
    }

    Sink<Char>& sink_;
    std::va_list arguments_;
};

template <class Char>
int RunFormat(Char* buffer, std::size_t room, const Char* format, std::va_list arguments) noexcept {
    if (format == nullptr) {
        return -1;
    }
    Sink<Char> sink(buffer, room);
    Run<Char> run(sink, arguments);
    return run.Write(format) ? static_cast<int>(sink.length()) : -1;
}

}  // namespace

int Format(char* buffer, std::size_t room, const char* format, std::va_list arguments) noexcept {
    return RunFormat(buffer, room, format, arguments);
}

int Format(wchar_t* buffer, std::size_t room, const wchar_t* format,
           std::va_list arguments) noexcept {
    return RunFormat(buffer, room, format, arguments);
}

}  // namespace ZTKPosix::format
