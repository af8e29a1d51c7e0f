// UTF-8 and UTF-16 text of any length converted into each other. Serves both targets.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "platform/processor/ascii_copy.h"
#include "platform/processor/unicode.h"
#include "platform/processor/unicode_blocks.h"

namespace ZTK::unicode {

namespace detail {

inline std::size_t LeastOf(std::ptrdiff_t a, std::ptrdiff_t b) noexcept {
    return static_cast<std::size_t>(std::min(a, b));
}

// One character of any kind. False if there is no room for it.
template <class Source, class Target>
bool ConvertCharacter(const Source*& text, const Source* end, Target*& out,
                      const Target* out_end) noexcept {
    const Source* behind = text;
    const EncodedCharacter<Target> encoded(TakeCharacter(behind, end));
    if (encoded.size > static_cast<std::size_t>(out_end - out)) {
        return false;
    }
    out = std::copy_n(encoded.units, encoded.size, out);
    text = behind;
    return true;
}

}  // namespace detail

// Converts from the front of [text, end) and moves text and out behind what is done. False if the
// next character does not fit. Units that are written behind out are none of the result.
template <class Source, class Target>
bool ConvertText(const Source*& text, const Source* end, Target*& out,
                 const Target* out_end) noexcept {
    const BlocksDone done = ConvertBlocks(text, end, out, out_end);
    text += done.taken;
    out += done.written;
    while (text != end) {
        const Source* const behind_good = CopyGoodCharacters(text, end, out, out_end);
        if (behind_good != text) {
            text = behind_good;
        } else if (!detail::ConvertCharacter(text, end, out, out_end)) {
            return false;
        }
        const std::size_t ascii = CopyAscii(text, detail::LeastOf(end - text, out_end - out), out);
        text += ascii;
        out += ascii;
    }
    return true;
}

// A part of a text, ended by the end of a character, and what it becomes.
template <class Source, class Target>
struct Piece {
    const Source* text;
    const Source* end;
    const Target* converted;
    std::size_t size;   // of what it becomes
    std::size_t ascii;  // so many units at its start are ASCII
};

// Converts all of [text, end) for a look at it: calls see(piece) for one piece after the other.
template <class Target, class Source, class See>
void ConvertInPieces(const Source* text, const Source* end, See see) noexcept {
    Target room[1024];
    for (bool is_done = false; !is_done;) {
        const Source* const start = text;
        const std::size_t ascii =
            CopyAscii(text, detail::LeastOf(end - text, std::ssize(room)), room);
        Target* out = room + ascii;
        text += ascii;
        is_done = ConvertText(text, end, out, std::end(room));
        see(Piece<Source, Target>{start, text, room, static_cast<std::size_t>(out - room), ascii});
    }
}

}  // namespace ZTK::unicode
