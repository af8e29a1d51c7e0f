// The printf family of the platform's C runtime. See platform/formatting.h for the results.
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
