// Character classes, length, copy, compare, search, replace and numbers, for both widths.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "support/text.h"
#include "ztk/memory.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;
using namespace std::string_literals;
using ztk_test::Show;

// A narrow literal in the width under test. Null stays null.
template <class Char>
struct Text {
    using Unit = Char;

    Text(const char* text) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
        units.assign(bytes, bytes + (text == nullptr ? 0 : StrLength(text) + 1));
    }
    operator Char*() const { return units.empty() ? nullptr : units.data(); }

    // -1 for null.
    int IndexOf(const Char* p) const { return p == nullptr ? -1 : static_cast<int>(p - *this); }
    std::string Contents() const { return {units.begin(), units.end() - 1}; }

    mutable std::vector<Char> units;
};

template <class... Columns>
using Rows = std::vector<std::tuple<Columns...>>;

template <class Width>
class Strings : public testing::Test {};
using Widths = testing::Types<Text<char>, Text<wchar_t>>;
TYPED_TEST_SUITE(Strings, Widths);

TYPED_TEST(Strings, OnlyAsciiLettersAndDigitsHaveAClass) {
    for (int value = 0; value <= (sizeof(typename TypeParam::Unit) == 1 ? 0xFF : 0xFFFF); ++value) {
        const auto c = static_cast<typename TypeParam::Unit>(value);
        const bool letter = (value >= 'A' && value <= 'Z') || (value >= 'a' && value <= 'z');
        const bool digit = value >= '0' && value <= '9';
        ASSERT_EQ(IsAlpha(c) != 0, letter) << value;
        ASSERT_EQ(IsNumeric(c) != 0, digit) << value;
        ASSERT_EQ(IsAlphaNum(c), letter || digit ? 1u : 0u) << value;
    }
}

// All block sizes of a vector loop end everywhere; the junk around the text must not count.
TYPED_TEST(Strings, LengthIsFoundAtEveryAlignment) {
    for (std::size_t start = 0; start < 16; ++start) {
        for (std::size_t length = 0; length < 70; ++length) {
            std::vector<typename TypeParam::Unit> units(start + length + 1, 0);
            auto* const s = units.data() + start;
            std::fill_n(s, length, static_cast<typename TypeParam::Unit>(0x80));
            ASSERT_EQ(StrLength(s), length) << start;
            ASSERT_EQ(EndOfString(s), length == 0 ? nullptr : s + length) << start;
        }
    }
    EXPECT_EQ(StrLength(TypeParam(nullptr)), 0u);
    EXPECT_EQ(EndOfString(TypeParam(nullptr)), nullptr);
}

TYPED_TEST(Strings, CopyTakesTheTerminatorAlongAndIgnoresNull) {
    const TypeParam dst("xxxxx"), null(nullptr);
    StrCopy(dst, TypeParam("abc"));
    StrCopy(dst, TypeParam(""));
    StrCopy(dst, null);
    StrCopy(null, dst);
    EXPECT_EQ(dst.Contents(), "\0bc\0x"s);
}

TYPED_TEST(Strings, SafeCopyDiffersBetweenTheWidths) {
    // 0 is no limit. A narrow cut stores a second terminator at 2n - 1. Wide cuts are not told.
    const Rows<TypeParam, std::uint64_t, std::string, std::string, bool> rows = {
        {"hello", 5, "hello\0"s, "hello\0"s, true},  {"hello", 3, "hel\0x\0"s, "hel\0xx"s, false},
        {"hello", 1, "h\0xxxx"s, "h\0xxxx"s, false}, {"he", 0, "he\0xxx"s, "he\0xxx"s, true},
        {"h", 0, "\0\0xxxx"s, "h\0xxxx"s, false},    {"", 0, "\0xxxxx"s, "\0xxxxx"s, false},
        {"", 3, "\0xxxxx"s, "\0xxxxx"s, true},       {nullptr, 3, "\0xxxxx"s, "\0xxxxx"s, false}};
    for (const auto& [src, n, narrow, wide, whole] : rows) {
        const bool is_wide = sizeof(*src) > 1;
        const TypeParam dst("xxxxxx");
        EXPECT_EQ(StrSafeCopy(dst, src, n), is_wide ? src != nullptr : whole) << Show(src) << n;
        EXPECT_EQ(dst.Contents(), is_wide ? wide : narrow) << Show(src) << n;
        EXPECT_FALSE(StrSafeCopy(TypeParam(nullptr), src, n));
    }
}

