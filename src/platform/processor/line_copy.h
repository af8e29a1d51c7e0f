// Copies text and finds its lines in one pass. Looks at the instruction set, like the layer's
// vector_text.h; this one serves both targets.
#pragma once

#include <bit>
#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#define ZTK_VECTOR_LINES 1
#endif

namespace ZTK {

// Copies count characters to target, each line feed as NUL, and calls on_end with the index of each
// NUL in target, in order.
template <class T, class OnEnd>
void CopyLines(const T* text, std::size_t count, T* target, OnEnd on_end) {
    std::size_t done = 0;
#if defined(ZTK_VECTOR_LINES)
    if constexpr (sizeof(T) == 1) {
        constexpr std::size_t kStep = 32;
        const __m128i feed = _mm_set1_epi8('\n');
        const __m128i zero = _mm_setzero_si128();
        for (; count - done >= kStep; done += kStep) {
            unsigned ends = 0;
            for (std::size_t half = 0; half < kStep; half += 16) {
                const __m128i bytes =
                    _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + done + half));
                const __m128i stored = _mm_andnot_si128(_mm_cmpeq_epi8(bytes, feed), bytes);
                _mm_storeu_si128(reinterpret_cast<__m128i*>(target + done + half), stored);
                ends |= static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(stored, zero)))
                        << half;
            }
            for (; ends != 0; ends &= ends - 1) {
                on_end(done + static_cast<std::size_t>(std::countr_zero(ends)));
            }
        }
    }
#endif
    for (; done < count; ++done) {
        target[done] = text[done] == '\n' ? T{0} : text[done];
        if (target[done] == 0) {
            on_end(done);
        }
    }
}

}  // namespace ZTK
