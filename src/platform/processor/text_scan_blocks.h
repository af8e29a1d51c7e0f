// The blocks in which text_scan.h goes through a text, for each size of register. Chooses by the
// instruction set, when it is built.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/processor/instruction_set.h"

#if defined(ZTK_HAS_AVX2_CODE)
#include <immintrin.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ZTK::scan {

// A character to look for: matches c if (c | mask) == value. With the mask 0x20 and a lower-case
// letter as value that is the letter in both cases.
template <class T>
struct Wanted {
    T value;
    T mask;
};

// One character, and another one a fixed distance behind it.
template <class T>
struct Pair {
    Wanted<T> first;
    Wanted<T> second;
    std::size_t distance;
};

// How often a character occurs in a stretch of a text, and the place behind the last one; 0 if
// there is none.
struct Occurrences {
    std::size_t count;
    std::size_t end;
};

// Some of the places of a block, one bit for each. The start of one that begins before the text is
// below 0, and wraps.
inline constexpr std::size_t kBlock = 64;
struct Block {
    std::size_t start;
    std::uint64_t bits;
};

// Each of the two namespaces has a step of kStep characters, as many as its register has bytes:
// Lanes<T, kMasks> compares that many at once, and its Bits has one bit for each. Without kMasks,
// where all masks are 0, that takes a step less. The rest is the same for both and comes from
// text_scan_loops-inl.h.

#if defined(ZTK_HAS_AVX2_CODE)

namespace by32 {

#define ZTK_SCAN_INLINE ZTK_INLINE_AVX2
#define ZTK_SCAN_FUNCTION ZTK_TARGET_AVX2 inline

inline constexpr std::size_t kStep = 32;

ZTK_SCAN_INLINE __m256i Both(__m256i a, __m256i b) noexcept {
    return _mm256_and_si256(a, b);
}

ZTK_SCAN_INLINE std::size_t CountBits(std::uint64_t bits) noexcept {
    return static_cast<std::size_t>(std::popcount(bits));
}

template <class T, bool kMasks>
class Lanes {
  public:
    ZTK_SCAN_INLINE explicit Lanes(Wanted<T> wanted) noexcept
        : value_(Spread(wanted.value)), mask_(Spread(wanted.mask)) {}

    // All ones in the bytes of the characters that match, in an order that Bits knows.
    ZTK_SCAN_INLINE __m256i operator()(const T* text) const noexcept {
        if constexpr (sizeof(T) == 1) {
            return _mm256_cmpeq_epi8(Masked(text), value_);
        } else {
            return _mm256_packs_epi16(_mm256_cmpeq_epi16(Masked(text), value_),
                                      _mm256_cmpeq_epi16(Masked(text + kStep / 2), value_));
        }
    }

    ZTK_SCAN_INLINE static std::uint32_t Bits(__m256i lanes) noexcept {
        // The pack of 16-bit lanes works within each half: the two quarters in the middle are
        // exchanged.
        const __m256i ordered = sizeof(T) == 1 ? lanes : _mm256_permute4x64_epi64(lanes, 0xD8);
        return static_cast<std::uint32_t>(_mm256_movemask_epi8(ordered));
    }

  private:
    ZTK_SCAN_INLINE __m256i Masked(const T* text) const noexcept {
        const __m256i loaded = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
        return kMasks ? _mm256_or_si256(loaded, mask_) : loaded;
    }
    ZTK_SCAN_INLINE static __m256i Spread(T c) noexcept {
        return sizeof(T) == 1 ? _mm256_set1_epi8(static_cast<char>(c))
                              : _mm256_set1_epi16(static_cast<short>(c));
    }

    __m256i value_;
    __m256i mask_;
};

#include "platform/processor/text_scan_loops-inl.h"

#undef ZTK_SCAN_INLINE
#undef ZTK_SCAN_FUNCTION

}  // namespace by32

#endif

namespace by16 {

#define ZTK_SCAN_INLINE inline
#define ZTK_SCAN_FUNCTION inline

inline constexpr std::size_t kStep = 16;

#if defined(__SSE2__)

inline __m128i Both(__m128i a, __m128i b) noexcept {
    return _mm_and_si128(a, b);
}

template <class T, bool kMasks>
class Lanes {
  public:
    explicit Lanes(Wanted<T> wanted) noexcept
        : value_(Spread(wanted.value)), mask_(Spread(wanted.mask)) {}

