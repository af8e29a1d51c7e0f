// Conversion between narrow and wide text.
#include <cstring>
#include <limits>

#include "platform/code_page.h"
#include "strings/runtime_overloads.h"
#include "ztk/memory.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

int ConvertText(UINT code_page, const char* text, int count, wchar_t* out, int room) noexcept {
    return MultiByteToWideChar(code_page, 0, text, count, out, room);
}
int ConvertText(UINT code_page, const wchar_t* text, int count, char* out, int room) noexcept {
    return WideCharToMultiByte(code_page, 0, text, count, out, room, nullptr, nullptr);
}

template <class Char>
Char* RequestSlot(int count) noexcept {
    Char* slot = nullptr;
    return count > 0 && ZTKGetTmpString(slot, static_cast<unsigned int>(count)) != 0 ? slot
                                                                                     : nullptr;
}

// A text that fits the buffer on the stack is converted once and copied, which is cheaper than to
// measure it first. Null for a longer one, and for one that cannot be converted.
template <class Target, class Source>
const Target* ConvertShort(const Source* text, int count, UINT code_page) noexcept {
    constexpr int kRoom = 4160;
    if (count > kRoom) {
        return nullptr;
    }
    Target buffer[kRoom];
    const int converted = ConvertText(code_page, text, count, buffer, kRoom);
    Target* const slot = RequestSlot<Target>(converted);
    if (slot != nullptr) {
        std::memcpy(slot, buffer, static_cast<std::size_t>(converted) * sizeof(Target));
    }
    return slot;
}

template <class Target, class Source>
const Target* ConvertLong(const Source* text, int count, UINT code_page) noexcept {
    const int needed = ConvertText(code_page, text, count, nullptr, 0);
    Target* const slot = RequestSlot<Target>(needed);
    if (slot != nullptr) {
        (void)ConvertText(code_page, text, count, slot, needed);
    }
    return slot;
}

template <class Target, class Source>
const Target* Convert(const Source* text, UINT code_page) noexcept {
    if (text == nullptr || *text == 0) {
        return nullptr;
    }
    // The terminator is converted, too. No page makes so little of a text that one above the range
    // of int would fit into a ring string.
    const std::size_t length = strings::Length(text);
    if (length >= std::numeric_limits<int>::max()) {
        return nullptr;
    }
    const int count = static_cast<int>(length) + 1;
    // A failure is told by the result alone; the caller's last error stays.
    const DWORD last_error = GetLastError();
    const Target* result = ConvertShort<Target>(text, count, code_page);
    if (result == nullptr) {
        result = ConvertLong<Target>(text, count, code_page);
        SetLastError(last_error);
    }
    return result;
}

}  // namespace

const char* StrConvert(const wchar_t* text, unsigned int code_page) noexcept {
    return Convert<char>(text, code_page);
}
const wchar_t* StrConvert(const char* text, unsigned int code_page) noexcept {
    return Convert<wchar_t>(text, code_page);
}

}  // namespace ZTK
