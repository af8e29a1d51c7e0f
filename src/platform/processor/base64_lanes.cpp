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

// What to add to a sextet for its character, by kind of sextet: 0 upper case, 1 lower case, 2 to 11
// digits, 12 '+', 13 '/'.
#define ZTK_CHARACTER_OFFSETS                                                                      \
    'A', 'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, \
        '0' - 52, '0' - 52, '+' - 62, '/' - 63, 0, 0

ZTK_FOR_16_LANES void Encode12(const unsigned char* in, unsigned char* out) noexcept {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i groups =
        _mm_shuffle_epi8(bytes, _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const __m128i upper = _mm_mulhi_epu16(_mm_and_si128(groups, _mm_set1_epi32(kUpperSextets)),
                                          _mm_set1_epi32(kUpperFactors));
    const __m128i lower = _mm_mullo_epi16(_mm_and_si128(groups, _mm_set1_epi32(kLowerSextets)),
                                          _mm_set1_epi32(kLowerFactors));
    const __m128i sextets = _mm_or_si128(upper, lower);

    // A comparison gives -1: upper case stays 0, the others move up by one.
    const __m128i is_beyond_upper_case = _mm_cmpgt_epi8(sextets, _mm_set1_epi8(25));
    const __m128i kinds =
        _mm_sub_epi8(_mm_subs_epu8(sextets, _mm_set1_epi8(51)), is_beyond_upper_case);
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
// allow have one in common: 1 '+' and '/', 2 digits, 4 the first, 8 the last letters of a case. The
// shuffle looks at the lower half of an ASCII character by itself, and allows any other nothing.
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
    const __m128i kinds = _mm_and_si128(_mm_shuffle_epi8(_mm_setr_epi8(ZTK_KINDS_BY_UPPER), upper),
                                        _mm_shuffle_epi8(_mm_setr_epi8(ZTK_KINDS_BY_LOWER), text));
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

ZTK_INLINE_AVX2 __m256i Load32(const unsigned char* from) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

ZTK_INLINE_AVX2 void Store32(__m256i bytes, unsigned char* out) noexcept {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), bytes);
}

// Encodes the 24 bytes behind the first four.
ZTK_INLINE_AVX2 void Encode24(__m256i bytes, unsigned char* out) noexcept {
    const __m256i groups = _mm256_shuffle_epi8(
        bytes, _mm256_setr_epi8(5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14,  //
                                1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const __m256i upper =
        _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(kUpperSextets)),
                           _mm256_set1_epi32(kUpperFactors));
    const __m256i lower =
        _mm256_mullo_epi16(_mm256_and_si256(groups, _mm256_set1_epi32(kLowerSextets)),
                           _mm256_set1_epi32(kLowerFactors));
    const __m256i sextets = _mm256_or_si256(upper, lower);

    const __m256i is_beyond_upper_case = _mm256_cmpgt_epi8(sextets, _mm256_set1_epi8(25));
    const __m256i kinds =
        _mm256_sub_epi8(_mm256_subs_epu8(sextets, _mm256_set1_epi8(51)), is_beyond_upper_case);
    const __m256i offsets =
        _mm256_shuffle_epi8(_mm256_setr_epi8(ZTK_CHARACTER_OFFSETS, ZTK_CHARACTER_OFFSETS), kinds);
    Store32(_mm256_add_epi8(sextets, offsets), out);
}

ZTK_INLINE_AVX2 __m256i UpperHalves(__m256i text) noexcept {
    return _mm256_and_si256(_mm256_srli_epi32(text, 4), _mm256_set1_epi8(0x0F));
}

// The kinds that both halves of a character allow; none if it is outside the alphabet.
ZTK_INLINE_AVX2 __m256i Kinds(__m256i text, __m256i upper) noexcept {
    return _mm256_and_si256(
        _mm256_shuffle_epi8(_mm256_setr_epi8(ZTK_KINDS_BY_UPPER, ZTK_KINDS_BY_UPPER), upper),
        _mm256_shuffle_epi8(_mm256_setr_epi8(ZTK_KINDS_BY_LOWER, ZTK_KINDS_BY_LOWER), text));
}

ZTK_INLINE_AVX2 bool HasNoKind(__m256i kinds) noexcept {
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(kinds, _mm256_setzero_si256())) != 0;
}

