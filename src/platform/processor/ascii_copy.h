// Copies ASCII from narrow into wide text and back, many characters at a time. Serves both targets.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#define ZTK_VECTOR_ASCII 1
#endif

namespace ZTK {

namespace ascii_copy {

inline constexpr std::size_t kVectorBytes = 16;

#if defined(ZTK_VECTOR_ASCII)

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

}  // namespace ascii_copy

// Copies the ASCII run at the start of text into the other width and returns its length. target has
// room for count elements; those behind the run may be written, too.
inline std::size_t CopyAsciiRun(const char* text, std::size_t count, wchar_t* target) noexcept {
    std::size_t done = 0;
#if defined(ZTK_VECTOR_ASCII)
    const __m128i zero = _mm_setzero_si128();
    for (; count - done >= ascii_copy::kVectorBytes; done += ascii_copy::kVectorBytes) {
        const __m128i bytes = ascii_copy::LoadBlock(text + done);
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
        const std::size_t last = count - ascii_copy::kVectorBytes;
        const __m128i bytes = ascii_copy::LoadBlock(text + last);
        const auto high = static_cast<unsigned>(_mm_movemask_epi8(bytes));
        auto* const out = reinterpret_cast<__m128i*>(target + last);
        _mm_storeu_si128(out, _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi8(bytes, zero));
        return high == 0 ? count : last + static_cast<std::size_t>(std::countr_zero(high));
    }
#else
    while (count - done >= 8 && ascii_copy::IsAsciiWord(text + done)) {
        for (const std::size_t stop = done + 8; done < stop; ++done) {
            target[done] = static_cast<wchar_t>(text[done]);
        }
    }
#endif
    const std::size_t end = ascii_copy::FinishAsciiRun(text, count, done);
    for (; done < end; ++done) {
        target[done] = static_cast<wchar_t>(text[done]);
    }
    return done;
}

inline std::size_t CopyAsciiRun(const wchar_t* text, std::size_t count, char* target) noexcept {
    std::size_t done = 0;
#if defined(ZTK_VECTOR_ASCII)
    for (; count - done >= 16; done += 16) {
        const __m128i first = ascii_copy::LoadBlock(text + done);
        const __m128i second = ascii_copy::LoadBlock(text + done + 8);
        if (ascii_copy::NonAsciiUnits(_mm_or_si128(first, second)) != 0) {
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + done),
                         _mm_packus_epi16(first, second));
    }
    for (; count - done >= 8; done += 8) {
        const __m128i units = ascii_copy::LoadBlock(text + done);
        const unsigned other = ascii_copy::NonAsciiUnits(units);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target + done), _mm_packus_epi16(units, units));
        if (other != 0) {
            return done + static_cast<std::size_t>(std::countr_zero(other)) / 2;
        }
    }
    if (done != 0 && done != count) {
        // The rest is shorter than a block: the last block of the text covers it once more.
        const std::size_t last = count - 8;
        const __m128i units = ascii_copy::LoadBlock(text + last);
        const unsigned other = ascii_copy::NonAsciiUnits(units);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target + last), _mm_packus_epi16(units, units));
        return other == 0 ? count : last + static_cast<std::size_t>(std::countr_zero(other)) / 2;
    }
#else
    while (count - done >= 4 && ascii_copy::IsAsciiWord(text + done)) {
        for (const std::size_t stop = done + 4; done < stop; ++done) {
            target[done] = static_cast<char>(text[done]);
        }
    }
#endif
    const std::size_t end = ascii_copy::FinishAsciiRun(text, count, done);
    for (; done < end; ++done) {
        target[done] = static_cast<char>(text[done]);
    }
    return done;
}

// The same by the best instructions that the processor has.
std::size_t CopyAscii(const char* text, std::size_t count, wchar_t* target) noexcept;
std::size_t CopyAscii(const wchar_t* text, std::size_t count, char* target) noexcept;

}  // namespace ZTK
