// UTF-8 and UTF-16 converted into each other with AVX2. Looks at the instruction set.
//
// A block of UTF-8 shows by its bits which bytes end a character. Twelve of those bits tell,
// through a table, how many characters can be taken at once and which bytes each has; a shuffle
// puts each into a lane of its own, and the lanes are joined and checked together. A character of
// four bytes, and whatever the check refuses, is taken alone. The last part of a text, which is
// shorter than a block, goes through the same steps: what lies behind the text is looked at with
// it, but counts as nothing.
#include "platform/processor/unicode_blocks.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "platform/processor/instruction_set.h"
#include "platform/processor/unicode.h"
#include "platform/processor/unicode_shuffles.h"
#include "platform/processor/watched_reads.h"

#if defined(ZTK_HAS_AVX2_CODE)
#include <immintrin.h>
#endif

namespace ZTK::unicode {

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

// A part of a text that is shorter than Room bytes, for reads of so many.
template <std::size_t Room>
class ReadableRest {
  public:
    // The bytes behind the text have any value, unless the page of the text ends before them.
    ZTK_INLINE_AVX2 const char* Get(const void* text, std::size_t bytes) noexcept {
        constexpr std::uintptr_t kLeastPage = 4096;
        const bool is_beside_readable =
            reinterpret_cast<std::uintptr_t>(text) % kLeastPage <= kLeastPage - Room;
        if (is_beside_readable && !processor::reads_are_watched) {
            return static_cast<const char*>(text);
        }
        std::memset(copy_, 0, Room);
        std::memcpy(copy_, text, bytes);
        return copy_;
    }

