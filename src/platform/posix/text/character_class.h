// Wide character classes in the "C" locale, which knows ASCII only. The C library's own would
// follow the process's locale, and they are among its wide functions, which are never called.
//
// 1 or 0 for every value; nothing fails.
#pragma once

#include "text/ascii.h"

namespace ZTKPosix {

constexpr int iswalnum(wchar_t c) noexcept {
    return ZTK::ascii::IsLetterOrDigit(c) ? 1 : 0;
}

constexpr int iswspace(wchar_t c) noexcept {
    return ZTK::ascii::IsRuntimeSpace(c) ? 1 : 0;
}

constexpr int iswprint(wchar_t c) noexcept {
    return c >= L' ' && c <= L'~' ? 1 : 0;
}

}  // namespace ZTKPosix

namespace ZTK {
using ZTKPosix::iswalnum;
using ZTKPosix::iswprint;
using ZTKPosix::iswspace;
}  // namespace ZTK
