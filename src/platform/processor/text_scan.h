// Looks through text many characters at a time: for two characters at a distance, and for how often
// and where one occurs. Looks at the instruction set, like line_copy.h, and serves both targets.
// Nothing outside the given text is read.
#pragma once

#include <algorithm>
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

// How often a character occurs, and the place behind the last one; 0 if there is none.
struct Occurrences {
    std::size_t count;
    std::size_t end;
};

#if defined(ZTK_VECTOR_SCAN)

// Gathers the occurrences of steps that come in order. Whether a step has one is not to be
// foreseen, so nothing here branches on it.
class StepSum {
  public:
    // at: the index of the step's first character. REQUIRES: at most 255 steps between two sums.
    void Add(std::size_t at, __m128i equal) noexcept {
        const unsigned bits = Bits(equal);
        const std::size_t end = at + static_cast<std::size_t>(std::bit_width(bits));
        end_ = bits != 0 ? end : end_;
        lanes_ = _mm_sub_epi8(lanes_, equal);  // each lane counts for itself
    }

    Occurrences Sum() noexcept {
        const __m128i sums = _mm_sad_epu8(lanes_, _mm_setzero_si128());
        lanes_ = _mm_setzero_si128();
        count_ += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
                  static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
        return {count_, end_};
    }

  private:
    __m128i lanes_ = _mm_setzero_si128();
    std::size_t count_ = 0;
    std::size_t end_ = 0;
};

// All ones in the last `lanes` of kStep bytes.
inline __m128i LastLanes(std::size_t lanes) noexcept {
    static constexpr std::int64_t kMask[] = {0, 0, -1, -1};
    return Load(reinterpret_cast<const char*>(kMask) + lanes);
}

// REQUIRES: count >= kStep.
template <class T>
Occurrences FindAllInSteps(const T* text, std::size_t count, T c) noexcept {
    const Lanes<T> lanes(c, T{0});
    StepSum sum;
    std::size_t done = 0;
    while (count - done >= kStep) {
        constexpr std::size_t kMostSteps = 254;
        const std::size_t steps = std::min((count - done) / kStep, kMostSteps);
        for (std::size_t i = 0; i < steps; ++i, done += kStep) {
            sum.Add(done, lanes(text + done));
        }
        if (steps == kMostSteps) {
            (void)sum.Sum();  // for its effect: the lanes are emptied before one overflows
        }
    }
    // The last step once more, without what is done.
    const std::size_t last = count - kStep;
    sum.Add(last, Both(lanes(text + last), LastLanes(count - done)));
    return sum.Sum();
}

#endif

// The occurrences of c among count characters.
template <class T>
Occurrences FindAll(const T* text, std::size_t count, T c) noexcept {
#if defined(ZTK_VECTOR_SCAN)
    if (count >= kStep) {
        return FindAllInSteps(text, count, c);
    }
#endif
    Occurrences found = {0, 0};
    for (std::size_t i = 0; i < count; ++i) {
        if (text[i] == c) {
            found = {found.count + 1, i + 1};
        }
    }
    return found;
}

}  // namespace ZTK::scan
