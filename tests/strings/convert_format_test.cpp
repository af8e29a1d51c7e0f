// StrConvert and StrFormat: what they return, and what they take from the rings.
#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "support/faults.h"
#include "support/guarded_text.h"
#include "support/text.h"
#include "ztk/memory.h"
#include "ztk/platform.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;

constexpr unsigned kUtf8 = 65001;

// text with a run of U+007F in place of each blank.
template <class Char>
std::vector<Char> Stretched(const Char* text, std::size_t run) {
    std::vector<Char> units;
    for (; *text != 0; ++text) {
        units.insert(units.end(), *text == ' ' ? run : 1, *text == ' ' ? Char(0x7F) : *text);
    }
    units.push_back(0);
    return units;
}

// Characters of one to four bytes stand before, in and behind ASCII runs of all lengths that a
// block of 16 can meet.
TEST(StrConvert, Utf8AndUtf16ConvertIntoEachOther) {
    constexpr char kNarrow[] =
        " \xC2\x80 \xDF\xBF \xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80 \xEF\xBF\xBF "
        "\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF ";
    constexpr wchar_t kWide[] =
        L" \x80 \x7FF \x800 \xD7FF \xE000 \xFFFF \xD800\xDC00 \xDBFF\xDFFF ";
    for (std::size_t run = 0; run < 36; ++run) {
        const std::vector<char> narrow = Stretched(kNarrow, run);
        const std::vector<wchar_t> wide = Stretched(kWide, run);
        EXPECT_TEXT(wide.data(), StrConvert(narrow.data(), kUtf8));
        EXPECT_TEXT(narrow.data(), StrConvert(wide.data(), kUtf8));
    }
}

// One replacement character for each part that could not have become a character.
TEST(StrConvert, MalformedTextBecomesReplacementCharacters) {
    const auto wide = [](const char* narrow) { return StrConvert(narrow, kUtf8); };
    EXPECT_TEXT(L"\xFFFDz|\xFFFDz|\xFFFD\xFFFD|\xFFFD\xFFFD",
                wide("\x80z|\xE2\x82z|\xFF\xFE|\xF5\x80"));
    EXPECT_TEXT(L"\xFFFD\xE4|\xFFFD\xE4", wide("\xC3\xC3\xA4|\xF0\x9F\x98\xC3\xA4"));
    EXPECT_TEXT(L"\xFFFD\xFFFD|\xFFFD\xFFFD", wide("\xC0\x80|\xE0\x80\x80"));  // overlong
    EXPECT_TEXT(L"\xFFFD\xFFFD\xFFFD|", wide("\xF0\x80\x80\x80|"));
    EXPECT_TEXT(L"\xFFFD\xFFFD|", wide("\xED\xA0\x80|"));            // a surrogate
    EXPECT_TEXT(L"\xFFFD\xFFFD\xFFFDz", wide("\xF4\x90\x80\x80z"));  // above U+10FFFF
    for (const char* const cut : {"\xC3", "\xE2\x82", "\xF0\x9F\x98"}) {
        EXPECT_TEXT(L"\xFFFD", wide(cut));
    }
    EXPECT_TEXT("\xEF\xBF\xBD\xEF\xBF\xBDz", StrConvert(L"\xDC00\xD800z", kUtf8));
    EXPECT_TEXT("\xEF\xBF\xBD\xF0\x90\x80\x80", StrConvert(L"\xD800\xD800\xDC00", kUtf8));
}

// Scripts in runs of all lengths, cut by malformed pieces, at the start or the end of memory that
// may be read: every set of instructions gives what the baseline's gives.
TEST(StrConvert, EverySetOfInstructionsConvertsAlike) {
    using ZTK::processor::InstructionSet;
    using ztk_test::UseInstructions;
    constexpr const char* kPieces[] = {
        "a",        "0123456789abcdefghi", "\xC3\xA9",     "\xD0\xB6\xD1\x8F",
        "\xDF\xBF", "\xE4\xB8\xAD",        "\xEF\xBF\xBF", "\xF0\x9F\x98\x80"};
    static ztk_test::GuardedText narrow_memory, wide_memory;
    std::mt19937 random(1);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    for (int round = 0; round < 6000; ++round) {
        const std::size_t from = below(std::size(kPieces)), size = 1 + below(400);
        const std::size_t kinds = 1 + below(std::size(kPieces) - from);
        std::string text;
        while (text.size() < size) {
            text += kPieces[from + below(kinds)];
        }
        const char* const narrow = narrow_memory.Put(
            std::vector<char>(text.c_str(), text.c_str() + text.size() + 1), round % 3 != 0);
        ASSERT_TRUE(UseInstructions(InstructionSet::kBaseline));
        const wchar_t* const wide = StrConvert(narrow, kUtf8);
        std::vector<wchar_t> units(wide, wide + StrLength(wide) + 1);
        units[below(units.size() - 1)] = round % 4 == 3 ? L'\xD83D' : L'z';  // half a pair
        const wchar_t* const source = wide_memory.Put(units, round % 3 != 0);
        const char* const back = StrConvert(source, kUtf8);
        if (UseInstructions(InstructionSet::kAvx2)) {
            ASSERT_TEXT(wide, StrConvert(narrow, kUtf8)) << round;
            ASSERT_TEXT(back, StrConvert(source, kUtf8)) << round;
        }
    }
}

