#include "platform/processor/base64_lanes.h"

#include "platform/processor/instruction_set.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define ZTK_FOR_16_LANES __attribute__((target("ssse3"), always_inline)) inline

namespace ZTK::base64 {
namespace {

// --- Encoding. A group of three bytes becomes a lane of 32 bits with two overlapping halves, b0:b1
// and b1:b2. Each half holds two sextets: the upper one is moved down by the high part of a
// product, the lower one up by the low part of another.

constexpr int kUpperSextets = 0x0FC0FC00;
constexpr int kUpperFactors = 0x04000040;
constexpr int kLowerSextets = 0x003F03F0;
constexpr int kLowerFactors = 0x01000010;

// What to add to a sextet for its character, by kind of sextet: 0 lower case, 1 to 10 digits, 11
// '+', 12 '/', 13 upper case.
#define ZTK_CHARACTER_OFFSETS                                                                 \
    'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, \
        '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0

ZTK_FOR_16_LANES void Encode12(const unsigned char* in, unsigned char* out) noexcept {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i groups =
        _mm_shuffle_epi8(bytes, _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const __m128i upper = _mm_mulhi_epu16(_mm_and_si128(groups, _mm_set1_epi32(kUpperSextets)),
                                          _mm_set1_epi32(kUpperFactors));
    const __m128i lower = _mm_mullo_epi16(_mm_and_si128(groups, _mm_set1_epi32(kLowerSextets)),
                                          _mm_set1_epi32(kLowerFactors));
    const __m128i sextets = _mm_or_si128(upper, lower);

    const __m128i is_upper_case = _mm_cmplt_epi8(sextets, _mm_set1_epi8(26));
    const __m128i kinds = _mm_or_si128(_mm_subs_epu8(sextets, _mm_set1_epi8(51)),
                                       _mm_and_si128(is_upper_case, _mm_set1_epi8(13)));
    const __m128i offsets = _mm_shuffle_epi8(_mm_setr_epi8(ZTK_CHARACTER_OFFSETS), kinds);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_add_epi8(sextets, offsets));
}

// Reads 16 bytes for the 12 that it encodes.
ZTK_FOR_16_LANES std::size_t EncodeBlocks16(const unsigned char* in, std::size_t n,
                                            unsigned char* out) noexcept {
    std::size_t done = 0;
    for (; n - done >= 16; done += 12) {
        Encode12(in + done, out + done / 3 * 4);
    }
    return done;
}

// --- Decoding. A character is in the alphabet if the kinds that its upper and its lower half byte
// allow have one in common: 1 '+' and '/', 2 digits, 4 the first, 8 the last letters of a case.
// What to add for its sextet depends on the upper half alone, but for '/', which takes the unused
// place before that of '+'.

#define ZTK_KINDS_BY_UPPER 0, 0, 1, 2, 4, 8, 4, 8, 0, 0, 0, 0, 0, 0, 0, 0
#define ZTK_KINDS_BY_LOWER 10, 14, 14, 14, 14, 14, 14, 14, 14, 14, 12, 5, 4, 4, 4, 5
#define ZTK_SEXTET_OFFSETS \
    0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0

// Pairs of sextets to 12 bits, pairs of those to 24.
constexpr int kSextetFactors = 0x01400140;
constexpr int kPairFactors = 0x00011000;

// Bytes 2, 1, 0 of each 32-bit lane, closed up.
#define ZTK_GROUP_BYTES 2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1

// False, with nothing written, if one of the 16 characters is outside the alphabet.
ZTK_FOR_16_LANES bool Decode16(const unsigned char* in, unsigned char* out) noexcept {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i half = _mm_set1_epi8(0x0F);
    const __m128i upper = _mm_and_si128(_mm_srli_epi32(text, 4), half);
    const __m128i kinds = _mm_and_si128(
        _mm_shuffle_epi8(_mm_setr_epi8(ZTK_KINDS_BY_UPPER), upper),
        _mm_shuffle_epi8(_mm_setr_epi8(ZTK_KINDS_BY_LOWER), _mm_and_si128(text, half)));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(kinds, _mm_setzero_si128())) != 0) {
        return false;
    }
    const __m128i slash = _mm_cmpeq_epi8(text, _mm_set1_epi8('/'));
    const __m128i offsets =
        _mm_shuffle_epi8(_mm_setr_epi8(ZTK_SEXTET_OFFSETS), _mm_add_epi8(upper, slash));
    const __m128i pairs =
        _mm_maddubs_epi16(_mm_add_epi8(text, offsets), _mm_set1_epi32(kSextetFactors));
    const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(kPairFactors));
    const __m128i bytes = _mm_shuffle_epi8(groups, _mm_setr_epi8(ZTK_GROUP_BYTES));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), bytes);
    _mm_storeu_si32(out + 8, _mm_srli_si128(bytes, 8));
    return true;
}

ZTK_FOR_16_LANES std::size_t DecodeBlocks16(const unsigned char* in, std::size_t n,
                                            unsigned char* out) noexcept {
    std::size_t done = 0;
    while (n - done >= 16 && Decode16(in + done, out + done / 4 * 3)) {
        done += 16;
    }
    return done;
}

