// The printf family of the platform's C runtime. See platform/formatting.h for the results. The
// last error stays as it was.
//
// A conversion is '%', any flags, a width, a precision, a size and a letter; all but the letter may
// be missing.
//
// Flags: - + blank # 0. A 0 pads texts and characters, too; it pads no integer with a precision and
// no infinity or NaN. Width: digits or '*', whose negative argument means '-' and its absolute
// value. Precision: '.' and digits, none for 0, or '.*', whose negative argument means no
// precision.
//
// Letters, and the sizes that each takes:
//
//     d i u o x X        hh h l ll j z t I I32 I64. l is this target's own long, of 64 bits.
//     e E f F g G a A    l, without an effect, and L.
//     c s                h hh: narrow; l w: wide; without a size of the format's own width.
//     C S                The same, but without a size of the other width.
//     p                  Any, without an effect. 16 digits in upper-case hexadecimal, no prefix.
//     %                  Any. Writes '%' and heeds neither flags nor width.
//
// Text of the other width is converted between UTF-8 and UTF-16; what is malformed, half a
// character given to c included, becomes U+FFFD. A null text prints "(null)". The precision of a
// text counts characters of the output, and nothing is read behind those that it lets through: a
// text need not be terminated there. Of the other width, characters that do not fit whole are left
// out; a character of several bytes is read whole, so such a text can take more bytes than the
// precision says. Numbers are written as in the "C" locale.
//
// A bad format, for which all four return -1: a null one, another letter or size, %n, a format that
// ends inside a conversion, a width or precision above INT_MAX. They return -1 as well for a text
// of more than INT_MAX characters, and where memory is too short for a floating-point number.
//
// Neither a width nor a precision takes memory, or time beyond that of filling the buffer: counting
// a text of 2147483647 characters costs what counting a short one does.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace ZTKPosix {

int _vscprintf(const char* format, std::va_list arguments) noexcept;
int _vscwprintf(const wchar_t* format, std::va_list arguments) noexcept;
int _vsnprintf(char* buffer, std::size_t count, const char* format,
               std::va_list arguments) noexcept;
int _vsnwprintf(wchar_t* buffer, std::size_t count, const wchar_t* format,
                std::va_list arguments) noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_vscprintf;
using ZTKPosix::_vscwprintf;
using ZTKPosix::_vsnprintf;
using ZTKPosix::_vsnwprintf;
}  // namespace ZTK
