// Looks through text many characters at a time: for two characters at a distance, and for how often
// and where one occurs. Serves both targets. Nothing outside the given text is read.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/processor/instruction_set.h"
#include "platform/processor/text_scan_blocks.h"

namespace ZTK::scan {

// Finds places where one character stands, and another one a fixed distance behind it.
//
// Goes through the text in blocks and keeps which places of the present one are such: where places
// are near to each other, nothing is looked at twice, and no block waits for what the caller does
// with the place before.
template <class T>
class PairFinder {
  public:
    // end: where places end. REQUIRES: text has end + pair.distance characters.
    PairFinder(const T* text, std::size_t end, const Pair<T>& pair) noexcept
        : text_(text), end_(end), pair_(pair) {}

    // The first such place from `from` on, or end. REQUIRES: from is not before that of the last
    // call, nor behind end.
    std::size_t Find(std::size_t from) noexcept {
        const std::size_t passed = from - block_.start;
        if (passed < kBlock) {
            block_.bits = block_.bits >> passed << passed;
            if (block_.bits != 0) {
                return FirstPlace();
            }
            from = block_.start + kBlock;
        }
        if (from != end_) {
            block_ = NextBlock(from);
        }
        return block_.bits == 0 ? end_ : FirstPlace();
    }

  private:
    [[nodiscard]] std::size_t FirstPlace() const noexcept {
        return block_.start + static_cast<std::size_t>(std::countr_zero(block_.bits));
    }

    [[nodiscard]] Block NextBlock(std::size_t from) const noexcept {
        if (end_ < kBlock) {
            return by16::OnlyPairs(text_, from, end_, pair_);
        }
#if defined(ZTK_HAS_AVX2_CODE)
        if (processor::HasAvx2()) {
            return by32::NextPairs(text_, from, end_, pair_);
        }
#endif
        return by16::NextPairs(text_, from, end_, pair_);
    }

    const T* text_;
    std::size_t end_;
    Pair<T> pair_;
    Block block_ = {0 - kBlock, 0};  // its places not passed yet; at first it ends at 0
};

// The occurrences of c in [from, to).
template <class T>
Occurrences FindAll(const T* text, std::size_t from, std::size_t to, T c) noexcept {
    const Wanted<T> wanted = {c, T{0}};
    if (to < kBlock) {
        return by16::FindAllInShort(text, from, to, wanted);
    }
#if defined(ZTK_HAS_AVX2_CODE)
    if (processor::HasAvx2()) {
        return by32::FindAll(text, from, to, wanted);
    }
#endif
    return by16::FindAll(text, from, to, wanted);
}

}  // namespace ZTK::scan