TYPED_TEST(Strings, ComparisonOrdersAndFolds) {
    constexpr std::uint64_t kAll = UINT64_MAX;
    // The signs of the exact and of the folding comparison. Folding is to lower case: '_' lies
    // between the cases. The neighbours of the letters are not folded.
    const Rows<TypeParam, TypeParam, std::uint64_t, int, int> rows = {
        {nullptr, nullptr, kAll, 0, 0}, {nullptr, "a", kAll, -1, -1}, {"a", nullptr, kAll, 1, 1},
        {"\xC4", "\xE4", kAll, -1, -1}, {"a", "b", 0, 0, 0},          {"ab", "a", kAll, 1, 1},
        {"ab", "a", 1, 0, 0},           {"abc", "abd", 2, 0, 0},      {"abc", "abd", 3, -1, -1},
        {"ABC", "abc", kAll, -1, 0},    {"AZaz", "azAZ", 4, -1, 0},   {"A", "_", kAll, -1, 1},
        {"@", "`", kAll, -1, -1},       {"[", "{", kAll, -1, -1},     {nullptr, "", 0, -1, -1}};
    for (const auto& [a, b, n, exact, folded] : rows) {
        SCOPED_TRACE(Show(a) + Show(b));
        EXPECT_EQ(std::clamp(StrCompareN(a, b, n, true), -1, 1), exact);
        EXPECT_EQ(std::clamp(StrCompareN(a, b, n, false), -1, 1), folded);
        if (n == kAll) {
            EXPECT_EQ(std::clamp(StrCompare(a, b, true), -1, 1), exact);
            EXPECT_EQ(std::clamp(StrCompare(a, b, false), -1, 1), folded);
            EXPECT_EQ(StrEqual(a, b, true), exact == 0);
            EXPECT_EQ(StrEqual(a, b, false), folded == 0);
        }
    }
}

TEST(StringsCompare, ElementsAreUnsignedAndOnlyAsciiIsFolded) {
    EXPECT_GT(StrCompare("\x80", "\x7F", true), 0);
    EXPECT_GT(StrCompare(L"\xFFFF", L"a", false), 0);
    EXPECT_NE(StrCompare(L"\x0141", L"\x0161", false), 0);  // 0x41 and 0x61 in the low byte
}

TYPED_TEST(Strings, SearchFindsTheFirstMatchInsideTheLimit) {
    const TypeParam text("abcabc");
    const Rows<TypeParam, TypeParam, int> rows = {
        {text, "ca", 2},    {"ab", "abc", -1},   {"aaab", "aab", 1}, {"abcabd", "abd", 3},
        {"abc", "", 3},     {"abc", nullptr, 3}, {"", "a", -1},      {"", "", -1},
        {nullptr, "a", -1}, {"abc", "B", -1},    {"abc", "c", 2},    {"\xFFzz", "z", 1}};
    for (const auto& [s, find, index] : rows) {
        SCOPED_TRACE(Show(s) + Show(find));
        EXPECT_EQ(s.IndexOf(StrFind(s, find)), index);
        EXPECT_EQ(s.IndexOf(StrSearch(s, find, 0)), index);
        EXPECT_EQ(s.IndexOf(StrSearch(s, find, 99)), index);
        if (StrLength(find) == 1) {  // the limit of an element search plays no part
            EXPECT_EQ(s.IndexOf(StrFind(s, *find)), index);
            EXPECT_EQ(s.IndexOf(StrSearch(s, *find, 1)), index);
        }
    }
    EXPECT_EQ(StrSearch(text, TypeParam("ca"), 3), nullptr);  // would end beyond the limit
    EXPECT_EQ(text.IndexOf(StrSearch(text, TypeParam("ca"), 4)), 2);
    EXPECT_EQ(text.IndexOf(StrSearch(text, TypeParam(""), 1)), 6);  // whatever the limit
    EXPECT_EQ(StrFind(text, '\0'), nullptr);
}

