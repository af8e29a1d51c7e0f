#include "platform/posix/dom/typed_value.h"

#include <charconv>
#include <limits>
#include <string_view>
#include <type_traits>

#include "platform/posix/com/oleauto_variant.h"
#include "platform/posix/dom/date.h"
#include "platform/posix/dom/text.h"
#include "text/ascii.h"

namespace ZTKPosix::dom {

namespace {

struct TypeName {
    std::string_view name;
    DataType type;
};

constexpr TypeName kTypeNames[] = {
    {"i1", DataType::kI1},
    {"i2", DataType::kI2},
    {"i4", DataType::kI4},
    {"int", DataType::kI4},
    {"i8", DataType::kI8},
    {"ui1", DataType::kUi1},
    {"ui2", DataType::kUi2},
    {"ui4", DataType::kUi4},
    {"ui8", DataType::kUi8},
    {"r4", DataType::kR4},
    {"r8", DataType::kR8},
    {"float", DataType::kR8},
    {"fixed.14.4", DataType::kFixed},
    {"boolean", DataType::kBoolean},
    {"date", DataType::kDate},
    {"dateTime", DataType::kDateTime},
    {"dateTime.tz", DataType::kDateTimeZone},
    {"time", DataType::kTime},
    {"time.tz", DataType::kTimeZone},
    {"bin.hex", DataType::kBinHex},
    {"bin.base64", DataType::kBinBase64},
};

// The text that a number is read from, in ASCII and without a leading '+'. There is room for any
// number that one of the types can hold.
class NumberLiteral {
  public:
    NumberLiteral(const wchar_t* text, std::size_t length) noexcept {
        if (length != 0 && *text == L'+') {
            ++text;
            --length;
            good_ = length != 0 && *text != L'-';
        }
        good_ = good_ && length <= sizeof characters_;
        for (; good_ && length_ < length; ++length_) {
            // Digits, signs, the point and the exponent; no letters that spell infinity.
            const wchar_t c = text[length_];
            good_ = ZTK::ascii::IsDigit(c) || c == L'-' || c == L'+' || c == L'.' || c == L'e' ||
                    c == L'E';
            characters_[length_] = static_cast<char>(c);
        }
    }

    // False unless all of the text is one number in the range of the type.
    template <class Number>
    [[nodiscard]] bool Read(Number& number) const noexcept {
        const char* const end = characters_ + length_;
        const auto [stop, error] = std::from_chars(characters_, end, number);
        return good_ && error == std::errc{} && stop == end;
    }