__attribute__((target("ssse3"))) std::size_t EncodeBy16(const unsigned char* in, std::size_t n,
                                                        unsigned char* out) noexcept {
    return EncodeBlocks16(in, n, out);
}

__attribute__((target("ssse3"))) std::size_t DecodeBy16(const unsigned char* in, std::size_t n,
                                                        unsigned char* out) noexcept {
    return DecodeBlocks16(in, n, out);
}

#if defined(ZTK_HAS_AVX2_CODE)

// The same steps on two blocks of 16 lanes, side by side.

ZTK_INLINE_AVX2 void Encode24(const unsigned char* in, unsigned char* out) noexcept {
    const __m256i bytes = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 12)), 1);
    const __m256i groups = _mm256_shuffle_epi8(
        bytes, _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                                1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const __m256i upper =
        _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(kUpperSextets)),
                           _mm256_set1_epi32(kUpperFactors));
    const __m256i lower =
        _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(kLowerSextets)),
                           _mm256_set1_epi32(kLowerFactors));
    const __m256i sextets = _mm256_or_si256(upper, lower);

    const __m256i is_upper_case = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), sextets);
    const __m256i kinds = _mm256_or_si256(_mm256_subs_epu8(sextets, _mm256_set1_epi8(51)),
                                          _mm256_and_si256(is_upper_case, _mm256_set1_epi8(13)));
    const __m256i offsets =
        _mm256_shuffle_epi8(_mm256_setr_epi8(ZTK_CHARACTER_OFFSETS, ZTK_CHARACTER_OFFSETS), kinds);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_add_epi8(sextets, offsets));
}

ZTK_INLINE_AVX2 bool Decode32(const unsigned char* in, unsigned char* out) noexcept {
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    const __m256i half = _mm256_set1_epi8(0x0F);
    const __m256i upper = _mm256_and_si256(_mm256_srli_epi32(text, 4), half);
    const __m256i kinds = _mm256_and_si256(
        _mm256_shuffle_epi8(_mm256_setr_epi8(ZTK_KINDS_BY_UPPER, ZTK_KINDS_BY_UPPER), upper),
        _mm256_shuffle_epi8(_mm256_setr_epi8(ZTK_KINDS_BY_LOWER, ZTK_KINDS_BY_LOWER),
                            _mm256_and_si256(text, half)));
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi8(kinds, _mm256_setzero_si256())) != 0) {
        return false;
    }
    const __m256i slash = _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/'));
    const __m256i offsets = _mm256_shuffle_epi8(
        _mm256_setr_epi8(ZTK_SEXTET_OFFSETS, ZTK_SEXTET_OFFSETS), _mm256_add_epi8(upper, slash));
    const __m256i pairs =
        _mm256_maddubs_epi16(_mm256_add_epi8(text, offsets), _mm256_set1_epi32(kSextetFactors));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(kPairFactors));
    const __m256i halves =
        _mm256_shuffle_epi8(groups, _mm256_setr_epi8(ZTK_GROUP_BYTES, ZTK_GROUP_BYTES));
    const __m256i bytes =
        _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(bytes, 1));
    return true;
}

ZTK_TARGET_AVX2 std::size_t EncodeBy32(const unsigned char* in, std::size_t n,
                                       unsigned char* out) noexcept {
    std::size_t done = 0;
    for (; n - done >= 28; done += 24) {
        Encode24(in + done, out + done / 3 * 4);
    }
    return done + EncodeBlocks16(in + done, n - done, out + done / 3 * 4);
}

ZTK_TARGET_AVX2 std::size_t DecodeBy32(const unsigned char* in, std::size_t n,
                                       unsigned char* out) noexcept {
    std::size_t done = 0;
    while (n - done >= 32 && Decode32(in + done, out + done / 4 * 3)) {
        done += 32;
    }
    return done + DecodeBlocks16(in + done, n - done, out + done / 4 * 3);
}

#endif

}  // namespace

Lanes BestLanes() noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (processor::HasAvx2()) {
        return Lanes::k32;
    }
#endif
    return processor::HasSsse3() ? Lanes::k16 : Lanes::kNone;
}

std::size_t EncodeLanes(Lanes lanes, const unsigned char* in, std::size_t n,
                        unsigned char* out) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (lanes == Lanes::k32) {
        return EncodeBy32(in, n, out);
    }
#endif
    return lanes == Lanes::kNone ? 0 : EncodeBy16(in, n, out);
}

std::size_t DecodeLanes(Lanes lanes, const unsigned char* in, std::size_t n,
                        unsigned char* out) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (lanes == Lanes::k32) {
        return DecodeBy32(in, n, out);
    }
#endif
    return lanes == Lanes::kNone ? 0 : DecodeBy16(in, n, out);
}

}  // namespace ZTK::base64

#else

namespace ZTK::base64 {

Lanes BestLanes() noexcept {
    return Lanes::kNone;
}

std::size_t EncodeLanes(Lanes, const unsigned char*, std::size_t, unsigned char*) noexcept {
    return 0;
}

std::size_t DecodeLanes(Lanes, const unsigned char*, std::size_t, unsigned char*) noexcept {
    return 0;
}

}  // namespace ZTK::base64

#endif
