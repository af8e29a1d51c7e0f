// Wide character classes in the "C" locale, which knows ASCII only. The C library's own would
// follow the process's locale, and they are among its wide functions, which are never called.
#pragma once

namespace ZTKPosix {

constexpr int iswalnum(wchar_t c) noexcept {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') ? 1 : 0;
}

constexpr int iswspace(wchar_t c) noexcept {
    return c == L' ' || (c >= L'\t' && c <= L'\r') ? 1 : 0;
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
