// Conversion between UTF-16 and narrow code pages.
#include "platform/posix/text/code_page.h"

#include <climits>
#include <cstring>

#include "platform/posix/text/code_page_iconv.h"
#include "platform/posix/text/code_page_sink.h"
#include "platform/posix/text/runtime_text.h"

namespace ZTKPosix {
namespace {

enum class Outcome { kDone, kUnknownPage, kNoRoom };

// The one place that knows what the system's narrow code page is.
bool IsUtf8(UINT code_page) noexcept {
    return code_page == CP_ACP || code_page == CP_UTF8;
}

template <class Char>
bool IsAscii(Char c) noexcept {
    return static_cast<char32_t>(c) < 0x80;
}
template <>
bool IsAscii(char c) noexcept {
    return static_cast<unsigned char>(c) < 0x80;
}

// Between UTF-8 and UTF-16, in either direction.
template <class Source, class Sink>
Outcome ConvertUnicode(const Source* text, std::size_t count, Sink& sink) noexcept {
    const Source* const end = text + count;
    while (true) {
        text += sink.TakeAscii(text, static_cast<std::size_t>(end - text));
        if (text == end) {
            return Outcome::kDone;
        }
        const Source* const behind_small = sink.TakeSmall(text, end);
        if (behind_small != text) {
            text = behind_small;
            continue;
        }
        // Either the next character is not of those two kinds, or the sink is full, which Put
        // finds.
        do {
            if (!sink.Put(TakeCharacter(text, end))) {
                return Outcome::kNoRoom;
            }
        } while (text != end && !IsAscii(*text));
    }
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

template <class Target, class Source, class Sink>
int ConvertInto(UINT code_page, const Source* text, std::size_t count, Sink sink) noexcept {
    const Outcome outcome = IsUtf8(code_page)
                                ? ConvertUnicode(text, count, sink)
                                : ConvertByIconv<Target>(code_page, text, count, sink);
    if (outcome == Outcome::kNoRoom) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    if (outcome == Outcome::kUnknownPage || sink.size() > INT_MAX) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return static_cast<int>(sink.size());
}

template <class Target, class Source>
int Convert(UINT code_page, const Source* text, std::size_t count, Target* target,
            int target_length) noexcept {
    if (target_length == 0) {
        return ConvertInto<Target>(code_page, text, count, MeasuringSink<Target>());
    }
    return ConvertInto<Target>(code_page, text, count,
                               BufferSink<Target>(target, static_cast<std::size_t>(target_length)));
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
