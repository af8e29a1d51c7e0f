// UTF-8 and UTF-16 converted into each other with AVX2. Looks at the instruction set.
//
// A block of UTF-8 shows by its bits which bytes end a character. Twelve of those bits tell,
// through a table, how many characters can be taken at once and which bytes each has; a shuffle
// puts each into a lane of its own, and the lanes are joined and checked together. A character of
// four bytes, and whatever the check refuses, is taken alone.
#include "platform/posix/text/unicode_blocks.h"

#include <bit>
#include <cstdint>

#include "platform/posix/text/unicode.h"
#include "platform/posix/text/unicode_shuffles.h"
#include "platform/processor/instruction_set.h"

#if defined(ZTK_HAS_AVX2_CODE)
#include <immintrin.h>
#endif

namespace ZTKPosix {

#if defined(ZTK_HAS_AVX2_CODE)
namespace {

ZTK_INLINE_AVX2 __m128i Load16(const void* from) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
ZTK_INLINE_AVX2 __m256i Load32(const void* from) noexcept {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}
ZTK_INLINE_AVX2 void Store16(void* to, __m128i bytes) noexcept {
    _mm_storeu_si128(static_cast<__m128i*>(to), bytes);
}
ZTK_INLINE_AVX2 void Store32(void* to, __m256i bytes) noexcept {
    _mm256_storeu_si256(static_cast<__m256i*>(to), bytes);
}
ZTK_INLINE_AVX2 __m128i Shuffled(__m128i bytes, const shuffles::Shuffle& shuffle) noexcept {
    return _mm_shuffle_epi8(bytes, _mm_load_si128(reinterpret_cast<const __m128i*>(shuffle.from)));
}

// --- From UTF-8.

constexpr std::ptrdiff_t kBytes = kBlock<char>;
constexpr std::ptrdiff_t kStepBytes = 16;  // that a step reads

// One bit for each byte of a block.
struct ByteBits {
    std::uint64_t high;  // is not ASCII
    std::uint64_t ends;  // the next byte starts a character; unknown, and so 0, for the last one
};

ZTK_INLINE_AVX2 std::uint64_t Bits(__m256i low, __m256i high) noexcept {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(low)) |
           std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(high))} << 32;
}

ZTK_INLINE_AVX2 ByteBits Look(const char* block) noexcept {
    const __m256i low = Load32(block), high = Load32(block + 32);
    const __m256i last_following = _mm256_set1_epi8(static_cast<char>(0xBF));  // as a number, -65
    return {
        Bits(low, high),
        Bits(_mm256_cmpgt_epi8(low, last_following), _mm256_cmpgt_epi8(high, last_following)) >> 1};
}

ZTK_INLINE_AVX2 void Widen16(const char* text, wchar_t* out) noexcept {
    Store32(out, _mm256_cvtepu8_epi16(Load16(text)));
}

ZTK_INLINE_AVX2 __m128i Words(int value) noexcept {
    return _mm_set1_epi16(static_cast<short>(value));
}

// Both join the bytes in the lanes to characters and return whether all are well-formed. An empty
// lane counts as ASCII.
ZTK_INLINE_AVX2 bool PutTwos(__m128i lanes, wchar_t* out) noexcept {
    const __m128i characters = _mm_or_si128(_mm_and_si128(lanes, Words(0x7F)),
                                            _mm_srli_epi16(_mm_and_si128(lanes, Words(0x1F00)), 2));
    Store16(out, characters);
    const __m128i is_ascii =
        _mm_cmpeq_epi16(_mm_and_si128(lanes, Words(0xFF80)), _mm_setzero_si128());
    const __m128i is_pair = _mm_cmpeq_epi16(_mm_and_si128(lanes, Words(0xE0C0)), Words(0xC080));
    const __m128i is_not_overlong = _mm_cmpgt_epi16(characters, Words(0x7F));
    const __m128i good = _mm_or_si128(is_ascii, _mm_and_si128(is_pair, is_not_overlong));
    return _mm_movemask_epi8(good) == 0xFFFF;
}

