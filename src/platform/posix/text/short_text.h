// A short text as two words, read in one step. Looks at the instruction set.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/posix/text/watched_reads.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define ZTK_SHORT_TEXT_BLOCKS 1
#endif

namespace ZTKPosix {

// The first bytes of a text that a zero byte ends, in two words. Of a text shorter than a block
// that is all of it, together with its length, found in one step instead of byte by byte.
class ShortText {
  public:
    static constexpr std::size_t kBlock = 16;
    static constexpr std::size_t kLongest = kBlock - 1;

    explicit ShortText(const char* text) noexcept {
#if defined(ZTK_SHORT_TEXT_BLOCKS)
        // A block that lies within a page can be read, whatever of it belongs to the text.
        constexpr std::uintptr_t kSmallestPage = 4096;
        const std::uintptr_t place = reinterpret_cast<std::uintptr_t>(text) % kSmallestPage;
        if (!reads_are_watched && place <= kSmallestPage - kBlock) [[likely]] {
            const __m128i block = Load(text);
            const __m128i ends = _mm_cmpeq_epi8(block, _mm_setzero_si128());
            const auto end_bits = static_cast<unsigned>(_mm_movemask_epi8(ends));
            length_ = static_cast<std::size_t>(std::countr_zero(end_bits | 1U << kBlock));
            const __m128i kept = _mm_and_si128(block, Load(kMask + kBlock - length_));
            words_[0] = static_cast<std::uint64_t>(_mm_cvtsi128_si64(kept));
            words_[1] =
                static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(kept, kept)));
            return;
        }
#endif
        ReadInSteps(text);
    }

    // Whether this is all of the text. REQUIRED by the members below.
    [[nodiscard]] bool IsWhole() const noexcept {
        return length_ <= kLongest;
    }
    [[nodiscard]] std::size_t Length() const noexcept {
        return length_;
    }

    // Bytes 8 * index and up, zeros from the end of the text on: both words together tell the text
    // from all others.
    [[nodiscard]] std::uint64_t Word(std::size_t index) const noexcept {
        return words_[index];
    }
    [[nodiscard]] bool IsAscii() const noexcept {
        return ((words_[0] | words_[1]) & 0x8080808080808080u) == 0;
    }

    // Writes the text and zeros behind it, kBlock units in all. REQUIRES: IsAscii().
    void Widen(wchar_t* target) const noexcept {
#if defined(ZTK_SHORT_TEXT_BLOCKS)
        const __m128i block = _mm_set_epi64x(static_cast<std::int64_t>(words_[1]),
                                             static_cast<std::int64_t>(words_[0]));
        auto* const out = reinterpret_cast<__m128i*>(target);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(block, _mm_setzero_si128()));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(block, _mm_setzero_si128()));
#else
        std::copy_n(reinterpret_cast<const char*>(words_), kBlock, target);
#endif
    }

  private:
    [[gnu::noinline]] void ReadInSteps(const char* text) noexcept {
        char bytes[kBlock] = {};
        for (length_ = 0; length_ < kBlock && text[length_] != 0; ++length_) {
            bytes[length_] = text[length_];
        }
        std::memcpy(words_, bytes, sizeof words_);
    }

#if defined(ZTK_SHORT_TEXT_BLOCKS)
    static __m128i Load(const void* from) noexcept {
        return _mm_loadu_si128(static_cast<const __m128i*>(from));
    }

    // kBlock bytes of ones, and as many zeros.
    static constexpr unsigned char kMask[2 * kBlock] = {255, 255, 255, 255, 255, 255, 255, 255,
                                                        255, 255, 255, 255, 255, 255, 255, 255};
#endif

    std::uint64_t words_[2];
    std::size_t length_;
};

}  // namespace ZTKPosix
