// Conversions of 16-bit wide text to numbers.
#pragma once

namespace ZTKPosix {

// The decimal number at the start of text: white space, an optional sign, digits up to the first
// other character. 0 without digits; the nearest value where the type cannot hold the number.
// REQUIRES: text is not null.
int _wtoi(const wchar_t* text) noexcept;
long _wtol(const wchar_t* text) noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_wtoi;
using ZTKPosix::_wtol;
}  // namespace ZTK