// The characters in lanes of three bytes at most.
ZTK_INLINE_AVX2 __m256i JoinThrees(__m256i lanes) noexcept {
    const __m256i low = _mm256_and_si256(lanes, _mm256_set1_epi32(0x7F));
    const __m256i middle = _mm256_and_si256(lanes, _mm256_set1_epi32(0x3F00));
    const __m256i high = _mm256_and_si256(lanes, _mm256_set1_epi32(0x0F0000));
    return _mm256_or_si256(
        low, _mm256_or_si256(_mm256_srli_epi32(middle, 2), _mm256_srli_epi32(high, 4)));
}

// Which lanes hold three bytes that make a character.
ZTK_INLINE_AVX2 __m256i AreThrees(__m256i lanes, __m256i characters) noexcept {
    const __m256i shape =
        _mm256_cmpeq_epi32(_mm256_and_si256(lanes, _mm256_set1_epi32(static_cast<int>(0xFFF0C0C0))),
                           _mm256_set1_epi32(0xE08080));
    const __m256i is_not_overlong = _mm256_cmpgt_epi32(characters, _mm256_set1_epi32(0x7FF));
    const __m256i is_surrogate = _mm256_cmpeq_epi32(
        _mm256_and_si256(characters, _mm256_set1_epi32(0xF800)), _mm256_set1_epi32(0xD800));
    return _mm256_andnot_si256(is_surrogate, _mm256_and_si256(shape, is_not_overlong));
}

// Eight units from eight lanes.
ZTK_INLINE_AVX2 __m128i Narrowed(__m256i characters) noexcept {
    return _mm_packus_epi32(_mm256_castsi256_si128(characters),
                            _mm256_extracti128_si256(characters, 1));
}

// Eight characters of three bytes each.
ZTK_INLINE_AVX2 bool PutEightThrees(const char* text, wchar_t* out) noexcept {
    // The second load ends with the last byte, so that nothing behind it is read.
    const __m256i bytes =
        _mm256_inserti128_si256(_mm256_castsi128_si256(Load16(text)), Load16(text + 8), 1);
    const __m256i lanes = _mm256_shuffle_epi8(
        bytes, _mm256_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1,  //
                                6, 5, 4, -1, 9, 8, 7, -1, 12, 11, 10, -1, 15, 14, 13, -1));
    const __m256i characters = JoinThrees(lanes);
    Store16(out, Narrowed(characters));
    return _mm256_movemask_epi8(AreThrees(lanes, characters)) == -1;
}

ZTK_INLINE_AVX2 bool PutThrees(__m128i four_lanes, wchar_t* out) noexcept {
    const __m256i lanes = _mm256_zextsi128_si256(four_lanes);
    const __m256i characters = JoinThrees(lanes);
    Store16(out, Narrowed(characters));
    const __m256i is_ascii = _mm256_cmpeq_epi32(_mm256_and_si256(lanes, _mm256_set1_epi32(-0x80)),
                                                _mm256_setzero_si256());
    const __m256i shape =
        _mm256_cmpeq_epi32(_mm256_and_si256(lanes, _mm256_set1_epi32(static_cast<int>(0xFFFFE0C0))),
                           _mm256_set1_epi32(0xC080));
    const __m256i are_twos =
        _mm256_and_si256(shape, _mm256_cmpgt_epi32(characters, _mm256_set1_epi32(0x7F)));
    const __m256i good =
        _mm256_or_si256(_mm256_or_si256(is_ascii, are_twos), AreThrees(lanes, characters));
    return _mm256_movemask_epi8(good) == -1;
}