  private:
    char copy_[Room];
};

// --- From UTF-8.

constexpr std::ptrdiff_t kBytes = 64;      // of a block
constexpr std::ptrdiff_t kStepBytes = 16;  // that a step reads
constexpr std::ptrdiff_t kStepRoom = 16;   // that a step writes at most

ZTK_INLINE_AVX2 void Widen16(const char* text, wchar_t* out) noexcept {
    Store32(out, _mm256_cvtepu8_epi16(Load16(text)));
}

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

// Where a block stands, and where in it the steps end. What a step reads stays within
// kBytes + kStepBytes.
struct Block {
    const char* bytes;
    const char* text_end;
    std::ptrdiff_t limit;
    std::ptrdiff_t known;  // bytes of it that are text
};

// Converts a block and returns how far it came: to the limit, unless the room ends.
ZTK_INLINE_AVX2 std::ptrdiff_t ConvertBlock(const Block& block, ByteBits bits, wchar_t*& out,
                                            const wchar_t* out_end) noexcept {
    constexpr std::uint64_t kSixteen = 0xFFFF, kEightThrees = 0x924924, kFour = 8;
    std::ptrdiff_t at = 0;
    while (at < block.limit && out_end - out >= kStepRoom) {
        const std::uint64_t ends = bits.ends >> at;
        const char* const from = block.bytes + at;
        if ((bits.high >> at & kSixteen) == 0 && block.known - at >= 16) {
            Widen16(from, out);
            at += 16;
            out += 16;
            continue;
        }
        if ((ends & 0xF) == kFour) {
            if (const char32_t four = TakeFour(from); four != 0) {
                out += PutCharacter(four, out);
                at += 4;
                continue;
            }
        }
        const shuffles::Step step = shuffles::kSteps.of[ends & ((1u << shuffles::kWindow) - 1)];
        bool good = false;
        if (step.shuffle < shuffles::kTwos) {
            good = PutTwos(Shuffled(Load16(from), shuffles::kApart.of[step.shuffle]), out);
        } else if ((ends & 0xFFFFFF) == kEightThrees && PutEightThrees(from, out)) {
            at += 24;
            out += 8;
            continue;
        } else {
            good = PutThrees(Shuffled(Load16(from), shuffles::kApart.of[step.shuffle]), out);
        }
        if (good && step.taken != 0) {
            at += step.taken;
            out += step.made;
        } else {
            const char* behind = from;
            out += PutCharacter(TakeCharacter(behind, block.text_end), out);
            at = behind - block.bytes;
        }
    }
    return at;
}

// What is known of the last `size` bytes of a text, which are less than a block.
ZTK_INLINE_AVX2 ByteBits LookAtRest(const char* bytes, std::ptrdiff_t size) noexcept {
    const ByteBits bits = Look(bytes);
    const std::uint64_t last = std::uint64_t{1} << (size - 1);
    return {bits.high & (last | (last - 1)), (bits.ends & (last - 1)) | last};
}

ZTK_TARGET_AVX2 BlocksDone ConvertByAvx2(const char* text, const char* end, wchar_t* out,
                                         const wchar_t* out_end) noexcept {
    ReadableRest<kBytes + kStepBytes> rest;
    const char* at = text;
    wchar_t* put = out;
    while (at != end && out_end - put >= kStepRoom) {
        const std::ptrdiff_t left = end - at;
        Block block = {at, end, kBytes - kStepBytes + 1, kBytes};
        ByteBits bits;
        if (left >= kBytes) {
            bits = Look(at);
            if (bits.high == 0 && out_end - put >= kBytes) {
                for (int i = 0; i < kBytes; i += 16) {
                    Widen16(at + i, put + i);
                }
                at += kBytes;
                put += kBytes;
                continue;
            }
        } else {
            const char* const bytes = rest.Get(at, static_cast<std::size_t>(left));
            block = {bytes, bytes + left, left, left};
            bits = LookAtRest(bytes, left);
        }
        at += ConvertBlock(block, bits, put, out_end);
    }
    return {static_cast<std::size_t>(at - text), static_cast<std::size_t>(put - out)};
}

// --- To UTF-8.

constexpr std::ptrdiff_t kUnits = 16;      // of a block
constexpr std::ptrdiff_t kBlockRoom = 64;  // that a block writes at most

ZTK_INLINE_AVX2 bool HasNone(__m256i units, int bits) noexcept {
    return _mm256_testz_si256(units, _mm256_set1_epi16(static_cast<short>(bits))) != 0;
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

// A block with surrogates, and one unit more if the last one begins a pair. Such characters stand
// together, with little but ASCII between them.
ZTK_INLINE_AVX2 const wchar_t* ConvertOneByOne(const wchar_t* text, const wchar_t* end,
                                               char*& out) noexcept {
    for (const wchar_t* const stop = end - text < kUnits ? end : text + kUnits; text < stop;) {
        const char32_t unit = static_cast<char32_t>(*text);
        if (unit < 0x80) {
            *out++ = static_cast<char>(unit);
            ++text;
        } else if (IsHighSurrogate(unit) && end - text > 1 && IsLowSurrogate(text[1])) {
            const char32_t c = TakeCharacter(text, end);
            const std::uint32_t four = 0x808080F0u | c >> 18 | (c >> 4 & 0x3F00) |
                                       (c << 10 & 0x3F0000) | (c << 24 & 0x3F000000);
            std::memcpy(out, &four, sizeof four);
            out += sizeof four;
        } else {
            out += PutCharacter(TakeCharacter(text, end), out);
        }
    }
    return text;
}

// Converts up to a block from the front of [text, end) and returns how far it came.
ZTK_INLINE_AVX2 const wchar_t* ConvertBlock(__m256i units, const wchar_t* text, const wchar_t* end,
                                            char*& out) noexcept {
    const __m128i low = _mm256_castsi256_si128(units);
    const __m128i high = _mm256_extracti128_si256(units, 1);
    if (HasNone(units, 0xFF80)) {
        Store16(out, _mm_packus_epi16(low, high));
        out += kUnits;
    } else if (HasNone(units, 0xF800)) {
        PutTwos(low, out);
        PutTwos(high, out);
    } else if (!HasSurrogate(units)) {
        PutThrees(low, out);
        PutThrees(high, out);
    } else {
        return ConvertOneByOne(text, end, out);
    }
    return text + kUnits;
}

// Converts less than a block, up to the end of the text.
ZTK_INLINE_AVX2 void ConvertRest(const wchar_t* text, std::ptrdiff_t size, char*& out) noexcept {
    constexpr std::size_t kBytesRead = kUnits * sizeof(wchar_t);
    ReadableRest<kBytesRead> readable;
    const __m256i units =
        Load32(readable.Get(text, static_cast<std::size_t>(size) * sizeof(wchar_t)));
    const __m256i index = _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m256i is_text = _mm256_cmpgt_epi16(_mm256_set1_epi16(static_cast<short>(size)), index);
    const wchar_t* const behind =
        ConvertBlock(_mm256_and_si256(units, is_text), text, text + size, out);
    // What lies behind the text was taken for zeros, of which each has become one byte.
    out -= behind - (text + size);
}

ZTK_TARGET_AVX2 BlocksDone ConvertByAvx2(const wchar_t* text, const wchar_t* end, char* out,
                                         const char* out_end) noexcept {
    const wchar_t* block = text;
    char* put = out;
    while (end - block >= kUnits && out_end - put >= kBlockRoom) {
        block = ConvertBlock(Load32(block), block, end, put);
    }
    if (block != end && end - block < kUnits && out_end - put >= kBlockRoom) {
        ConvertRest(block, end - block, put);
        block = end;
    }
    return {static_cast<std::size_t>(block - text), static_cast<std::size_t>(put - out)};
}

}  // namespace
#endif

BlocksDone ConvertBlocks([[maybe_unused]] const char* text, [[maybe_unused]] const char* end,
                         [[maybe_unused]] wchar_t* out,
                         [[maybe_unused]] const wchar_t* out_end) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (processor::HasAvx2()) {
        return ConvertByAvx2(text, end, out, out_end);
    }
#endif
    return {0, 0};
}

BlocksDone ConvertBlocks([[maybe_unused]] const wchar_t* text, [[maybe_unused]] const wchar_t* end,
                         [[maybe_unused]] char* out,
                         [[maybe_unused]] const char* out_end) noexcept {
#if defined(ZTK_HAS_AVX2_CODE)
    if (processor::HasAvx2()) {
        return ConvertByAvx2(text, end, out, out_end);
    }
#endif
    return {0, 0};
}

}  // namespace ZTK::unicode
