// Counted text measured and converted between UTF-8 and UTF-16, by the same code on both targets.
#include "ztk/text.h"

#include "platform/processor/unicode_text.h"

namespace ZTK {
namespace {

using unicode::kReplacement;

bool HasReplacement(const wchar_t* text, std::size_t n) noexcept {
    bool found = false;
    for (std::size_t i = 0; i < n; ++i) {
        found |= text[i] == kReplacement;
    }
    return found;
}

bool HasSurrogate(const wchar_t* text, const wchar_t* end) noexcept {
    bool found = false;
    for (; text != end; ++text) {
        found |= (*text & 0xF800) == 0xD800;
    }
    return found;
}

// Most pieces need no second look: they hold nothing that malformed text becomes, or is.
bool IsSuspect(const unicode::Piece<char, wchar_t>& piece) noexcept {
    return HasReplacement(piece.converted, piece.size);
}
bool IsSuspect(const unicode::Piece<wchar_t, char>& piece) noexcept {
    return HasSurrogate(piece.text, piece.end);
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
