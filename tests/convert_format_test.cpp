// StrConvert and StrFormat: what they return, and what they take from the rings.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/text.h"
#include "ztk/memory.h"
#include "ztk/platform.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;

constexpr unsigned kUtf8 = 65001;
constexpr unsigned kUnknownPage = 64999;

// Pairs that convert into each other. Characters of one to four bytes stand before, in and behind
// ASCII runs of all lengths that a block of 16 can meet.
TEST(StrConvert, Utf8AndUtf16ConvertIntoEachOther) {
    constexpr struct {
        const char* narrow;
        const wchar_t* wide;
    } kCharacters[] = {
        {"a", L"a"},
        {"\x7F", L"\x7F"},
        {"\xC2\x80", L"\x80"},
        {"\xDF\xBF", L"\x7FF"},
        {"\xE0\xA0\x80", L"\x800"},
        {"\xED\x9F\xBF", L"\xD7FF"},
        {"\xEE\x80\x80", L"\xE000"},
        {"\xEF\xBF\xBF", L"\xFFFF"},
        {"\xF0\x90\x80\x80", L"\xD800\xDC00"},
        {"\xF4\x8F\xBF\xBF", L"\xDBFF\xDFFF"},
    };
    for (const auto& row : kCharacters) {
        for (std::size_t before = 0; before < 36; ++before) {
            std::vector<char> narrow(before, 'x');
            std::vector<wchar_t> wide(before, L'x');
            narrow.insert(narrow.end(), row.narrow, row.narrow + StrLength(row.narrow));
            wide.insert(wide.end(), row.wide, row.wide + StrLength(row.wide));
            narrow.insert(narrow.end(), 36 - before, 'y');
            wide.insert(wide.end(), 36 - before, L'y');
            narrow.push_back(0);
            wide.push_back(0);
            EXPECT_TEXT(wide.data(), StrConvert(narrow.data(), kUtf8));
            EXPECT_TEXT(narrow.data(), StrConvert(wide.data(), kUtf8));
        }
    }
}

// One replacement character for each part that could not have become a character.
TEST(StrConvert, MalformedUtf8BecomesReplacementCharacters) {
    constexpr struct {
        const char* narrow;
        const wchar_t* wide;
    } kMalformed[] = {
        {"a\x80z", L"a\xFFFDz"},
        {"\x80\xBF", L"\xFFFD\xFFFD"},
        {"\xC0\x80", L"\xFFFD\xFFFD"},
        {"\xFF\xFE", L"\xFFFD\xFFFD"},
        {"\xC3", L"\xFFFD"},
        {"\xC3z", L"\xFFFDz"},
        {"\xC3\xC3\xA4", L"\xFFFD\xE4"},
        {"\xE2\x82", L"\xFFFD"},
        {"\xE2\x82z", L"\xFFFDz"},
        {"\xF0\x9F\x98", L"\xFFFD"},
        {"\xF0\x9F\x98\xC3\xA4", L"\xFFFD\xE4"},
        {"\xF5\x80", L"\xFFFD\xFFFD"},
        {"\xE0\x80\x80", L"\xFFFD\xFFFD"},              // overlong
        {"\xF0\x80\x80\x80", L"\xFFFD\xFFFD\xFFFD"},    // overlong
        {"\xED\xA0\x80", L"\xFFFD\xFFFD"},              // a surrogate
        {"\xF4\x90\x80\x80z", L"\xFFFD\xFFFD\xFFFDz"},  // above U+10FFFF
    };
    for (const auto& row : kMalformed) {
        EXPECT_TEXT(row.wide, StrConvert(row.narrow, kUtf8));
    }
}

