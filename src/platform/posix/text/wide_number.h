// Conversions of 16-bit wide text to numbers.
#pragma once

#include "ztk/platform.h"

namespace ZTKPosix {

// The decimal number at the start of text: white space, an optional sign, digits up to the first
// other character. 0 without digits; the nearest value where 32 bits cannot hold the number. White
// space and digits are those of every script that the platform's runtime knows, whatever the
// locale. The last error stays as it was. REQUIRES: text is not null.
int _wtoi(const wchar_t* text) noexcept;
LONG _wtol(const wchar_t* text) noexcept;

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::_wtoi;
using ZTKPosix::_wtol;
}  // namespace ZTK
