#include "platform/posix/text/wide_length.h"

#include <bit>
#include <cstdint>
#include <limits>

#include "platform/posix/text/vector_text.h"
#include "platform/posix/text/watched_reads.h"
#include "platform/processor/instruction_set.h"

#if defined(ZTK_HAS_AVX2_CODE)
#include <immintrin.h>
#endif

namespace ZTKPosix {

#if defined(ZTK_HAS_AVX2_CODE)
namespace {

// Two blocks that are aligned to their size together, so that they lie within one page.
constexpr std::size_t kGroup = 64;  // bytes

ZTK_INLINE_AVX2 __m256i Block(const char* at) noexcept {
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(at));
}

// Both bits of each unit that is zero.
ZTK_INLINE_AVX2 std::uint32_t ZeroUnits(__m256i units) noexcept {
    return static_cast<std::uint32_t>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi16(units, _mm256_setzero_si256())));
}

ZTK_INLINE_AVX2 std::uint64_t ZeroUnitsOfGroup(const char* group) noexcept {
    return ZeroUnits(Block(group)) | std::uint64_t{ZeroUnits(Block(group + 32))} << 32;
}

ZTK_TARGET_AVX2 std::size_t LengthByAvx2(const wchar_t* text) noexcept {
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    const std::size_t before = address % kGroup;
    const char* group = reinterpret_cast<const char*>(address - before);
    const std::uint64_t first = ZeroUnitsOfGroup(group) >> before;
    if (first != 0) {
        return static_cast<std::size_t>(std::countr_zero(first)) / sizeof(wchar_t);
    }
    do {
        group += kGroup;
    } while (ZeroUnits(_mm256_min_epu16(Block(group), Block(group + 32))) == 0);
    const auto distance = reinterpret_cast<std::uintptr_t>(group) - address;
    const auto in_group = static_cast<std::size_t>(std::countr_zero(ZeroUnitsOfGroup(group)));
    return (distance + in_group) / sizeof(wchar_t);
}

}  // namespace
#endif

std::size_t WideLength(const wchar_t* text) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (!reads_are_watched && ZTK::processor::HasAvx2()) {
        return LengthByAvx2(text);
    }
#endif
    return FindUnit(text, std::numeric_limits<std::size_t>::max(), OneUnit(0));
}

}  // namespace ZTKPosix