TEST(StrConvert, LoneSurrogatesBecomeReplacementCharacters) {
    constexpr struct {
        const wchar_t* wide;
        const char* narrow;
    } kLone[] = {
        {L"a\xD800z", "a\xEF\xBF\xBDz"},
        {L"\xDC00", "\xEF\xBF\xBD"},
        {L"\xDC00\xD800", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {L"\xD800\xD800\xDC00", "\xEF\xBF\xBD\xF0\x90\x80\x80"},
    };
    for (const auto& row : kLone) {
        EXPECT_TEXT(row.narrow, StrConvert(row.wide, kUtf8));
    }
}

TEST(StrConvert, OtherCodePagesGoByNumber) {
    constexpr struct {
        unsigned page;
        const char* narrow;
        const wchar_t* wide;
    } kPages[] = {
        {1252, "\x80\xE4", L"\x20AC\xE4"},
        {28591, "\xE4", L"\xE4"},
        {20866, "\xC1", L"\x0430"},
        {932, "\x82\xA0z", L"\x3042z"},
    };
    for (const auto& row : kPages) {
        SCOPED_TRACE(row.page);
        EXPECT_TEXT(row.wide, StrConvert(row.narrow, row.page));
        EXPECT_TEXT(row.narrow, StrConvert(row.wide, row.page));
    }
    EXPECT_TEXT("a?z", StrConvert(L"a\x3042z", 1252));
    EXPECT_TEXT("ascii", StrConvert(L"ascii", 0));
    EXPECT_TEXT(L"ascii", StrConvert("ascii", 0));
}

TEST(StrConvert, ThereIsNoResultForNothing) {
    SetLastError(42);
    EXPECT_EQ(StrConvert(L"", 0), nullptr);
    EXPECT_EQ(StrConvert("", kUtf8), nullptr);
    EXPECT_EQ(StrConvert(static_cast<const char*>(nullptr), 0), nullptr);
    EXPECT_EQ(StrConvert(static_cast<const wchar_t*>(nullptr), 0), nullptr);
    EXPECT_EQ(StrConvert("a", kUnknownPage), nullptr);
    EXPECT_EQ(StrConvert(L"a", kUnknownPage), nullptr);
    EXPECT_EQ(GetLastError(), 42u);
}

// 512000 elements with the terminator fit a ring string; the next text does not.
TEST(StrConvert, ResultsEndAtTheSizeOfARingString) {
    std::vector<char> narrow(511999, 'a');
    narrow.push_back(0);
    const wchar_t* const wide = StrConvert(narrow.data(), kUtf8);
    ASSERT_NE(wide, nullptr);
    EXPECT_EQ(StrLength(wide), 511999u);
    narrow.insert(narrow.begin(), 'a');
    EXPECT_EQ(StrConvert(narrow.data(), kUtf8), nullptr);
    EXPECT_EQ(StrLength(StrFormat("%511999d", 1)), 511999u);
    EXPECT_EQ(StrFormat("%512000d", 1), nullptr);
    EXPECT_EQ(StrFormat(L"%512000d", 1), nullptr);
}

// The number of requests that the narrow and the wide ring see while call runs. A slot comes back
// after 256 requests, so the requests between two sightings of one slot tell.
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
    std::vector<char> long_text(2000, 'a');
    long_text.push_back(0);
    const auto narrow = [&] {
        EXPECT_NE(StrFormat("%d", 7), nullptr);
        EXPECT_NE(StrFormat("%s", long_text.data()),
                  nullptr);  // too long for a buffer on the stack
        EXPECT_EQ(StrFormat("%s", ""), nullptr);
        EXPECT_EQ(StrFormat("%600000d", 7), nullptr);
        EXPECT_NE(StrConvert(L"a", kUtf8), nullptr);
        EXPECT_EQ(StrConvert(L"", kUtf8), nullptr);
    };
    EXPECT_EQ(RequestsOf<char>(narrow), 3u);
    EXPECT_EQ(RequestsOf<wchar_t>(narrow), 0u);
    EXPECT_EQ(RequestsOf<wchar_t>([] { EXPECT_NE(StrConvert("a", kUtf8), nullptr); }), 1u);
}

