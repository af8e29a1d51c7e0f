// Where a search finds its term: the sequence of alignments, in which the term is compared with the
// text, and the moves from one to the next.
//
// Callers see the sequence in two ways. A cancel callback is called at each alignment; and the move
// after a partial match is taken from the character as many places to the right as characters had
// matched, which can step over a match. Whoever searches "aabb" in "aaabbx" gets no hit, and
// callers rely on getting the same hits from the same text.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "buffer/skip_table.h"
#include "platform/processor/text_scan.h"
#include "text/ascii.h"

namespace ZTK::buffer {

// A term and its table of moves, as a query holds them.
template <class T>
struct SearchTerm {
    const T* text;
    std::size_t length;  // at least 1
    const std::uint16_t* skip;
    std::uint16_t skip_size;
    // Whether no move passes a match, but for those after a partial match: the table knows all
    // characters that count as the same as one of the term.
    bool is_complete;
};

// Whether two characters count as the same in a search.
template <bool kIgnoreCase, class T>
constexpr bool IsSame(T a, T b) noexcept {
    return a == b || (kIgnoreCase && ascii::ToLower(a) == ascii::ToLower(b));
}

// REQUIRES for all members: the text has count characters, at least as many as the term.
template <class T, bool kIgnoreCase>
class TermFinder {
  public:
    static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

    TermFinder(const T* text, std::size_t count, const SearchTerm<T>& term) noexcept
        : text_(text),
          count_(count),
          term_(term),
          last_(count - term.length),
          ends_(text, last_ + 1,
                {Wanted(term.text[0]), Wanted(term.text[term.length - 1]), term.length - 1}),
          leaps_(term.is_complete) {}

    // The last alignment that the text has room for.
    [[nodiscard]] std::size_t LastAlignment() const noexcept { return last_; }

    // The move from alignment at, or 0 if the term matches there.
    [[nodiscard]] std::size_t MoveFrom(std::size_t at) const noexcept {
        const T under_last = text_[at + term_.length - 1];
        if (!IsSame<kIgnoreCase>(under_last, term_.text[term_.length - 1])) {
            return MoveBy(under_last);
        }
        const std::size_t same = SameAt(at);
        return same == term_.length - 1 ? 0 : MoveAfterPart(at, same);
    }

    // The first match that the sequence starting with alignment at comes to, or kNone.
    std::size_t Next(std::size_t at) noexcept {
        while (at <= last_) {
            // Only moves after a partial match can pass a match. So the sequence comes to the next
            // match unless such a move, from a place before it, reaches beyond it; then the
            // alignments up to there are gone through one by one.
            const std::size_t match = leaps_ ? NextLeap(at) : last_;
            if (match == kNone || (leaps_ && reach_ <= match)) {
                return match;
            }
            at = Walk(at, match);
            if (at <= match) {
                return at;
            }
        }
        return kNone;
    }

  private:
    // A letter in both cases if the search ignores case.
    static scan::Wanted<T> Wanted(T c) noexcept {
        const T low = ascii::ToLower(c);
        const bool both = kIgnoreCase && ascii::IsLower(low);
        return both ? scan::Wanted<T>{low, T{0x20}} : scan::Wanted<T>{c, T{0}};
    }

    // How many characters at the front of a and b are the same, as far as whole words tell that.
    static std::size_t SameWords(const T* a, const T* b, std::size_t count) noexcept {
        constexpr std::size_t kWord = sizeof(std::uint64_t) / sizeof(T);
        std::size_t same = 0;
        for (; count - same >= kWord; same += kWord) {
            std::uint64_t x;
            std::uint64_t y;
            std::memcpy(&x, a + same, sizeof x);
            std::memcpy(&y, b + same, sizeof y);
            if (x != y) {
                return same + static_cast<std::size_t>(std::countr_zero(x ^ y)) / (8 * sizeof(T));
            }
        }
        return same;
    }

    // How many characters at the term's front match at `at`; the last one is left out.
    [[nodiscard]] std::size_t SameAt(std::size_t at) const noexcept {
        std::size_t same = kIgnoreCase ? 0 : SameWords(text_ + at, term_.text, term_.length - 1);
        while (same + 1 < term_.length && IsSame<kIgnoreCase>(text_[at + same], term_.text[same])) {
            ++same;
        }
        return same;
    }

    // Never 0, which would not end: in a long term distances wrap.
    [[nodiscard]] std::size_t MoveBy(T c) const noexcept {
        const std::uint16_t key = SkipKey(c);
        const std::size_t move = key < term_.skip_size ? term_.skip[key] : term_.length;
        return std::max(move, std::size_t{1});
    }

    // What is behind the text's end counts as NUL.
    [[nodiscard]] std::size_t MoveAfterPart(std::size_t at, std::size_t same) const noexcept {
        const std::size_t beyond = at + same + term_.length - 1;
        return MoveBy(beyond < count_ ? text_[beyond] : T{0});
    }

    // Goes through the alignments up to limit, and returns the first with a match, or the first
    // beyond limit.
    [[nodiscard]] std::size_t Walk(std::size_t at, std::size_t limit) const noexcept {
        while (at <= limit) {
            const std::size_t move = MoveFrom(at);
            if (move == 0) {
                break;
            }
            at += move;
        }
        return at;
    }

    // The first match from `at` on, visited or not, or kNone. Sets reach_ to how far moves after
    // the partial matches before it go, if all of these were visited. Where partial matches are
    // many and long, which costs more than the sequence itself, gives up: returns the last
    // alignment, beyond all reach, and does not leap again.
    std::size_t NextLeap(std::size_t at) noexcept {
        reach_ = 0;
        for (;; ++at) {
            at = ends_.Find(at);
            if (at > last_) {
                return kNone;
            }
            const std::size_t same = SameAt(at);
            if (same == term_.length - 1) {
                return at;
            }
            reach_ = std::max(reach_, at + MoveAfterPart(at, same));
            constexpr std::size_t kStart = 8;  // what a comparison costs, in characters
            constexpr std::size_t kAllowance = 4096;
            effort_ += kStart + same;
            if (effort_ / 2 > at + kAllowance) {
                leaps_ = false;
                return last_;
            }
        }
    }

    const T* text_;
    std::size_t count_;
    SearchTerm<T> term_;
    std::size_t last_;
    scan::PairFinder<T> ends_;  // places where the term's first and last characters match
    bool leaps_;                // look for matches first, for the alignments between only if needed
    std::size_t reach_ = 0;
    std::uint64_t effort_ = 0;  // of comparisons that gave no match, in characters
};

}  // namespace ZTK::buffer