    __m128i operator()(const T* text) const noexcept {
        if constexpr (sizeof(T) == 1) {
            return _mm_cmpeq_epi8(Masked(text), value_);
        } else {
            return _mm_packs_epi16(_mm_cmpeq_epi16(Masked(text), value_),
                                   _mm_cmpeq_epi16(Masked(text + kStep / 2), value_));
        }
    }

    static std::uint32_t Bits(__m128i lanes) noexcept {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(lanes));
    }

  private:
    __m128i Masked(const T* text) const noexcept {
        const __m128i loaded = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
        return kMasks ? _mm_or_si128(loaded, mask_) : loaded;
    }
    static __m128i Spread(T c) noexcept {
        return sizeof(T) == 1 ? _mm_set1_epi8(static_cast<char>(c))
                              : _mm_set1_epi16(static_cast<short>(c));
    }

    __m128i value_;
    __m128i mask_;
};

#else

// The portable form: the bits themselves.
inline std::uint32_t Both(std::uint32_t a, std::uint32_t b) noexcept {
    return a & b;
}

template <class T, bool kMasks>
class Lanes {
  public:
    explicit Lanes(Wanted<T> wanted) noexcept : wanted_(wanted) {}

    std::uint32_t operator()(const T* text) const noexcept {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < kStep; ++i) {
            const bool same = static_cast<T>(text[i] | wanted_.mask) == wanted_.value;
            bits |= static_cast<std::uint32_t>(same) << i;
        }
        return bits;
    }

    static std::uint32_t Bits(std::uint32_t lanes) noexcept { return lanes; }

  private:
    Wanted<T> wanted_;
};

#endif

// In sums of 2, 4 and 8 bits: without an instruction for it the compiler would call a function.
inline std::size_t CountBits(std::uint64_t bits) noexcept {
    bits -= bits >> 1 & 0x5555555555555555;
    bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
    bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0F;
    return static_cast<std::size_t>(bits * 0x0101010101010101 >> 56);
}

#include "platform/processor/text_scan_loops-inl.h"

#undef ZTK_SCAN_INLINE
#undef ZTK_SCAN_FUNCTION

// One bit for each of count characters, fewer than a block. matches: gives those of kStep places.
template <class Matches, class Match>
std::uint64_t BitsOfShort(std::size_t count, Matches matches, Match match) noexcept {
    std::uint64_t bits = 0;
    if (count < kStep) {
        for (std::size_t i = 0; i < count; ++i) {
            bits |= std::uint64_t{match(i)} << i;
        }
        return bits;
    }
    for (std::size_t i = 0; i < count - kStep; i += kStep) {
        bits |= std::uint64_t{matches(i)} << i;
    }
    return bits | std::uint64_t{matches(count - kStep)} << (count - kStep);
}

template <class T>
bool Matches(Wanted<T> wanted, T c) noexcept {
    return static_cast<T>(c | wanted.mask) == wanted.value;
}

// The pair's places in [from, end), in the block that ends at end. REQUIRES: from < end < kBlock,
// and end + distance characters.
template <class T>
Block OnlyPairs(const T* text, std::size_t from, std::size_t end, const Pair<T>& pair) noexcept {
    const Lanes<T, true> first(pair.first);
    const Lanes<T, true> second(pair.second);
    const T* const beyond = text + pair.distance;
    const std::uint64_t bits = BitsOfShort(
        end,
        [&](std::size_t i) {
            return Lanes<T, true>::Bits(Both(first(text + i), second(beyond + i)));
        },
        [&](std::size_t i) {
            return Matches(pair.first, text[i]) && Matches(pair.second, beyond[i]);
        });
    return {end - kBlock, bits >> from << from << (kBlock - end)};
}

// REQUIRES: to < kBlock.
template <class T>
Occurrences FindAllInShort(const T* text, std::size_t from, std::size_t to,
                           Wanted<T> wanted) noexcept {
    const Lanes<T, false> lanes(wanted);
    const std::uint64_t bits = BitsOfShort(
        to, [&](std::size_t i) { return Lanes<T, false>::Bits(lanes(text + i)); },
        [&](std::size_t i) { return Matches(wanted, text[i]); });
    const std::uint64_t found = bits >> from;
    return {CountBits(found), found == 0 ? 0 : static_cast<std::size_t>(std::bit_width(bits))};
}

}  // namespace by16
}  // namespace ZTK::scan
