// The assertion's message box.
#include <cstdarg>
#include <cstddef>

#include "frame/base/fatal.h"
#include "frame/host/log_hook.h"
#include "platform/formatting.h"
#include "ztk/logging.h"

namespace ZTK::frame {
namespace {

constexpr std::size_t kAssertionText = 520;  // characters, terminator included

void FormatBounded(wchar_t (&buffer)[kAssertionText], const wchar_t* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = _vsnwprintf(buffer, kAssertionText, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<std::size_t>(length) >= kAssertionText) {
        Fatal("An assertion's expression and file name do not fit into 520 characters.");
    }
}

}  // namespace
}  // namespace ZTK::frame

void ZTKAssert(int condition, wchar_t* expression, wchar_t* file, int line) noexcept {
    if (condition != 0) {
        return;
    }
    wchar_t text[ZTK::frame::kAssertionText];
    ZTK::frame::FormatBounded(text, L"%s\nfile:%s, line:%d", expression, file, line);
    ZTK::frame::HandToLogHook(ZTK::LogKindAssertion, text);  // before the box, which waits
    (void)MessageBoxW(nullptr, text, L"Assertion", 0);       // has only one button
}
