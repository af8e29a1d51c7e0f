// The printf family of the platform's C runtime. See platform/formatting.h for the results.
//
// Flags - + space # 0, width and precision (also as *), sizes hh h l ll j z t L I I32 I64 w,
// conversions d i u o x X c C s S p e E f F g G a A %%. Anything else, %n included, is a bad
// format. l is this target's own 64-bit long. Text of the other width goes through UTF-8; a null
// text prints "(null)"; a precision bounds the reading of a text. Numbers are written as in the "C"
// locale.
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