TEST(StrConvert, OtherCodePagesGoByNumber) {
    EXPECT_TEXT(L"\x20AC\xE4", StrConvert("\x80\xE4", 1252));
    EXPECT_TEXT("\x80?\xE4", StrConvert(L"\x20AC\x3042\xE4", 1252));
    EXPECT_TEXT(L"\x3042z", StrConvert("\x82\xA0z", 932));
    EXPECT_TEXT("\x82\xA0z", StrConvert(L"\x3042z", 932));
    EXPECT_TEXT("ascii", StrConvert(StrConvert("ascii", 0), 0));
}

TEST(StrConvert, ThereIsNoResultForNothing) {
    SetLastError(42);
    EXPECT_EQ(StrConvert("", kUtf8), nullptr);
    EXPECT_EQ(StrConvert(static_cast<const char*>(nullptr), 0), nullptr);
    EXPECT_EQ(StrConvert(static_cast<const wchar_t*>(nullptr), 0), nullptr);
    EXPECT_EQ(StrConvert("a", 64999), nullptr);
    EXPECT_EQ(StrConvert(L"a", 64999), nullptr);
    EXPECT_EQ(GetLastError(), 42u);
}

// 512000 elements with the terminator fit a ring string; the next text does not.
TEST(RingStrings, AResultIsNeitherEmptyNorLongerThanOne) {
    std::string text(511999, 'a');
    EXPECT_EQ(StrLength(StrConvert(text.c_str(), kUtf8)), 511999u);
    EXPECT_EQ(StrLength(StrFormat("%s", text.c_str())), 511999u);
    text += 'a';
    EXPECT_EQ(StrConvert(text.c_str(), kUtf8), nullptr);
    EXPECT_EQ(StrFormat(L"%512000d", 1), nullptr);
    EXPECT_EQ(StrFormat(L"%s", L""), nullptr);
}

// The requests that a ring sees while call runs. A slot comes back after 256 requests, so the
// requests between two sightings of one slot tell.
template <class Char, class Call>
unsigned RequestsOf(Call call) {
    Char* mark = nullptr;
    ZTKGetTmpString(mark, 1);
    call();
    unsigned others = 0;
    for (Char* slot = nullptr; slot != mark; ++others) {
        ZTKGetTmpString(slot, 1);
    }
    return 256 - others;
}

TEST(RingStrings, EachResultTakesOneAndAFailureNone) {
    const auto narrow = [] {
        EXPECT_NE(StrFormat("%d", 7), nullptr);
        EXPECT_NE(StrFormat("%2000d", 7), nullptr);  // too long for a buffer on the stack
        EXPECT_EQ(StrFormat("%s", ""), nullptr);
        EXPECT_EQ(StrFormat(static_cast<const char*>(nullptr)), nullptr);
        EXPECT_EQ(StrFormat("%512000d", 7), nullptr);
        EXPECT_NE(StrConvert(L"a", kUtf8), nullptr);
        EXPECT_EQ(StrConvert(L"", kUtf8), nullptr);
    };
    EXPECT_EQ(RequestsOf<char>(narrow), 3u);
    EXPECT_EQ(RequestsOf<wchar_t>([] { EXPECT_NE(StrConvert("a", kUtf8), nullptr); }), 1u);
}