TYPED_TEST(Strings, ReverseSearchStepsBackFromAPosition) {
    const TypeParam s("abcabc"), null(nullptr);
    // A match may extend past from. An empty find gives the terminator, wherever begin is.
    const Rows<int, int, TypeParam, int> rows = {
        {0, 5, "bc", 4}, {0, 2, "bc", 1},  {0, 4, "bc", 4}, {0, 3, "abc", 3},   {0, 5, "cd", -1},
        {2, 5, "ab", 3}, {2, 2, "ab", -1}, {4, 2, "a", -1}, {0, 6, "c", 5},     {0, 4, "c", 2},
        {0, 0, "a", 0},  {1, 2, "a", -1},  {4, 2, "", 6},   {0, 2, nullptr, 6}, {0, 6, "", -1}};
    for (const auto& [begin, from, find, index] : rows) {
        SCOPED_TRACE(testing::Message() << begin << " " << from << Show(find));
        EXPECT_EQ(s.IndexOf(StrRevFind(s + begin, s + from, find)), index);
        if (StrLength(find) == 1) {
            EXPECT_EQ(s.IndexOf(StrRevFind(s + begin, s + from, *find)), index);
        }
    }
    EXPECT_EQ(StrRevFind(null, s, s), nullptr);
    EXPECT_EQ(StrRevFind(s, null, s), nullptr);
    EXPECT_EQ(StrRevFind(s, null, 'a'), nullptr);
}

TYPED_TEST(Strings, ElementsAreReplacedUpToTheTerminatorOfTheStart) {
    const TypeParam s("a-b-c");
    EXPECT_EQ(StrReplace(s, '-', '/'), 2u);
    EXPECT_EQ(StrReplace(s, '/', '\0'), 2u);
    EXPECT_EQ(s.Contents(), "a\0b\0c"s);
    EXPECT_EQ(StrReplace(TypeParam(nullptr), 'a', 'b'), 0u);
}

TYPED_TEST(Strings, TextsAreReplacedInAHeapCopy) {
    const TypeParam many(std::string(2'000'000, 'a').c_str());  // minutes if not linear
    const Rows<TypeParam, TypeParam, TypeParam, TypeParam> rows = {
        {"aaa", "a", "bb", "bbbbbb"}, {"abc", "", "x", nullptr},    {"", "a", "b", ""},
        {"aaaa", "aa", "a", "aa"},    {"aaa", "aa", "x", "xa"},     {"a-b-c", "-", "", "abc"},
        {"a", "a", nullptr, nullptr}, {"xaabx", "ab", "!", "xa!x"}, {"abc", "abcd", "x", "abc"},
        {nullptr, "a", "b", nullptr}, {"a", nullptr, "b", nullptr}, {many, "a", "a", many}};
    for (const auto& [s, find, repl, expected] : rows) {
        const auto* const result = StrReplace(s, find, repl);
        EXPECT_TEXT(expected, result) << Show(s) << Show(find);
        StrFree(result);
    }
}

TEST(StringsNumbers, DecimalNumbersWrapAt32Bits) {
    const Rows<const char*, int> rows = {{"12ab", 12}, {"-12", -12}, {"+12", 12}, {"-", 0},
                                         {"+-5", 0},   {"--5", 0},   {"", 0},     {" 5", 0},
                                         {nullptr, 0}, {"1\xB2", 1}};
    for (const auto& [s, value] : rows) {
        EXPECT_EQ(StrToIntA(s), value) << Show(s);
        EXPECT_EQ(StrToIntW(Text<wchar_t>(s)), value) << Show(s);
    }
    EXPECT_EQ(StrToIntA("2147483648"), INT32_MIN);
    EXPECT_EQ(StrToIntW(L"-4294967303"), -7);
}

}  // namespace