// A row for formats that read the same in both widths.
#define ROW(expected, format, ...)                                           \
    {                                                                        \
        expected, StrFormat(format __VA_OPT__(, ) __VA_ARGS__), L##expected, \
            StrFormat(L##format __VA_OPT__(, ) __VA_ARGS__)                  \
    }

struct BothWidths {
    const char* narrow_expected;
    const char* narrow;
    const wchar_t* wide_expected;
    const wchar_t* wide;
};

TEST(StrFormat, NumbersFollowPrintf) {
    const BothWidths rows[] = {
        ROW("7", "%d", 7),
        ROW("100%", "%d%%", 100),
        ROW("%", "%%"),
        ROW("   -7|-7   |-0007|+7| 7", "%5d|%-5d|%05d|%+d|% d", -7, -7, -7, 7, 7),
        ROW("  007|007  |+007", "%5.3d|%-5.3d|%+.3d", 7, 7, 7),
        ROW("|0|", "|%.0d%d|", 0, 0),
        ROW("    7|7    |00007", "%*d|%*d|%.*d", 5, 7, -5, 7, 5, 7),
        ROW("7", "%.*d", -3, 7),  // a negative precision is none
        ROW("-2147483648", "%d", INT32_MIN),
        ROW("4294967295|ffffffff|FFFFFFFF|37777777777", "%u|%x|%X|%o", -1, -1, -1, -1),
        ROW("0x1f|0X1F|017|0|0x001f", "%#x|%#X|%#o|%#x|%#06x", 31, 31, 15, 0, 31),
        ROW("-9223372036854775808", "%lld", INT64_MIN),
        ROW("18446744073709551615", "%I64u", UINT64_MAX),
        ROW("-1|4294967295", "%I32d|%I32u", -1, -1),
        ROW("-1", "%hd", 0xFFFF),
        ROW("12|3", "%ld|%lu", 12L, 3UL),
        ROW("1.500000|1.5|1|01.50|+1.50|1.50 |", "%f|%.1f|%.0f|%05.2f|%+.2f|%-5.2f|", 1.5, 1.5, 1.0,
            1.5, 1.5, 1.5),
        ROW("0.1|100000|  -0.5", "%g|%G|%*.1f", 0.1, 100000.0, 6, -0.5),
        ROW("A|  B|C  |", "%c|%3c|%-3c|", 'A', 'B', 'C'),
    };
    for (const BothWidths& row : rows) {
        EXPECT_TEXT(row.narrow_expected, row.narrow);
        EXPECT_TEXT(row.wide_expected, row.wide);
    }
}

TEST(StrFormat, TextsFollowTheirWidth) {
    const char* const null = nullptr;
    const wchar_t* const wide_null = nullptr;
    const char open[] = {'a', 'b', 'c'};  // not terminated: the precision bounds the reading
    const wchar_t wide_open[] = {L'a', L'b', L'c'};
    const struct {
        const char* expected;
        const char* actual;
    } narrow[] = {
        {"abc|  abc|abc  |ab", StrFormat("%s|%5s|%-5s|%.2s", "abc", "abc", "abc", "abc")},
        {"abc|abc|abc|abc", StrFormat("%hs|%ls|%ws|%S", "abc", L"abc", L"abc", L"abc")},
        {"abc abc", StrFormat("%.3s %.*s", open, 3, open)},
        {"abc ab", StrFormat("%.3ls %.2S", wide_open, wide_open)},
        {"  abc|abc  |", StrFormat("%5ls|%-5S|", L"abc", L"abc")},
        {"(null) (null)", StrFormat("%s %ls", null, wide_null)},
        {"a|b|c", StrFormat("%hc|%lc|%C", 'a', L'b', L'c')},
    };
    for (const auto& row : narrow) {
        EXPECT_TEXT(row.expected, row.actual);
    }
    const struct {
        const wchar_t* expected;
        const wchar_t* actual;
    } wide[] = {
        {L"abc|  abc|abc  |ab", StrFormat(L"%s|%5s|%-5s|%.2s", L"abc", L"abc", L"abc", L"abc")},
        {L"abc|abc|abc|abc", StrFormat(L"%hs|%ls|%ws|%S", "abc", L"abc", L"abc", "abc")},
        {L"abc abc", StrFormat(L"%.3s %.*s", wide_open, 3, wide_open)},
        {L"abc ab", StrFormat(L"%.3hs %.2S", open, open)},
        {L"(null) (null)", StrFormat(L"%s %hs", wide_null, null)},
        {L"a|b|c", StrFormat(L"%hc|%lc|%C", 'a', L'b', 'c')},
        {L"\xE4\x4E2D|\xD83D\xDE00", StrFormat(L"%s|%s", L"\xE4\x4E2D", L"\xD83D\xDE00")},
    };
    for (const auto& row : wide) {
        EXPECT_TEXT(row.expected, row.actual);
    }
}

TEST(StrFormat, PointersAreAllTheirDigits) {
    const int digits = 2 * static_cast<int>(sizeof(void*));
    const auto* const pointer = reinterpret_cast<void*>(static_cast<std::uintptr_t>(0xAB12));
    EXPECT_TEXT(StrFormat("%0*X", digits, 0xAB12), StrFormat("%p", pointer));
    EXPECT_TEXT(StrFormat(L"%0*X", digits, 0xAB12), StrFormat(L"%p", pointer));
}

// Around the size of the buffer on the stack, where formatting changes from once to twice.
TEST(StrFormat, TextsOfAnyLengthArriveWhole) {
    for (int length = 505; length < 520; ++length) {
        const char* const narrow = StrFormat("%*d", length, 7);
        const wchar_t* const wide = StrFormat(L"%*d", length, 7);
        ASSERT_EQ(StrLength(narrow), static_cast<std::uint64_t>(length));
        ASSERT_EQ(StrLength(wide), static_cast<std::uint64_t>(length));
        EXPECT_EQ(narrow[length - 1], '7');
        EXPECT_EQ(wide[length - 1], L'7');
    }
}

TEST(StrFormat, AnEmptyResultIsNull) {
    EXPECT_EQ(StrFormat("%s", ""), nullptr);
    EXPECT_EQ(StrFormat(L"%s", L""), nullptr);
    EXPECT_EQ(StrFormat("%.0d", 0), nullptr);
    EXPECT_EQ(StrFormat(static_cast<const char*>(nullptr)), nullptr);
}

}  // namespace