// For formats that read the same in both widths.
#define EXPECT_BOTH(expected, format, ...)                               \
    EXPECT_TEXT(expected, StrFormat(format __VA_OPT__(, ) __VA_ARGS__)); \
    EXPECT_TEXT(L##expected, StrFormat(L##format __VA_OPT__(, ) __VA_ARGS__))

TEST(StrFormat, NumbersFollowPrintf) {
    EXPECT_BOTH("%7||0|", "%%%d||%.0d%d|", 7, 0, 0);
    EXPECT_BOTH("   -7|-7   |-0007|+7| 7", "%5d|%-5d|%05d|%+d|% d", -7, -7, -7, 7, 7);
    EXPECT_BOTH("  007|007  |+007", "%5.3d|%-5.3d|%+.3d", 7, 7, 7);
    EXPECT_BOTH("    7|7    |00007", "%*d|%*d|%.*d", 5, 7, -5, 7, 5, 7);
    EXPECT_BOTH("7|-2147483648|-1", "%.*d|%d|%hd", -3, 7, INT32_MIN, 0xFFFF);
    EXPECT_BOTH("4294967295|ffffffff|FFFFFFFF|37777777777", "%u|%x|%X|%o", -1, -1, -1, -1);
    EXPECT_BOTH("0x1f|0X1F|017|0|0x001f", "%#x|%#X|%#o|%#x|%#06x", 31, 31, 15, 0, 31);
    EXPECT_BOTH("-9223372036854775808|18446744073709551615", "%lld|%I64u", INT64_MIN, UINT64_MAX);
    EXPECT_BOTH("-1|4294967295|12|3", "%I32d|%I32u|%ld|%lu", -1, -1, 12L, 3UL);
    EXPECT_BOTH("1.500000|1|01.50|+1.5 |", "%f|%.0f|%05.2f|%+-5.1f|", 1.5, 1.0, 1.5, 1.5);
    EXPECT_BOTH("0.1|100000|  -0.5", "%g|%G|%*.1f", 0.1, 100000.0, 6, -0.5);
    EXPECT_BOTH("A|  B|C  |", "%c|%3c|%-3c|", 'A', 'B', 'C');
    const char* const pointer = StrFormat("%p", reinterpret_cast<void*>(0xAB12));
    EXPECT_TEXT(&"000000000000AB12"[16 - 2 * sizeof(void*)], pointer);
}

TEST(StrFormat, TextsFollowTheirWidth) {
    const char* const null = nullptr;
    const wchar_t* const wide_null = nullptr;
    const char open[] = {'a', 'b', 'c'};  // not terminated: the precision bounds the reading
    const wchar_t wide_open[] = {L'a', L'b', L'c'};
    EXPECT_TEXT("abc|abc|abc|abc", StrFormat("%hs|%ls|%ws|%S", "abc", L"abc", L"abc", L"abc"));
    EXPECT_TEXT(L"abc|abc|abc|abc", StrFormat(L"%hs|%ls|%ws|%S", "abc", L"abc", L"abc", "abc"));
    EXPECT_TEXT("  a|a  |  a|a  |", StrFormat("%3s|%-3s|%3ls|%-3S|", "a", "a", L"a", L"a"));
    EXPECT_TEXT(L"  a|a  |  a|a  |", StrFormat(L"%3s|%-3s|%3hs|%-3S|", L"a", L"a", "a", "a"));
    EXPECT_TEXT("ab abc abc", StrFormat("%.2s %.*s %.3ls", open, 3, open, wide_open));
    EXPECT_TEXT(L"ab abc abc", StrFormat(L"%.2s %.*s %.3hs", wide_open, 3, wide_open, open));
    EXPECT_TEXT("(null) (null)", StrFormat("%s %ls", null, wide_null));
    EXPECT_TEXT(L"(null) (null)", StrFormat(L"%s %hs", wide_null, null));
    EXPECT_TEXT("a|b|c", StrFormat("%hc|%lc|%C", 'a', L'b', L'c'));
    EXPECT_TEXT(L"a|b|c", StrFormat(L"%hc|%lc|%C", 'a', L'b', 'c'));
}

// Around the size of the buffer on the stack, where formatting changes from once to twice.
TEST(StrFormat, TextsOfAnyLengthArriveWhole) {
    for (int length = 505; length < 520; ++length) {
        const std::string text = std::string(static_cast<std::size_t>(length) - 1, ' ') + '7';
        EXPECT_TEXT(text.c_str(), StrFormat("%*d", length, 7));
        EXPECT_TEXT(StrConvert(text.c_str(), 0), StrFormat(L"%*d", length, 7));
    }
}

}  // namespace
