// The printf family of the platform's C runtime.
#include "platform/posix/text/formatting.h"

#include "platform/posix/text/format_engine.h"

namespace ZTKPosix {
namespace {

template <class Char>
int PrintBounded(Char* buffer, std::size_t count, const Char* format,
                 std::va_list arguments) noexcept {
    const int length = ZTKPosix::format::Format(buffer, count, format, arguments);
    if (length < 0 || static_cast<std::size_t>(length) > count) {
        return -1;
    }
    if (static_cast<std::size_t>(length) < count) {
        buffer[length] = 0;
    }
    return length;
}

}  // namespace

int _vscprintf(const char* format, std::va_list arguments) noexcept {
    return ZTKPosix::format::Format(nullptr, 0, format, arguments);
}

int _vscwprintf(const wchar_t* format, std::va_list arguments) noexcept {
    return ZTKPosix::format::Format(nullptr, 0, format, arguments);
}

int _vsnprintf(char* buffer, std::size_t count, const char* format,
               std::va_list arguments) noexcept {
    return PrintBounded(buffer, count, format, arguments);
}

int _vsnwprintf(wchar_t* buffer, std::size_t count, const wchar_t* format,
                std::va_list arguments) noexcept {
    return PrintBounded(buffer, count, format, arguments);
}

}  // namespace ZTKPosix
