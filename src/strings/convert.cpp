// Conversion between narrow and wide text.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/base/tmp_ring.h"
#include "platform/code_page.h"
#include "platform/processor/ascii_copy.h"
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

// The pages that convert any text, malformed or not, into no more than kMostFromOne elements each,
// and ASCII into the same characters. Which page CP_ACP stands for is the platform's affair: all
// that it can be are such pages.
bool AlwaysFits(UINT code_page) noexcept {
    return code_page == CP_UTF8 || code_page == CP_ACP;
}

// Into a slot whose room may be too small, and whose text begins with `done` characters of ASCII
// already. What is too long for it is measured, so that the slot grows no further than it must.
template <class Target, class Source>
[[gnu::noinline]] const Target* ConvertOnwards(const Source* text, int count, UINT code_page,
                                               frame::TmpSlot<Target> slot, int done) noexcept {
    const DWORD last_error = GetLastError();
    const int room = static_cast<int>(slot.room) - done;
    if (room > 0 &&
        ConvertText(code_page, text + done, count - done, slot.text + done, room) != 0) {
        return slot.text;
    }
    SetLastError(last_error);
    const int needed = done + ConvertText(code_page, text + done, count - done, nullptr, 0);
    Target* const grown = frame::GrowTmpSlot(slot, static_cast<std::uint32_t>(needed));
    (void)ConvertText(code_page, text, count, grown, needed);  // as it was measured
    return grown;
}

// Straight into a slot, which mostly has room for this text from its last ones. ASCII, which most
// texts are, is the same in all the pages below, and needs no call of the platform. REQUIRES:
// AlwaysFits(code_page), count <= kMaxRingText / kMostFromOne<Target>.
template <class Target, class Source>
const Target* ConvertInPlace(const Source* text, int count, UINT code_page) noexcept {
    const auto least = static_cast<std::uint32_t>((count - 1) / kMostToOne<Target> + 1);
    const frame::TmpSlot<Target> slot = frame::RequestTmpSlot<Target>(least);
    const auto most = std::min(static_cast<std::uint32_t>(count), slot.room);
    const auto ascii = static_cast<int>(CopyAscii(text, most, slot.text));
    return ascii == count ? slot.text : ConvertOnwards(text, count, code_page, slot, ascii);
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

// For pages that may be unknown, and for results that may be too long for the ring.
template <class Target, class Source>
[[gnu::noinline]] const Target* ConvertSeldom(const Source* text, int count,
                                              UINT code_page) noexcept {
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
    return AlwaysFits(code_page) && count <= kLongest
               ? ConvertInPlace<Target>(text, count, code_page)
               : ConvertSeldom<Target>(text, count, code_page);
}

}  // namespace

const char* StrConvert(const wchar_t* text, unsigned int code_page) noexcept {
    return Convert<char>(text, code_page);
}
const wchar_t* StrConvert(const char* text, unsigned int code_page) noexcept {
    return Convert<wchar_t>(text, code_page);
}

}  // namespace ZTK
