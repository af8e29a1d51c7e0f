// Work on text many elements at a time: runs of ASCII in UTF-8 and UTF-16, and the search for a
// 16-bit unit. Looks at the instruction set, as the only file of this folder; text_scan.h in
// platform/processor is its like for the code of both targets.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "platform/posix/text/watched_reads.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define ZTK_VECTOR_TEXT 1
#endif

namespace ZTKPosix {

inline constexpr std::size_t kVectorBytes = 16;

#if defined(ZTK_VECTOR_TEXT)

inline __m128i LoadBlock(const void* from) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

// One bit for each byte of a block of 8 units; both bits of a unit are set if it is not ASCII.
inline unsigned NonAsciiUnits(__m128i units) noexcept {
    const __m128i above = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xFF80)));
    const __m128i ascii = _mm_cmpeq_epi16(above, _mm_setzero_si128());
    return static_cast<unsigned>(_mm_movemask_epi8(ascii)) ^ 0xFFFFu;
}

#else

// The portable form of the block tests: eight bytes, or four units, in one word.
inline bool IsAsciiWord(const char* from) noexcept {
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return (word & 0x8080808080808080u) == 0;
}

inline bool IsAsciiWord(const wchar_t* from) noexcept {
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return (word & 0xFF80FF80FF80FF80u) == 0;
}

#endif

// Continues a run that starts at `done` element by element.
template <class Char>
inline std::size_t FinishAsciiRun(const Char* text, std::size_t count, std::size_t done) noexcept {
    using Unit = std::conditional_t<sizeof(Char) == 1, unsigned char, char16_t>;
    while (done < count && static_cast<Unit>(text[done]) < 0x80) {
        ++done;
    }
    return done;
}

// How many of the count elements of text come before the first one that is not ASCII.
inline std::size_t AsciiRun(const char* text, std::size_t count) noexcept {
    std::size_t done = 0;
#if defined(ZTK_VECTOR_TEXT)
    for (; count - done >= kVectorBytes; done += kVectorBytes) {
        const auto high = static_cast<unsigned>(_mm_movemask_epi8(LoadBlock(text + done)));
        if (high != 0) {
            return done + static_cast<std::size_t>(std::countr_zero(high));
        }
    }
#else
    while (count - done >= 8 && IsAsciiWord(text + done)) {
        done += 8;
    }
#endif
    return FinishAsciiRun(text, count, done);
}

inline std::size_t AsciiRun(const wchar_t* text, std::size_t count) noexcept {
    std::size_t done = 0;
#if defined(ZTK_VECTOR_TEXT)
    for (; count - done >= 16; done += 16) {
        const __m128i both = _mm_or_si128(LoadBlock(text + done), LoadBlock(text + done + 8));
        if (NonAsciiUnits(both) != 0) {
            break;
        }
    }
    for (; count - done >= 8; done += 8) {
        const unsigned other = NonAsciiUnits(LoadBlock(text + done));
        if (other != 0) {
            return done + static_cast<std::size_t>(std::countr_zero(other)) / 2;
        }
    }
#else
    while (count - done >= 4 && IsAsciiWord(text + done)) {
        done += 4;
    }
#endif
    return FinishAsciiRun(text, count, done);
}

// Copies the ASCII run at the start of text into the other width and returns its length. target has
// room for count elements; those behind the run may be written, too.
inline std::size_t CopyAsciiRun(const char* text, std::size_t count, wchar_t* target) noexcept {
    std::size_t done = 0;
#if defined(ZTK_VECTOR_TEXT)
    const __m128i zero = _mm_setzero_si128();
    for (; count - done >= kVectorBytes; done += kVectorBytes) {
        const __m128i bytes = LoadBlock(text + done);
        const auto high = static_cast<unsigned>(_mm_movemask_epi8(bytes));
        auto* const out = reinterpret_cast<__m128i*>(target + done);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(bytes, zero));
        if (high != 0) {
            return done + static_cast<std::size_t>(std::countr_zero(high));
        }
    }
    if (done != 0 && done != count) {
        // The rest is shorter than a block: the last block of the text covers it once more.
        const std::size_t last = count - kVectorBytes;
        const __m128i bytes = LoadBlock(text + last);
        const auto high = static_cast<unsigned>(_mm_movemask_epi8(bytes));
        auto* const out = reinterpret_cast<__m128i*>(target + last);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(bytes, zero));
        return high == 0 ? count : last + static_cast<std::size_t>(std::countr_zero(high));
    }
