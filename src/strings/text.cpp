// Counted text measured and converted between UTF-8 and UTF-16, by the same code on both targets.
#include "ztk/text.h"

#include <algorithm>

#include "platform/processor/unicode_text.h"

namespace ZTK {
namespace {

using unicode::kReplacement;

// Whether is_wanted is true for a unit of [text, end). A block is looked at without a branch, which
// the compiler makes a few instructions of.
template <class Wanted>
bool HasAny(const wchar_t* text, const wchar_t* end, Wanted is_wanted) noexcept {
    constexpr std::ptrdiff_t kBlock = 32;
    for (; end - text >= kBlock; text += kBlock) {
        unsigned found = 0;
        for (std::ptrdiff_t i = 0; i < kBlock; ++i) {
            found |= is_wanted(text[i]);
        }
        if (found != 0) {
            return true;
        }
    }
    return std::any_of(text, end, [&](wchar_t unit) { return is_wanted(unit) != 0; });
}

// Most pieces need no second look: they hold nothing that malformed text becomes, or is.
bool IsSuspect(const unicode::Piece<char, wchar_t>& piece) noexcept {
    return HasAny(piece.converted + piece.ascii, piece.converted + piece.size,
                  [](wchar_t unit) { return static_cast<unsigned>(unit == kReplacement); });
}
bool IsSuspect(const unicode::Piece<wchar_t, char>& piece) noexcept {
    return HasAny(piece.text + piece.ascii, piece.end,
                  [](wchar_t unit) { return static_cast<unsigned>((unit & 0xF800) == 0xD800); });
}

// Whether U+FFFD itself stands at text, as which a malformed sequence, up to behind, is read, too.
bool IsWrittenReplacement(const char* text, const char* behind) noexcept {
    return static_cast<unsigned char>(*text) == 0xEF && behind - text == 3;
}
bool IsWrittenReplacement(const wchar_t* text, const wchar_t* /*behind*/) noexcept {
    return *text == kReplacement;
}

// Where the first malformed sequence begins; end if there is none.
template <class Char>
const Char* FindMalformed(const Char* text, const Char* end) noexcept {
    while (text != end) {
        const Char* behind = text;
        if (unicode::TakeCharacter(behind, end) == kReplacement &&
            !IsWrittenReplacement(text, behind)) {
            return text;
        }
        text = behind;
    }
    return end;
}

template <class Target, class Source>
TextMeasure Measure(const Source* text, std::size_t n) noexcept {
    TextMeasure measure = {0, TextMeasure::kNone};
    const auto see = [text, &measure](const unicode::Piece<Source, Target>& piece) {
        measure.length += piece.size;
        if (measure.first_bad == TextMeasure::kNone && IsSuspect(piece)) {
            const Source* const bad = FindMalformed(piece.text, piece.end);
            if (bad != piece.end) {
                measure.first_bad = static_cast<std::size_t>(bad - text);
            }
        }
    };
    if (n != 0) {
        unicode::ConvertInPieces<Target>(text, text + n, see);
    }
    return measure;
}

template <class Source, class Target>
TextProgress Convert(const Source* text, std::size_t n, Target* out, std::size_t room) noexcept {
    if (n == 0 || room == 0) {
        return {0, 0};
    }
    const Source* at = text;
    Target* put = out;
    // Where it ends tells whether all of it fitted.
    (void)unicode::ConvertText(at, text + n, put, out + room);
    return {static_cast<std::size_t>(at - text), static_cast<std::size_t>(put - out)};
}

}  // namespace

TextMeasure MeasureText(const char* text, std::size_t n) noexcept {
    return Measure<wchar_t>(text, n);
}
TextMeasure MeasureText(const wchar_t* text, std::size_t n) noexcept {
    return Measure<char>(text, n);
}

TextProgress ConvertText(const char* text, std::size_t n, wchar_t* out, std::size_t room) noexcept {
    return Convert(text, n, out, room);
}
TextProgress ConvertText(const wchar_t* text, std::size_t n, char* out, std::size_t room) noexcept {
    return Convert(text, n, out, room);
}

}  // namespace ZTK