// Converts a block from `at` on, but for its last bytes, and returns how far it came. What a step
// reads stays within the block.
ZTK_INLINE_AVX2 std::ptrdiff_t ConvertBlock(const char* block, std::ptrdiff_t at, const char* end,
                                            ByteBits bits, wchar_t*& out) noexcept {
    constexpr std::uint64_t kSixteen = 0xFFFF, kEightThrees = 0x924924, kFour = 8;
    while (at <= kBytes - kStepBytes) {
        const std::uint64_t ends = bits.ends >> at;
        if ((bits.high >> at & kSixteen) == 0) {
            Widen16(block + at, out);
            at += 16;
            out += 16;
            continue;
        }
        if ((ends & 0xFFFFFF) == kEightThrees && PutEightThrees(block + at, out)) {
            at += 24;
            out += 8;
            continue;
        }
        if ((ends & 0xF) == kFour) {
            if (const char32_t four = TakeFour(block + at); four != 0) {
                out += PutCharacter(four, out);
                at += 4;
                continue;
            }
        }
        const shuffles::Step step = shuffles::kSteps.of[ends & ((1u << shuffles::kWindow) - 1)];
        const __m128i lanes = Shuffled(Load16(block + at), shuffles::kApart.of[step.shuffle]);
        const bool good =
            step.shuffle < shuffles::kTwos ? PutTwos(lanes, out) : PutThrees(lanes, out);
        if (good && step.taken != 0) {
            at += step.taken;
            out += step.made;
        } else {
            const char* character = block + at;
            out += PutCharacter(TakeCharacter(character, end), out);
            at = character - block;
        }
    }
    return at;
}

// REQUIRES: [text, end) has at least one block.
ZTK_TARGET_AVX2 BlocksDone ConvertByAvx2(const char* text, const char* end, wchar_t* out,
                                         const wchar_t* out_end) noexcept {
    const char* at = text;
    wchar_t* put = out;
    while (end - at >= kStepBytes && out_end - put >= kBlockRoom) {
        // The last block overlaps with what is done.
        const char* const block = end - at >= kBytes ? at : end - kBytes;
        const ByteBits bits = Look(block);
        if (bits.high == 0 && block == at) {
            for (int i = 0; i < kBytes; i += 16) {
                Widen16(at + i, put + i);
            }
            at += kBytes;
            put += kBytes;
        } else {
            at = block + ConvertBlock(block, at - block, end, bits, put);
        }
    }
    return {static_cast<std::size_t>(at - text), static_cast<std::size_t>(put - out)};
}

// --- To UTF-8.

constexpr std::ptrdiff_t kUnits = kBlock<wchar_t>;

ZTK_INLINE_AVX2 bool HasNone(__m256i units, int bits) noexcept {
    return _mm256_testz_si256(units, _mm256_set1_epi16(static_cast<short>(bits))) != 0;
}

// Large blocks of ASCII from the front of [text, end).
ZTK_INLINE_AVX2 void NarrowAscii(const wchar_t*& text, const wchar_t* end, char*& out,
                                 const char* out_end) noexcept {
    constexpr std::ptrdiff_t kLarge = 64;
    while (end - text >= kLarge && out_end - out >= kLarge) {
        const __m256i a = Load32(text), b = Load32(text + 16);
        const __m256i c = Load32(text + 32), d = Load32(text + 48);
        if (!HasNone(_mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d)), 0xFF80)) {
            break;
        }
        // The halves of two registers are packed crosswise; the order is mended behind it.
        constexpr int kInOrder = 0b11'01'10'00;
        Store32(out, _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), kInOrder));
        Store32(out + 32, _mm256_permute4x64_epi64(_mm256_packus_epi16(c, d), kInOrder));
        text += kLarge;
        out += kLarge;
    }
}

// Eight characters below U+0800.
ZTK_INLINE_AVX2 void PutTwos(__m128i units, char*& out) noexcept {
    const __m128i lead = _mm_or_si128(_mm_srli_epi16(units, 6), _mm_set1_epi16(0xC0));
    const __m128i following =
        _mm_or_si128(_mm_and_si128(units, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
    const __m128i pairs = _mm_or_si128(lead, _mm_slli_epi16(following, 8));
    const __m128i is_ascii = _mm_cmpgt_epi16(_mm_set1_epi16(0x80), units);
    const auto ascii =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(is_ascii, _mm_setzero_si128())));
    Store16(out, Shuffled(_mm_blendv_epi8(pairs, units, is_ascii), shuffles::kJoinTwos.of[ascii]));
    out += 16 - std::popcount(ascii);
}

