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

// Up to kBytes bytes, with zeros behind them.
struct TextBlock {
    static constexpr std::size_t kBytes = 16;

#if defined(ZTK_SHORT_TEXT_BLOCKS)
    explicit TextBlock(const char* bytes) noexcept : block(Load(bytes)) {}
    explicit TextBlock(__m128i bytes) noexcept : block(bytes) {}

    [[nodiscard]] std::uint64_t Low() const noexcept {
        return static_cast<std::uint64_t>(_mm_cvtsi128_si64(block));
    }
    [[nodiscard]] std::uint64_t High() const noexcept {
        return static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(block, block)));
    }
    [[nodiscard]] bool IsAscii() const noexcept {
        return _mm_movemask_epi8(block) == 0;
    }
    void Widen(wchar_t* target) const noexcept {
        auto* const out = reinterpret_cast<__m128i*>(target);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(block, _mm_setzero_si128()));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(block, _mm_setzero_si128()));
    }

    static __m128i Load(const void* from) noexcept {
        return _mm_loadu_si128(static_cast<const __m128i*>(from));
    }

    __m128i block;
#else
    explicit TextBlock(const char* bytes) noexcept {
        std::memcpy(words, bytes, sizeof words);
    }

    [[nodiscard]] std::uint64_t Low() const noexcept {
        return words[0];
    }
    [[nodiscard]] std::uint64_t High() const noexcept {
        return words[1];
    }
    [[nodiscard]] bool IsAscii() const noexcept {
        return ((words[0] | words[1]) & 0x8080808080808080u) == 0;
    }
    void Widen(wchar_t* target) const noexcept {
        std::copy_n(reinterpret_cast<const char*>(words), kBytes, target);
    }

    std::uint64_t words[2];
#endif
};

// The first bytes of a text that a zero byte ends. Of a text shorter than a block that is all of
// it, together with its length, found in one step instead of byte by byte.
class ShortText {
  public:
    static constexpr std::size_t kBlock = TextBlock::kBytes;

    explicit ShortText(const char* text) noexcept : block_(Read(text, &length_)) {}

    // Whether this is all of the text. REQUIRED by the members below.
    [[nodiscard]] bool IsWhole() const noexcept { return length_ < kBlock; }
    [[nodiscard]] std::size_t Length() const noexcept { return length_; }

    // The first eight bytes, and those behind them: together they tell the text from all others.
    [[nodiscard]] std::uint64_t Low() const noexcept { return block_.Low(); }
    [[nodiscard]] std::uint64_t High() const noexcept { return block_.High(); }

    [[nodiscard]] bool IsAscii() const noexcept { return block_.IsAscii(); }

    // Writes the text and zeros behind it, kBlock units in all. REQUIRES: IsAscii().
    void Widen(wchar_t* target) const noexcept { block_.Widen(target); }

  private:
    static TextBlock Read(const char* text, std::size_t* length) noexcept {
#if defined(ZTK_SHORT_TEXT_BLOCKS)
        // A block that lies within a page can be read, whatever of it belongs to the text.
        constexpr std::uintptr_t kSmallestPage = 4096;
        const std::uintptr_t place = reinterpret_cast<std::uintptr_t>(text) % kSmallestPage;
        if (!reads_are_watched && place <= kSmallestPage - kBlock) [[likely]] {
            const __m128i block = TextBlock::Load(text);
            const __m128i ends = _mm_cmpeq_epi8(block, _mm_setzero_si128());
            const auto end_bits = static_cast<unsigned>(_mm_movemask_epi8(ends));
            *length = static_cast<std::size_t>(std::countr_zero(end_bits | 1U << kBlock));
            return TextBlock(_mm_and_si128(block, TextBlock::Load(kMask + kBlock - *length)));
        }
#endif
        return ReadInSteps(text, length);
    }
    [[gnu::noinline]] static TextBlock ReadInSteps(const char* text, std::size_t* length) noexcept {
        char bytes[kBlock] = {};
        std::size_t done = 0;
        for (; done < kBlock && text[done] != 0; ++done) {
            bytes[done] = text[done];
        }
        *length = done;
        return TextBlock(bytes);
    }

#if defined(ZTK_SHORT_TEXT_BLOCKS)
    // kBlock bytes of ones, and as many zeros.
    static constexpr unsigned char kMask[2 * kBlock] = {255, 255, 255, 255, 255, 255, 255, 255,
                                                        255, 255, 255, 255, 255, 255, 255, 255};
#endif

    std::size_t length_;  // before the block, whose making sets it
    TextBlock block_;
};

}  // namespace ZTKPosix
