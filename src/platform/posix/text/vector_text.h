// The search for a 16-bit unit, many at a time. Looks at the instruction set; text_scan.h in
// platform/processor is its like for the code of both targets.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/posix/text/watched_reads.h"
#include "platform/processor/ascii_copy.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define ZTK_VECTOR_TEXT 1
#endif

namespace ZTKPosix {

using ZTK::CopyAscii;
using ZTK::CopyAsciiRun;

inline constexpr std::size_t kVectorBytes = 16;

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

class NonAsciiUnit {
  public:
    bool operator()(wchar_t unit) const noexcept { return unit >= 0x80; }
#if defined(ZTK_VECTOR_TEXT)
    __m128i operator()(const __m128i* block) const noexcept {
        const __m128i above =
            _mm_and_si128(_mm_load_si128(block), _mm_set1_epi16(static_cast<short>(0xFF80)));
        return _mm_xor_si128(_mm_cmpeq_epi16(above, _mm_setzero_si128()), _mm_set1_epi16(-1));
    }
#endif
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
