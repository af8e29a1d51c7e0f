#include "platform/processor/ascii_copy.h"

#include "platform/processor/instruction_set.h"

#if defined(ZTK_HAS_AVX2_CODE)
#include <immintrin.h>
#endif

namespace ZTK {

#if defined(ZTK_HAS_AVX2_CODE)
namespace {

constexpr std::size_t kBlock = 16;
constexpr std::size_t kLarge = 64;

template <class T>
ZTK_INLINE_AVX2 __m256i Load32(const T* from) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

template <class T>
ZTK_INLINE_AVX2 void Store32(T* to, __m256i bytes) noexcept {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
}

ZTK_INLINE_AVX2 std::size_t FirstOf(unsigned bits, std::size_t none) noexcept {
    return bits == 0 ? none : static_cast<std::size_t>(std::countr_zero(bits));
}

// Both copy a block and return how many of its characters come before one that is not ASCII.
ZTK_INLINE_AVX2 std::size_t CopyBlock(const char* text, wchar_t* target) noexcept {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    Store32(target, _mm256_cvtepu8_epi16(bytes));
    return FirstOf(static_cast<unsigned>(_mm_movemask_epi8(bytes)), kBlock);
}

ZTK_INLINE_AVX2 std::size_t CopyBlock(const wchar_t* text, char* target) noexcept {
    const __m256i units = Load32(text);
    const __m128i low = _mm256_castsi256_si128(units), high = _mm256_extracti128_si256(units, 1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(low, high));
    const __m256i above = _mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(0xFF80)));
    const __m256i is_ascii = _mm256_cmpeq_epi16(above, _mm256_setzero_si256());
    return FirstOf(~static_cast<unsigned>(_mm256_movemask_epi8(is_ascii)), 2 * kBlock) / 2;
}

// Both copy a large block; false, with nothing written, if not all of it is ASCII.
ZTK_INLINE_AVX2 bool CopyLarge(const char* text, wchar_t* target) noexcept {
    if (_mm256_movemask_epi8(_mm256_or_si256(Load32(text), Load32(text + 32))) != 0) {
        return false;
    }
    CopyBlock(text, target);
    CopyBlock(text + 16, target + 16);
    CopyBlock(text + 32, target + 32);
    CopyBlock(text + 48, target + 48);
    return true;
}

ZTK_INLINE_AVX2 bool CopyLarge(const wchar_t* text, char* target) noexcept {
    const __m256i a = Load32(text), b = Load32(text + 16);
    const __m256i c = Load32(text + 32), d = Load32(text + 48);
    const __m256i all = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
    if (_mm256_testz_si256(all, _mm256_set1_epi16(static_cast<short>(0xFF80))) == 0) {
        return false;
    }
    // The halves of two registers are packed crosswise; the order is mended behind it.
    constexpr int kInOrder = 0b11'01'10'00;
    Store32(target, _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), kInOrder));
    Store32(target + 32, _mm256_permute4x64_epi64(_mm256_packus_epi16(c, d), kInOrder));
    return true;
}

// REQUIRES: at least a block.
template <class Source, class Target>
ZTK_TARGET_AVX2 std::size_t CopyByAvx2(const Source* text, std::size_t count,
                                       Target* target) noexcept {
    std::size_t done = 0;
    while (count - done >= kLarge && CopyLarge(text + done, target + done)) {
        done += kLarge;
    }
    while (done != count) {
        if (count - done < kBlock) {
            done = count - kBlock;  // the last block covers some characters once more
        }
        const std::size_t ascii = CopyBlock(text + done, target + done);
        done += ascii;
        if (ascii != kBlock) {
            break;
        }
    }
    return done;
}

}  // namespace
#endif

std::size_t CopyAscii(const char* text, std::size_t count, wchar_t* target) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (count >= kBlock && processor::HasAvx2()) {
        return CopyByAvx2(text, count, target);
    }
#endif
    return CopyAsciiRun(text, count, target);
}

std::size_t CopyAscii(const wchar_t* text, std::size_t count, char* target) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (count >= kBlock && processor::HasAvx2()) {
        return CopyByAvx2(text, count, target);
    }
#endif
    return CopyAsciiRun(text, count, target);
}

}  // namespace ZTK
