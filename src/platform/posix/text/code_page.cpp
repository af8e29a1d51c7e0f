// Conversion between UTF-16 and narrow code pages.
#include "platform/posix/text/code_page.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>

#include "platform/posix/text/code_page_iconv.h"
#include "platform/posix/text/code_page_sink.h"
#include "platform/posix/text/runtime_text.h"
#include "platform/processor/ascii_copy.h"
#include "platform/processor/unicode_text.h"

namespace ZTKPosix {
namespace {

enum class Outcome { kDone, kUnknownPage, kNoRoom };

// The one place that knows what the system's narrow code page is.
bool IsUtf8(UINT code_page) noexcept {
    return code_page == CP_ACP || code_page == CP_UTF8;
}

// The length of the result.
template <class Target, class Source>
[[gnu::noinline]] std::size_t MeasureUnicode(const Source* text, const Source* end) noexcept {
    std::size_t size = 0;
    ZTK::unicode::ConvertInPieces<Target>(text, end,
                                          [&size](const auto& piece) { size += piece.size; });
    return size;
}

// A terminator at the end does not go through iconv: in a text that ends inside a shift sequence it
// would be taken for a part of a character, and in any such page the way back to the initial state
// belongs in front of it.
template <class Target, class Source, class Sink>
Outcome ConvertByIconv(UINT code_page, const Source* text, std::size_t count, Sink& sink) noexcept {
    using Direction = IconvConversion::Direction;
    IconvConversion conversion(code_page,
                               sizeof(Target) == 1 ? Direction::kToNarrow : Direction::kToWide);
    if (!conversion.IsOpen()) {
        return Outcome::kUnknownPage;
    }
    const bool terminated = text[count - 1] == 0;
    conversion.SetSource(text, (terminated ? count - 1 : count) * sizeof(Source));
    char bytes[512];
    Target piece[sizeof bytes / sizeof(Target)];
    while (const std::size_t size = conversion.Next(bytes, sizeof bytes)) {
        std::memcpy(piece, bytes, size);
        if (!sink.Append(piece, size / sizeof(Target))) {
            return Outcome::kNoRoom;
        }
    }
    constexpr Target kTerminator = 0;
    return !terminated || sink.Append(&kTerminator, 1) ? Outcome::kDone : Outcome::kNoRoom;
}

int Fail(DWORD code) noexcept {
    SetLastError(code);
    return 0;
}

int Result(Outcome outcome, std::size_t size) noexcept {
    if (outcome == Outcome::kNoRoom) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    if (outcome == Outcome::kUnknownPage || size > INT_MAX) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return static_cast<int>(size);
}

template <class Target, class Source, class Sink>
int ConvertOther(UINT code_page, const Source* text, std::size_t count, Sink sink) noexcept {
    const Outcome outcome = ConvertByIconv<Target>(code_page, text, count, sink);
    return Result(outcome, sink.size());
}

// The pages that iconv has, and all that is only measured.
template <class Target, class Source>
[[gnu::noinline]] int ConvertSeldom(UINT code_page, const Source* text, std::size_t count,
                                    Target* target, std::size_t room) noexcept {
    if (IsUtf8(code_page)) {
        return Result(Outcome::kDone, MeasureUnicode<Target>(text, text + count));
    }
    return room == 0
               ? ConvertOther<Target>(code_page, text, count, MeasuringSink<Target>())
               : ConvertOther<Target>(code_page, text, count, BufferSink<Target>(target, room));
}

// What comes behind the first `done` elements, which are ASCII.
template <class Target, class Source>
[[gnu::noinline]] int ConvertOnwards(const Source* text, std::size_t count, Target* target,
                                     std::size_t room, std::size_t done) noexcept {
    const Source* at = text + done;
    Target* out = target + done;
    const bool is_done = ZTK::unicode::ConvertText(at, text + count, out, target + room);
    return Result(is_done ? Outcome::kDone : Outcome::kNoRoom,
                  static_cast<std::size_t>(out - target));
}

// Most texts are short, and ASCII: what else there is stands in functions of its own, so that such
// a text does not pay for their registers and buffers.
template <class Target, class Source>
int Convert(UINT code_page, const Source* text, std::size_t count, Target* target,
            int target_length) noexcept {
    const auto room = static_cast<std::size_t>(target_length);
    if (room == 0 || !IsUtf8(code_page)) {
        return ConvertSeldom(code_page, text, count, target, room);
    }
    const bool begins_with_ascii = (static_cast<unsigned>(*text) & ~0x7Fu) == 0;
    const std::size_t ascii =
        begins_with_ascii ? ZTK::CopyAscii(text, std::min(count, room), target) : 0;
    // No more than the room, and so than an int holds.
    return ascii == count ? static_cast<int>(count)
                          : ConvertOnwards(text, count, target, room, ascii);
}

// Whether the arguments that both calls share can be worked with.
bool AreValid(DWORD flags, const void* source, int source_length, const void* target,
              int target_length) noexcept {
    return flags == 0 && source != nullptr && source_length >= -1 && source_length != 0 &&
           target_length >= 0 && (target_length == 0 || target != nullptr);
}

}  // namespace

int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR source, int source_length,
                        LPWSTR destination, int destination_length) noexcept {
    if (!AreValid(flags, source, source_length, destination, destination_length)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::size_t count =
        source_length == -1 ? std::strlen(source) + 1 : static_cast<std::size_t>(source_length);
    return Convert(code_page, source, count, destination, destination_length);
}

int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR source, int source_length,
                        LPSTR destination, int destination_length, LPCSTR default_char,
                        BOOL* used_default) noexcept {
    if (!AreValid(flags, source, source_length, destination, destination_length) ||
        default_char != nullptr || used_default != nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::size_t count =
        source_length == -1 ? wcslen(source) + 1 : static_cast<std::size_t>(source_length);
    return Convert(code_page, source, count, destination, destination_length);
}

}  // namespace ZTKPosix
