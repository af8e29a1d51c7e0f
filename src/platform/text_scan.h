// Looks through text many characters at a time: for two characters at a distance, and for how often
// and where one occurs. Looks at the instruction set, like line_copy.h, and serves both targets.
// Nothing outside the given text is read.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#define ZTK_VECTOR_SCAN 1
#endif

namespace ZTK::scan {

// The characters that one step looks at.
inline constexpr std::size_t kStep = 16;

#if defined(ZTK_VECTOR_SCAN)

inline __m128i Load(const void* from) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

// One byte for each of kStep characters: all ones where (c | mask) equals value.
template <class T>
class Lanes {
  public:
    Lanes(T value, T mask) noexcept : value_(Spread(value)), mask_(Spread(mask)) {}

    __m128i operator()(const T* text) const noexcept {
        if constexpr (sizeof(T) == 1) {
            return _mm_cmpeq_epi8(_mm_or_si128(Load(text), mask_), value_);
        } else {
            const __m128i low = _mm_cmpeq_epi16(_mm_or_si128(Load(text), mask_), value_);
            const __m128i high =
                _mm_cmpeq_epi16(_mm_or_si128(Load(text + kStep / 2), mask_), value_);
            return _mm_packs_epi16(low, high);
        }
    }

  private:
    static __m128i Spread(T c) noexcept {
        if constexpr (sizeof(T) == 1) {
            return _mm_set1_epi8(c);
        } else {
            return _mm_set1_epi16(static_cast<short>(c));
        }
    }

    __m128i value_;
    __m128i mask_;
};

inline unsigned Bits(__m128i lanes) noexcept {
    return static_cast<unsigned>(_mm_movemask_epi8(lanes));
}
inline __m128i Both(__m128i a, __m128i b) noexcept {
    return _mm_and_si128(a, b);
}
inline __m128i Either(__m128i a, __m128i b) noexcept {
    return _mm_or_si128(a, b);
}

#else

// The portable form: one bit for each of kStep characters.
template <class T>
class Lanes {
  public:
    Lanes(T value, T mask) noexcept : value_(value), mask_(mask) {}

    unsigned operator()(const T* text) const noexcept {
        unsigned bits = 0;
        for (std::size_t i = 0; i < kStep; ++i) {
            bits |= static_cast<unsigned>(static_cast<T>(text[i] | mask_) == value_) << i;
        }
        return bits;
    }

  private:
    T value_;
    T mask_;
};

inline unsigned Bits(unsigned lanes) noexcept {
    return lanes;
}
inline unsigned Both(unsigned a, unsigned b) noexcept {
    return a & b;
}
inline unsigned Either(unsigned a, unsigned b) noexcept {
    return a | b;
}

#endif

// A character to look for: matches c if (c | mask) == value. With the mask 0x20 and a lower-case
// letter as value that is the letter in both cases.
template <class T>
struct Wanted {
    T value;
    T mask;

    bool operator()(T c) const noexcept { return static_cast<T>(c | mask) == value; }
};

// Finds places where one character stands, and another one a fixed distance behind it.
template <class T>
class PairFinder {
  public:
    PairFinder(Wanted<T> first, Wanted<T> second, std::size_t distance) noexcept
        : first_(first),
          second_(second),
          distance_(distance),
          first_lanes_(first.value, first.mask),
          second_lanes_(second.value, second.mask) {}

    // The first such place in [from, end), or end. REQUIRES: text has end + distance characters.
    std::size_t Find(const T* text, std::size_t from, std::size_t end) const noexcept {
        for (; end - from >= 2 * kStep; from += 2 * kStep) {
            const auto low = At(text + from);
            const auto high = At(text + from + kStep);
            if (Bits(Either(low, high)) != 0) {
                const std::uint32_t bits = Bits(low) | std::uint32_t{Bits(high)} << kStep;
                return from + static_cast<std::size_t>(std::countr_zero(bits));
            }
        }
        while (from < end && !(first_(text[from]) && second_(text[from + distance_]))) {
            ++from;
        }
        return from;
    }

  private:
    auto At(const T* text) const noexcept {
        return Both(first_lanes_(text), second_lanes_(text + distance_));
    }

    Wanted<T> first_;
    Wanted<T> second_;
    std::size_t distance_;
    Lanes<T> first_lanes_;
    Lanes<T> second_lanes_;
};

// How many of count characters equal c.
template <class T>
std::size_t Count(const T* text, std::size_t count, T c) noexcept {
    std::size_t found = 0;
    std::size_t done = 0;
#if defined(ZTK_VECTOR_SCAN)
    const Lanes<T> lanes(c, T{0});
    const __m128i zero = _mm_setzero_si128();
    while (count - done >= kStep) {
        // Each lane counts for itself, as long as a byte can hold it.
        const std::size_t steps = count - done < 255 * kStep ? (count - done) / kStep : 255;
        __m128i counts = zero;
        for (std::size_t i = 0; i < steps; ++i, done += kStep) {
            counts = _mm_sub_epi8(counts, lanes(text + done));
        }
        const __m128i sums = _mm_sad_epu8(counts, zero);
        found += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
                 static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
    }
#endif
    for (; done < count; ++done) {
        found += text[done] == c ? 1 : 0;
    }
    return found;
}

// The index of the last c among count characters. REQUIRES: there is one.
template <class T>
std::size_t FindLast(const T* text, std::size_t count, T c) noexcept {
    const Lanes<T> lanes(c, T{0});
    for (; count >= kStep; count -= kStep) {
        const unsigned bits = Bits(lanes(text + count - kStep));
        if (bits != 0) {
            return count - kStep + static_cast<std::size_t>(std::bit_width(bits)) - 1;
        }
    }
    do {
        --count;
    } while (text[count] != c);
    return count;
}

}  // namespace ZTK::scan