#else
    while (count - done >= 8 && IsAsciiWord(text + done)) {
        for (const std::size_t stop = done + 8; done < stop; ++done) {
            target[done] = static_cast<wchar_t>(text[done]);
        }
    }
#endif
    const std::size_t end = FinishAsciiRun(text, count, done);
    for (; done < end; ++done) {
        target[done] = static_cast<wchar_t>(text[done]);
    }
    return done;
}

inline std::size_t CopyAsciiRun(const wchar_t* text, std::size_t count, char* target) noexcept {
    std::size_t done = 0;
#if defined(ZTK_VECTOR_TEXT)
    for (; count - done >= 16; done += 16) {
        const __m128i first = LoadBlock(text + done);
        const __m128i second = LoadBlock(text + done + 8);
        if (NonAsciiUnits(_mm_or_si128(first, second)) != 0) {
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + done),
                         _mm_packus_epi16(first, second));
    }
    for (; count - done >= 8; done += 8) {
        const __m128i units = LoadBlock(text + done);
        const unsigned other = NonAsciiUnits(units);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target + done), _mm_packus_epi16(units, units));
        if (other != 0) {
            return done + static_cast<std::size_t>(std::countr_zero(other)) / 2;
        }
    }
    if (done != 0 && done != count) {
        // The rest is shorter than a block: the last block of the text covers it once more.
        const std::size_t last = count - 8;
        const __m128i units = LoadBlock(text + last);
        const unsigned other = NonAsciiUnits(units);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target + last), _mm_packus_epi16(units, units));
        return other == 0 ? count : last + static_cast<std::size_t>(std::countr_zero(other)) / 2;
    }
#else
    while (count - done >= 4 && IsAsciiWord(text + done)) {
        for (const std::size_t stop = done + 4; done < stop; ++done) {
            target[done] = static_cast<char>(text[done]);
        }
    }
#endif
    const std::size_t end = FinishAsciiRun(text, count, done);
    for (; done < end; ++done) {
        target[done] = static_cast<char>(text[done]);
    }
    return done;
}

// The first bytes of a text that a zero byte ends, in two words. Of a text shorter than a block
// that is all of it, together with its length, found in one step instead of byte by byte.
class ShortText {
  public:
    static constexpr std::size_t kLongest = kVectorBytes - 1;

    explicit ShortText(const char* text) noexcept {
#if defined(ZTK_VECTOR_TEXT)
        // A block that lies within a page can be read, whatever of it belongs to the text.
        constexpr std::uintptr_t kSmallestPage = 4096;
        const std::uintptr_t place = reinterpret_cast<std::uintptr_t>(text) % kSmallestPage;
        if (!reads_are_watched && place <= kSmallestPage - kVectorBytes) [[likely]] {
            const __m128i block = LoadBlock(text);
            const __m128i ends = _mm_cmpeq_epi8(block, _mm_setzero_si128());
            const auto end_bits = static_cast<unsigned>(_mm_movemask_epi8(ends));
            length_ = static_cast<std::size_t>(std::countr_zero(end_bits | 1U << kVectorBytes));
            const __m128i kept = _mm_and_si128(block, LoadBlock(kMask + kVectorBytes - length_));
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

    // Writes the text and zeros behind it, kVectorBytes units in all. REQUIRES: IsAscii().
    void Widen(wchar_t* target) const noexcept {
#if defined(ZTK_VECTOR_TEXT)
        const __m128i block = _mm_set_epi64x(static_cast<std::int64_t>(words_[1]),
                                             static_cast<std::int64_t>(words_[0]));
        auto* const out = reinterpret_cast<__m128i*>(target);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(block, _mm_setzero_si128()));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(block, _mm_setzero_si128()));
#else
        std::copy_n(reinterpret_cast<const char*>(words_), kVectorBytes, target);
#endif
    }

