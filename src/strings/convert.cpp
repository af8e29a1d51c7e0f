// Conversion between narrow and wide text.
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/base/tmp_ring.h"
#include "platform/code_page.h"
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

int ConvertText(UINT code_page, const char* text, int count, wchar_t* out, int room) noexcept {
    return MultiByteToWideChar(code_page, 0, text, count, out, room);
}
int ConvertText(UINT code_page, const wchar_t* text, int count, char* out, int room) noexcept {
    return WideCharToMultiByte(code_page, 0, text, count, out, room, nullptr, nullptr);
}

// A slot for count characters. Null for 0, which stands for a failed conversion, and for more than
// the ring has room for.
template <class Char>
Char* RequestSlot(int count) noexcept {
    return frame::RequestTmpString<Char>(static_cast<std::uint32_t>(count));
}

// Characters that are converted without being measured first.
constexpr int kShort = 4160;

// What elements of the other width become in the pages below: at most kMostFromOne from one, and at
// least one from kMostToOne.
template <class Target>
constexpr int kMostFromOne = sizeof(Target) == 1 ? 3 : 1;
template <class Target>
constexpr int kMostToOne = sizeof(Target) == 1 ? 1 : 3;

// The pages that convert any text, malformed or not, into no more than kMostFromOne elements each.
// Which page CP_ACP stands for is the platform's affair: all that it can be are such pages.
bool AlwaysFits(UINT code_page) noexcept {
    return code_page == CP_UTF8 || code_page == CP_ACP;
}

// For a result that is longer than the room of the slot. Measured, so that the slot grows no
// further than it must.
template <class Target, class Source>
[[gnu::noinline]] const Target* ConvertAndGrow(const Source* text, int count, UINT code_page,
                                               const frame::TmpSlot<Target>& slot) noexcept {
    const int needed = ConvertText(code_page, text, count, nullptr, 0);
    Target* const grown = frame::GrowTmpSlot(slot, static_cast<std::uint32_t>(needed));
    (void)ConvertText(code_page, text, count, grown, needed);  // as it was measured
    return grown;
}

// Straight into a slot, which mostly has room for the longest possible result or, from its last
// texts, for this one. REQUIRES: AlwaysFits(code_page), count <= kMaxRingText /
// kMostFromOne<Target>.
template <class Target, class Source>
const Target* ConvertInPlace(const Source* text, int count, UINT code_page) noexcept {
    const auto least = static_cast<std::uint32_t>((count - 1) / kMostToOne<Target> + 1);
    const frame::TmpSlot<Target> slot = frame::RequestTmpSlot<Target>(least);
    const int room = static_cast<int>(slot.room);
    if (room >= count * kMostFromOne<Target>) {
        (void)ConvertText(code_page, text, count, slot.text, room);  // cannot fail: see AlwaysFits
        return slot.text;
    }
    const DWORD last_error = GetLastError();
    if (ConvertText(code_page, text, count, slot.text, room) != 0) {
        return slot.text;
    }
    SetLastError(last_error);
    return ConvertAndGrow(text, count, code_page, slot);
}

// A page that may be unknown is tried with a buffer on the stack first, because a failure must not
// take a ring slot. Null for a failure.
template <class Target, class Source>
const Target* ConvertByCopy(const Source* text, int count, UINT code_page) noexcept {
    Target buffer[kShort];
    const int converted = ConvertText(code_page, text, count, buffer, kShort);
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
        (void)ConvertText(code_page, text, count, slot, needed);  // as the measuring pass did
    }
    return slot;
}

template <class Target, class Source>
const Target* Convert(const Source* text, UINT code_page) noexcept {
    if (text == nullptr || *text == 0) {
        return nullptr;
    }
    // The terminator is converted, too. A text too long for an int is too long for a ring slot in
    // every page.
    const std::size_t length = strings::Length(text);
    if (length >= std::numeric_limits<int>::max()) {
        return nullptr;
    }
    const int count = static_cast<int>(length) + 1;
    constexpr int kLongest = static_cast<int>(frame::kMaxRingText) / kMostFromOne<Target>;
    if (AlwaysFits(code_page) && count <= kLongest) {
        return ConvertInPlace<Target>(text, count, code_page);
    }
    // Only the result tells of a failure; the last error stays the caller's.
    const DWORD last_error = GetLastError();
    const Target* result =
        count <= kShort ? ConvertByCopy<Target>(text, count, code_page) : nullptr;
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