  private:
    char characters_[512];
    std::size_t length_ = 0;
    bool good_ = true;
};

template <class Number, class Field>
HRESULT MakeNumber(const NumberLiteral& text, VARTYPE type, Field VARIANT::*field,
                   VARIANT& value) noexcept {
    Number number{};
    if (!text.Read(number)) {
        return DISP_E_TYPEMISMATCH;
    }
    value.*field = static_cast<Field>(number);
    value.vt = type;
    return S_OK;
}

// Up to 14 digits, and up to 4 more after a point.
HRESULT MakeFixed(const wchar_t* text, std::size_t length, VARIANT& value) noexcept {
    const wchar_t* const end = text + length;
    const bool negative = text != end && *text == L'-';
    if (text != end && (*text == L'-' || *text == L'+')) {
        ++text;
    }
    long long number = 0;
    int whole = 0;
    int fraction = 0;
    bool point = false;
    for (; text != end; ++text) {
        if (*text == L'.' && !point) {
            point = true;
        } else if (ZTK::ascii::IsDigit(*text) && (point ? fraction < 4 : whole < 14)) {
            number = number * 10 + (*text - L'0');
            ++(point ? fraction : whole);
        } else {
            return DISP_E_TYPEMISMATCH;
        }
    }
    if (whole + fraction == 0) {
        return DISP_E_TYPEMISMATCH;
    }
    for (; fraction < 4; ++fraction) {
        number *= 10;
    }
    value.vt = VT_CY;
    value.cyVal.int64 = negative ? -number : number;
    return S_OK;
}

HRESULT MakeBoolean(const wchar_t* text, std::size_t length, VARIANT& value) noexcept {
    if (length != 1 || (*text != L'0' && *text != L'1')) {
        return DISP_E_TYPEMISMATCH;
    }
    value.vt = VT_BOOL;
    value.boolVal = *text == L'1' ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT MakeDate(DataType type, const wchar_t* text, std::size_t length, VARIANT& value) noexcept {
    const bool has_date = type != DataType::kTime && type != DataType::kTimeZone;
    const bool has_time = type != DataType::kDate;
    const bool has_zone = type == DataType::kDateTimeZone || type == DataType::kTimeZone;
    if (!ParseDate(text, length, has_date, has_time, has_zone, value.date)) {
        value = {};
        return DISP_E_TYPEMISMATCH;
    }
    value.vt = VT_DATE;
    return S_OK;
}

int Base64Digit(wchar_t c) noexcept {
    return ZTK::ascii::IsUpper(c)   ? c - L'A'
           : ZTK::ascii::IsLower(c) ? c - L'a' + 26
           : ZTK::ascii::IsDigit(c) ? c - L'0' + 52
           : c == L'+'              ? 62
           : c == L'/'              ? 63
                                    : -1;
}

// Decodes digits of that many bits each (4: hexadecimal, 6: Base64), the most significant first;
// white space between them does not count. Base64 may end in up to two '='. Digits must make up
// whole bytes: what is left over at the end has fewer bits than a digit.
HRESULT MakeBytes(const wchar_t* text, std::size_t length, unsigned bits, int (*digit)(wchar_t),
                  VARIANT& value) noexcept {
    if (bits == 6) {
        for (int padding = 0; padding < 2 && length != 0 && text[length - 1] == L'='; ++padding) {
            --length;
        }
    }
    SAFEARRAY* const array = MakeByteArray(length * bits / 8);
    if (array == nullptr) {
        return E_OUTOFMEMORY;
    }
    value.vt = VT_ARRAY | VT_UI1;
    value.parray = array;
    auto* target = static_cast<BYTE*>(array->pvData);
    unsigned held = 0;
    unsigned held_bits = 0;
    for (const wchar_t* const end = text + length; text != end; ++text) {
        const int next = digit(*text);
        if (next < 0 && !ZTK::ascii::IsXmlSpace(*text)) {
            VariantClear(&value);
            return DISP_E_TYPEMISMATCH;
        }
        if (next >= 0) {
            held = (held << bits | static_cast<unsigned>(next)) & 0xFFFFu;
            held_bits += bits;
        }
        if (held_bits >= 8) {
            held_bits -= 8;
            *target++ = static_cast<BYTE>(held >> held_bits);
        }
    }
    if (held_bits >= bits) {
        VariantClear(&value);
        return DISP_E_TYPEMISMATCH;
    }
    array->rgsabound[0].cElements = static_cast<ULONG>(target - static_cast<BYTE*>(array->pvData));
    return S_OK;
}

}  // namespace

DataType DataTypeByName(const wchar_t* name, std::size_t length) noexcept {
    for (const TypeName& known : kTypeNames) {
        if (EqualsAscii(name, length, known.name)) {
            return known.type;
        }
    }
    return DataType::kString;
}

HRESULT MakeTypedValue(DataType type, const wchar_t* text, std::size_t length,
                       VARIANT& value) noexcept {
    for (; length != 0 && ZTK::ascii::IsXmlSpace(text[0]); ++text) {
        --length;
    }
    while (length != 0 && ZTK::ascii::IsXmlSpace(text[length - 1])) {
        --length;
    }
    switch (type) {
        case DataType::kI1:
            return MakeNumber<signed char>({text, length}, VT_I1, &VARIANT::cVal, value);
        case DataType::kI2:
            return MakeNumber<short>({text, length}, VT_I2, &VARIANT::iVal, value);
        case DataType::kI4:
            return MakeNumber<LONG>({text, length}, VT_I4, &VARIANT::lVal, value);
        case DataType::kI8:
            return MakeNumber<long long>({text, length}, VT_I8, &VARIANT::llVal, value);
        case DataType::kUi1:
            return MakeNumber<BYTE>({text, length}, VT_UI1, &VARIANT::bVal, value);
        case DataType::kUi2:
            return MakeNumber<WORD>({text, length}, VT_UI2, &VARIANT::uiVal, value);
        case DataType::kUi4:
            return MakeNumber<ULONG>({text, length}, VT_UI4, &VARIANT::ulVal, value);
        case DataType::kUi8:
            return MakeNumber<unsigned long long>({text, length}, VT_UI8, &VARIANT::ullVal, value);
        case DataType::kR4:
            return MakeNumber<float>({text, length}, VT_R4, &VARIANT::fltVal, value);
        case DataType::kR8:
            return MakeNumber<double>({text, length}, VT_R8, &VARIANT::dblVal, value);
        case DataType::kFixed:
            return MakeFixed(text, length, value);
        case DataType::kBoolean:
            return MakeBoolean(text, length, value);
        case DataType::kBinHex:
            return MakeBytes(text, length, 4, ZTK::ascii::HexDigitValue<wchar_t>, value);
        case DataType::kBinBase64:
            return MakeBytes(text, length, 6, Base64Digit, value);
        default:
            return MakeDate(type, text, length, value);
    }
}

}  // namespace ZTKPosix::dom