  private:
    [[gnu::noinline]] void ReadInSteps(const char* text) noexcept {
        char bytes[kVectorBytes] = {};
        for (length_ = 0; length_ < kVectorBytes && text[length_] != 0; ++length_) {
            bytes[length_] = text[length_];
        }
        std::memcpy(words_, bytes, sizeof words_);
    }

#if defined(ZTK_VECTOR_TEXT)
    // kVectorBytes bytes of ones, and as many zeros.
    static constexpr unsigned char kMask[2 * kVectorBytes] = {
        255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255};
#endif

    std::uint64_t words_[2];
    std::size_t length_;
};

// Tells which units are wanted; of a block, each such unit gives all ones.
class OneUnit {
  public:
    explicit OneUnit(wchar_t a) noexcept : a_(a) {}
    bool operator()(wchar_t unit) const noexcept { return unit == a_; }
#if defined(ZTK_VECTOR_TEXT)
    __m128i operator()(const __m128i* block) const noexcept {
        return _mm_cmpeq_epi16(_mm_load_si128(block), _mm_set1_epi16(static_cast<short>(a_)));
    }
#endif

  private:
    wchar_t a_;
};

class EitherUnit {
  public:
    EitherUnit(wchar_t a, wchar_t b) noexcept : a_(a), b_(b) {}
    bool operator()(wchar_t unit) const noexcept { return a_(unit) || b_(unit); }
#if defined(ZTK_VECTOR_TEXT)
    __m128i operator()(const __m128i* block) const noexcept {
        return _mm_or_si128(a_(block), b_(block));
    }
#endif

  private:
    OneUnit a_;
    OneUnit b_;
};

// The index of the first wanted unit, or limit if none comes before it. Reads nothing behind it.
template <class Wanted>
std::size_t FindUnitInSteps(const wchar_t* text, std::size_t limit, Wanted wanted) noexcept {
    std::size_t index = 0;
    while (index < limit && !wanted(text[index])) {
        ++index;
    }
    return index;
}

#if defined(ZTK_VECTOR_TEXT)

// The same. Reads groups of four blocks that are aligned to their size: a group lies within one
// page, so that no page is touched behind the one with the last unit that has to be seen.
template <class Wanted>
std::size_t FindUnitInGroups(const wchar_t* text, std::size_t limit, Wanted wanted) noexcept {
    constexpr std::size_t kGroupUnits = 4 * kVectorBytes / sizeof(wchar_t);
    // One bit for each unit.
    const auto bits = [&](const __m128i* group) noexcept {
        const __m128i low = _mm_packs_epi16(wanted(group), wanted(group + 1));
        const __m128i high = _mm_packs_epi16(wanted(group + 2), wanted(group + 3));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(low)) |
               static_cast<std::uint32_t>(_mm_movemask_epi8(high)) << 16;
    };
    if (limit == 0) {
        return 0;
    }
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    const std::size_t before = address % (4 * kVectorBytes);
    const auto* group = reinterpret_cast<const __m128i*>(address - before);
    std::uint32_t found = bits(group) >> before / sizeof(wchar_t);
    std::size_t index = 0;
    std::size_t next = kGroupUnits - before / sizeof(wchar_t);
    while (found == 0 && next < limit) {
        group += 4;
        found = bits(group);
        index = next;
        next += kGroupUnits;
    }
    return found == 0 ? limit
                      : std::min(limit, index + static_cast<std::size_t>(std::countr_zero(found)));
}

#endif

template <class Wanted>
std::size_t FindUnit(const wchar_t* text, std::size_t limit, Wanted wanted) noexcept {
#if defined(ZTK_VECTOR_TEXT)
    if (!reads_are_watched) {
        return FindUnitInGroups(text, limit, wanted);
    }
#endif
    return FindUnitInSteps(text, limit, wanted);
}

}  // namespace ZTKPosix