// Eight characters below U+10000, none of them a surrogate.
ZTK_INLINE_AVX2 void PutThrees(__m128i units, char*& out) noexcept {
    const __m256i c = _mm256_cvtepu16_epi32(units);
    const __m256i six = _mm256_set1_epi32(0x3F), following = _mm256_set1_epi32(0x80);
    const __m256i above_one = _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7F));
    const __m256i above_two = _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7FF));
    const __m256i first = _mm256_or_si256(_mm256_srli_epi32(c, 12), _mm256_set1_epi32(0xE0));
    // The lead byte of a character of two has one bit more set than a following byte.
    const __m256i middle = _mm256_or_si256(
        _mm256_and_si256(_mm256_srli_epi32(c, 6), six),
        _mm256_or_si256(following, _mm256_andnot_si256(above_two, _mm256_set1_epi32(0x40))));
    const __m256i last =
        _mm256_blendv_epi8(c, _mm256_or_si256(_mm256_and_si256(c, six), following), above_one);
    const __m256i lanes = _mm256_or_si256(
        first, _mm256_or_si256(_mm256_slli_epi32(middle, 8), _mm256_slli_epi32(last, 16)));
    const auto more = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(above_one)));
    const auto most = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(above_two)));
    const unsigned low = (more & 15) | (most & 15) << 4;
    const unsigned high = more >> 4 | (most & 0xF0);
    Store16(out, Shuffled(_mm256_castsi256_si128(lanes), shuffles::kJoinThrees.of[low]));
    out += 4 + std::popcount(low);
    Store16(out, Shuffled(_mm256_extracti128_si256(lanes, 1), shuffles::kJoinThrees.of[high]));
    out += 4 + std::popcount(high);
}

ZTK_INLINE_AVX2 bool HasSurrogate(__m256i units) noexcept {
    const __m256i found =
        _mm256_cmpeq_epi16(_mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(0xF800))),
                           _mm256_set1_epi16(static_cast<short>(0xD800)));
    return _mm256_movemask_epi8(found) != 0;
}

ZTK_TARGET_AVX2 BlocksDone ConvertByAvx2(const wchar_t* text, const wchar_t* end, char* out,
                                         const char* out_end) noexcept {
    const wchar_t* block = text;
    char* put = out;
    while (end - block >= kUnits && out_end - put >= kBlockRoom) {
        const __m256i units = Load32(block);
        const __m128i low = _mm256_castsi256_si128(units);
        const __m128i high = _mm256_extracti128_si256(units, 1);
        if (HasNone(units, 0xFF80)) {
            Store16(put, _mm_packus_epi16(low, high));
            put += kUnits;
            NarrowAscii(block += kUnits, end, put, out_end);
            continue;
        }
        if (HasNone(units, 0xF800)) {
            PutTwos(low, put);
            PutTwos(high, put);
        } else if (!HasSurrogate(units)) {
            PutThrees(low, put);
            PutThrees(high, put);
        } else {
            // One unit more if the last one begins a pair.
            for (const wchar_t* const stop = block + kUnits; block < stop;) {
                put += PutCharacter(TakeCharacter(block, end), put);
            }
            continue;
        }
        block += kUnits;
    }
    return {static_cast<std::size_t>(block - text), static_cast<std::size_t>(put - out)};
}

}  // namespace
#endif

BlocksDone ConvertBlocks(const char* text, const char* end, wchar_t* out,
                         const wchar_t* out_end) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (ZTK::processor::HasAvx2()) {
        return ConvertByAvx2(text, end, out, out_end);
    }
#endif
    return {0, 0};
}

BlocksDone ConvertBlocks(const wchar_t* text, const wchar_t* end, char* out,
                         const char* out_end) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (ZTK::processor::HasAvx2()) {
        return ConvertByAvx2(text, end, out, out_end);
    }
#endif
    return {0, 0};
}

}  // namespace ZTKPosix
