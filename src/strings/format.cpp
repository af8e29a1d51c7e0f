// printf into a ring string.
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "frame/base/tmp_ring.h"
#include "platform/formatting.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

int Count(const char* format, std::va_list arguments) noexcept {
    return _vscprintf(format, arguments);
}
int Count(const wchar_t* format, std::va_list arguments) noexcept {
    return _vscwprintf(format, arguments);
}

int Print(char* buffer, std::size_t count, const char* format, std::va_list arguments) noexcept {
    return _vsnprintf(buffer, count, format, arguments);
}
int Print(wchar_t* buffer, std::size_t count, const wchar_t* format,
          std::va_list arguments) noexcept {
    return _vsnwprintf(buffer, count, format, arguments);
}

// A ring string for a text of length elements, or null if the ring has none for it. An empty text
// gets none: callers take null for "nothing to show".
template <class Char>
Char* RequestSlot(int length) noexcept {
    return length <= 0 ? nullptr
                       : frame::RequestTmpString<Char>(static_cast<std::uint32_t>(length) + 1);
}

// Most texts fit the buffer on the stack and are formatted once. A longer one is measured first.
template <class Char>
const Char* Format(const Char* format, std::va_list arguments) noexcept {
    if (format == nullptr) {
        return nullptr;
    }
    constexpr std::size_t kRoom = 512;
    Char buffer[kRoom];
    std::va_list again;
    va_copy(again, arguments);
    int length = Print(buffer, kRoom, format, again);
    va_end(again);

    const bool fits = length >= 0;
    if (!fits) {
        va_copy(again, arguments);
        length = Count(format, again);
        va_end(again);
    }
    Char* const slot = RequestSlot<Char>(length);
    if (slot == nullptr) {
        return nullptr;
    }
    if (fits) {
        std::memcpy(slot, buffer, static_cast<std::size_t>(length) * sizeof(Char));
    } else {
        // As long as it was counted, but for the terminator, which is stored below.
        (void)Print(slot, static_cast<std::size_t>(length), format, arguments);
    }
    slot[length] = 0;
    return slot;
}

}  // namespace

const char* StrFormat(const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    const char* const result = Format(format, arguments);
    va_end(arguments);
    return result;
}

const wchar_t* StrFormat(const wchar_t* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    const wchar_t* const result = Format(format, arguments);
    va_end(arguments);
    return result;
}

}  // namespace ZTK