// 12 bytes in the lower part of each half.
ZTK_INLINE_AVX2 __m256i Decoded(__m256i text, __m256i upper) noexcept {
    const __m256i slash = _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/'));
    const __m256i offsets = _mm256_shuffle_epi8(
        _mm256_setr_epi8(ZTK_SEXTET_OFFSETS, ZTK_SEXTET_OFFSETS), _mm256_add_epi8(upper, slash));
    const __m256i pairs =
        _mm256_maddubs_epi16(_mm256_add_epi8(text, offsets), _mm256_set1_epi32(kSextetFactors));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(kPairFactors));
    return _mm256_shuffle_epi8(groups, _mm256_setr_epi8(ZTK_GROUP_BYTES, ZTK_GROUP_BYTES));
}

// Stores the 24 bytes, and four more that the next ones overwrite.
ZTK_INLINE_AVX2 void Store28(__m256i bytes, unsigned char* out) noexcept {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 12), _mm256_extracti128_si256(bytes, 1));
}

ZTK_INLINE_AVX2 void Store24(__m256i halves, unsigned char* out) noexcept {
    const __m256i bytes =
        _mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(bytes, 1));
}

// Both are false, with nothing written, if a character is outside the alphabet.
ZTK_INLINE_AVX2 bool Decode32(const unsigned char* in, unsigned char* out) noexcept {
    const __m256i text = Load32(in), upper = UpperHalves(text);
    if (HasNoKind(Kinds(text, upper))) {
        return false;
    }
    Store24(Decoded(text, upper), out);
    return true;
}

ZTK_INLINE_AVX2 bool Decode128(const unsigned char* in, unsigned char* out) noexcept {
    const __m256i a = Load32(in), b = Load32(in + 32), c = Load32(in + 64), d = Load32(in + 96);
    const __m256i upper_a = UpperHalves(a), upper_b = UpperHalves(b);
    const __m256i upper_c = UpperHalves(c), upper_d = UpperHalves(d);
    const __m256i least = _mm256_min_epu8(_mm256_min_epu8(Kinds(a, upper_a), Kinds(b, upper_b)),
                                          _mm256_min_epu8(Kinds(c, upper_c), Kinds(d, upper_d)));
    if (HasNoKind(least)) {
        return false;
    }
    Store28(Decoded(a, upper_a), out);
    Store28(Decoded(b, upper_b), out + 24);
    Store28(Decoded(c, upper_c), out + 48);
    Store24(Decoded(d, upper_d), out + 72);
    return true;
}

ZTK_TARGET_AVX2 std::size_t EncodeBy32(const unsigned char* in, std::size_t n,
                                       unsigned char* out) noexcept {
    const unsigned char* at = in;
    const unsigned char* const end = in + n;
    if (n >= 32) {
        // Nothing may be read before the text: its first bytes are moved up.
        Encode24(_mm256_permutevar8x32_epi32(Load32(at), _mm256_setr_epi32(0, 0, 1, 2, 3, 4, 5, 6)),
                 out);
        at += 24;
        out += 32;
        for (; end - at >= 28 + 24; at += 48, out += 64) {
            Encode24(Load32(at - 4), out);
            Encode24(Load32(at + 20), out + 32);
        }
        if (end - at >= 28) {
            Encode24(Load32(at - 4), out);
            at += 24;
            out += 32;
        }
    }
    return static_cast<std::size_t>(at - in) +
           EncodeBlocks16(at, static_cast<std::size_t>(end - at), out);
}

// Large blocks are tried where the alphabet has filled one already: text in lines, which is shorter
// from break to break, would be looked at in vain each time.
constexpr std::ptrdiff_t kLarge = 128;
constexpr std::size_t kLong = 5 * kLarge;  // from here on they gain more than their constants cost

template <bool kIsLong>
ZTK_TARGET_AVX2 std::size_t DecodeBy32(const unsigned char* in, std::size_t n,
                                       unsigned char* out) noexcept {
    const unsigned char* at = in;
    const unsigned char* const end = in + n;
    if constexpr (kIsLong) {
        for (; at - in < kLarge && Decode32(at, out); at += 32, out += 24) {
        }
        for (; at - in >= kLarge && end - at >= kLarge && Decode128(at, out);
             at += kLarge, out += 96) {
        }
    }
    if (!kIsLong || at - in >= kLarge) {
        for (; end - at >= 32 && Decode32(at, out); at += 32, out += 24) {
        }
    }
    return static_cast<std::size_t>(at - in) +
           DecodeBlocks16(at, static_cast<std::size_t>(end - at), out);
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
        return n < kLong ? DecodeBy32<false>(in, n, out) : DecodeBy32<true>(in, n, out);
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
