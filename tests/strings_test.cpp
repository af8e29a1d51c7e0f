// Character classes, length, copy, compare, search, replace and numbers, for both widths.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "support/text.h"
#include "ztk/memory.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;

// A narrow literal in the width under test. Null stays null.
template <class Char>
class Text {
  public:
    Text(const char* text) : is_null_(text == nullptr) {
        for (const char* p = text; p != nullptr && *p != 0; ++p) {
            units_.push_back(static_cast<Char>(static_cast<unsigned char>(*p)));
        }
        units_.push_back(0);
    }
    Char* get() { return is_null_ ? nullptr : units_.data(); }
    operator const Char*() { return get(); }

  private:
    bool is_null_;
    std::vector<Char> units_;
};

template <class Char>
class Strings : public testing::Test {};
using Widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Strings, Widths);

// The index of found in s; -1 for null.
template <class Char>
std::ptrdiff_t IndexIn(const Char* s, const Char* found) {
    return found == nullptr ? -1 : found - s;
}

TYPED_TEST(Strings, OnlyAsciiLettersAndDigitsHaveAClass) {
    const int last = sizeof(TypeParam) == 1 ? 0xFF : 0xFFFF;
    for (int value = 0; value <= last; ++value) {
        const auto c = static_cast<TypeParam>(value);
        const bool letter = (value >= 'A' && value <= 'Z') || (value >= 'a' && value <= 'z');
        const bool digit = value >= '0' && value <= '9';
        ASSERT_EQ(IsAlpha(c) != 0, letter) << value;
        ASSERT_EQ(IsNumeric(c) != 0, digit) << value;
        ASSERT_EQ(IsAlphaNum(c), letter || digit ? 1u : 0u) << value;
    }
}

// Every length and every alignment, so that all block sizes of a vector loop end everywhere; the
// junk around the text must not count.
TYPED_TEST(Strings, LengthIsFoundAtEveryAlignment) {
    for (std::size_t start = 0; start < 16; ++start) {
        for (std::size_t length = 0; length < 70; ++length) {
            std::vector<TypeParam> units(start, 0);
            units.insert(units.end(), length, static_cast<TypeParam>(0x80));
            units.push_back(0);
            const TypeParam* const s = units.data() + start;
            ASSERT_EQ(StrLength(s), length) << start;
            ASSERT_EQ(EndOfString(s), length == 0 ? nullptr : s + length) << start;
        }
    }
}

TYPED_TEST(Strings, NullGivesTheNeutralResult) {
    const TypeParam* const null = nullptr;
    Text<TypeParam> text("ab");
    EXPECT_EQ(StrLength(null), 0u);
    EXPECT_EQ(EndOfString(null), nullptr);
    StrCopy(text.get(), null);
    StrCopy(static_cast<TypeParam*>(nullptr), text);
    EXPECT_TEXT(Text<TypeParam>("ab").get(), text.get());
    EXPECT_EQ(StrFind(null, text), nullptr);
    EXPECT_EQ(StrFind(null, TypeParam('a')), nullptr);
    EXPECT_EQ(StrRevFind(null, text.get(), text), nullptr);
    EXPECT_EQ(StrRevFind(text.get(), null, text), nullptr);
    EXPECT_EQ(StrRevFind(text.get(), null, TypeParam('a')), nullptr);
    EXPECT_EQ(StrReplace(static_cast<TypeParam*>(nullptr), TypeParam('a'), TypeParam('b')), 0u);
}

TYPED_TEST(Strings, CopyTakesTheTerminatorAlong) {
    TypeParam dst[] = {'x', 'x', 'x', 'x', 'x'};
    StrCopy(dst, Text<TypeParam>("abc"));
    EXPECT_TEXT(Text<TypeParam>("abc").get(), dst);
    StrCopy(dst, Text<TypeParam>(""));
    EXPECT_EQ(dst[0], 0);
    EXPECT_EQ(dst[1], 'b');
    EXPECT_EQ(dst[4], 'x');
}

// dst starts as ten times 'x'; in the expected contents '.' stands for a terminator.
struct SafeCopyCase {
    const char* src;
    std::uint64_t n;
    const char* narrow;
    bool narrow_result;
    const char* wide;
    bool wide_result;
};
constexpr SafeCopyCase kSafeCopies[] = {
    {"hello", 5, "hello.xxxx", true, "hello.xxxx", true},
    {"hello", 6, "hello.xxxx", true, "hello.xxxx", true},
    {"hello", 3, "hel.x.xxxx", false, "hel.xxxxxx", true},
    {"hello", 4, "hell.xx.xx", false, "hell.xxxxx", true},
    {"hello", 1, "h.xxxxxxxx", false, "h.xxxxxxxx", true},  // 2n - 1 is the terminator's place
    {"hello", 0, "hello.xxxx", true, "hello.xxxx", true},   // 0 is no limit
    {"he", 0, "he.xxxxxxx", true, "he.xxxxxxx", true},
    {"h", 0, "..xxxxxxxx", false, "h.xxxxxxxx", true},
    {"", 0, ".xxxxxxxxx", false, ".xxxxxxxxx", true},
    {"", 3, ".xxxxxxxxx", true, ".xxxxxxxxx", true},
    {nullptr, 3, ".xxxxxxxxx", false, ".xxxxxxxxx", false},
};

template <class Char>
void CheckSafeCopy(const SafeCopyCase& row, const char* expected, bool expected_result) {
    std::vector<Char> dst(10, 'x');
    Text<Char> src(row.src);
    EXPECT_EQ(StrSafeCopy(dst.data(), src, row.n), expected_result);
    std::string contents;
    for (const Char c : dst) {
        contents += c == 0 ? '.' : static_cast<char>(c);
    }
    EXPECT_EQ(contents, expected);
    EXPECT_FALSE(StrSafeCopy(static_cast<Char*>(nullptr), src, row.n));
}

TEST(StringsCopy, SafeCopyDiffersBetweenTheWidths) {
    for (const SafeCopyCase& row : kSafeCopies) {
        SCOPED_TRACE(testing::Message() << (row.src ? row.src : "null") << " " << row.n);
        CheckSafeCopy<char>(row, row.narrow, row.narrow_result);
        CheckSafeCopy<wchar_t>(row, row.wide, row.wide_result);
    }
}

constexpr std::uint64_t kAll = UINT64_MAX;

// The signs of the exact and of the folding comparison of the first n elements.
constexpr struct {
    const char* a;
    const char* b;
    std::uint64_t n;
    int exact;
    int folded;
} kComparisons[] = {
    {nullptr, nullptr, kAll, 0, 0},
    {nullptr, "a", kAll, -1, -1},
    {"a", nullptr, kAll, 1, 1},
    {nullptr, "", 0, -1, -1},
    {"a", "b", 0, 0, 0},
    {"", "", kAll, 0, 0},
    {"", "a", kAll, -1, -1},
    {"ab", "a", kAll, 1, 1},
    {"ab", "a", 1, 0, 0},
    {"abc", "abd", 2, 0, 0},
    {"abc", "abd", 3, -1, -1},
    {"ABC", "abc", kAll, -1, 0},
    {"AZaz", "azAZ", 4, -1, 0},
    {"a", "_", kAll, 1, 1},
    {"A", "_", kAll, -1, 1},   // folding is to lower case: '_' lies between the cases
    {"@", "`", kAll, -1, -1},  // the neighbours of the letters are not folded
    {"[", "{", kAll, -1, -1},
    {"\xC4", "\xE4", kAll, -1, -1},
};

int Sign(int value) {
    return (value > 0) - (value < 0);
}

TYPED_TEST(Strings, ComparisonHasTheStatedSign) {
    for (const auto& row : kComparisons) {
        SCOPED_TRACE(testing::Message() << testing::PrintToString(row.a) << " "
                                        << testing::PrintToString(row.b) << " " << row.n);
        Text<TypeParam> a(row.a);
        Text<TypeParam> b(row.b);
        EXPECT_EQ(Sign(StrCompareN(a, b, row.n, true)), row.exact);
        EXPECT_EQ(Sign(StrCompareN(a, b, row.n, false)), row.folded);
        if (row.n == kAll) {
            EXPECT_EQ(Sign(StrCompare(a, b, true)), row.exact);
            EXPECT_EQ(Sign(StrCompare(a, b, false)), row.folded);
            EXPECT_EQ(StrEqual(a, b, true), row.exact == 0);
            EXPECT_EQ(StrEqual(a, b, false), row.folded == 0);
        }
    }
}

TEST(StringsCompare, ElementsAreUnsignedAndOnlyAsciiIsFolded) {
    EXPECT_GT(StrCompare("\x80", "\x7F", true), 0);
    EXPECT_GT(StrCompare(L"\xFFFF", L"a", true), 0);
    EXPECT_GT(StrCompare(L"\xFFFF", L"a", false), 0);
    EXPECT_NE(StrCompare(L"\x0141", L"\x0161", false), 0);  // 0x41 and 0x61 in the low byte
}

constexpr struct {
    const char* s;
    const char* find;
    std::uint64_t limit;
    std::ptrdiff_t index;
} kSearches[] = {
    {"abcabc", "ca", 0, 2},
    {"abcabc", "ca", 3, -1},  // the match would end beyond the limit
    {"abcabc", "ca", 4, 2},
    {"abcabc", "ca", 100, 2},
    {"abcabc", "abcabc", 0, 0},
    {"abcabc", "abcabcd", 0, -1},
    {"abcabc", "bc", 0, 1},
    {"aaab", "aab", 0, 1},
    {"abcabd", "abd", 0, 3},
    {"abc", "", 0, 3},
    {"abc", "", 1, 3},  // an empty find gives the terminator, whatever the limit
    {"abc", nullptr, 1, 3},
    {"", "a", 0, -1},
    {"", "", 0, -1},
    {"abc", "ABC", 0, -1},
    {"\xFFz", "z", 0, 1},
};

TYPED_TEST(Strings, SearchFindsTheFirstMatchInsideTheLimit) {
    for (const auto& row : kSearches) {
        SCOPED_TRACE(testing::Message()
                     << row.s << " " << testing::PrintToString(row.find) << " " << row.limit);
        Text<TypeParam> s(row.s);
        Text<TypeParam> find(row.find);
        EXPECT_EQ(IndexIn<TypeParam>(s, StrSearch(s, find, row.limit)), row.index);
        if (row.limit == 0) {
            EXPECT_EQ(IndexIn<TypeParam>(s, StrFind(s, find)), row.index);
        }
    }
}

TYPED_TEST(Strings, ElementSearchIgnoresItsLimit) {
    Text<TypeParam> s("abcabc");
    for (const std::uint64_t limit : {0, 1, 100}) {
        EXPECT_EQ(IndexIn<TypeParam>(s, StrSearch(s, TypeParam('c'), limit)), 2);
    }
    EXPECT_EQ(IndexIn<TypeParam>(s, StrFind(s, TypeParam('c'))), 2);
    EXPECT_EQ(StrFind(s, TypeParam('x')), nullptr);
    EXPECT_EQ(StrFind(s, TypeParam(0)), nullptr);
    EXPECT_EQ(StrFind(Text<TypeParam>(""), TypeParam('a')), nullptr);
}

// In the text "abcabc".
constexpr struct {
    std::size_t begin;
    std::size_t from;
    const char* find;
    std::ptrdiff_t index;
} kReverseSearches[] = {
    {0, 5, "bc", 4},  {0, 2, "bc", 1},    {0, 4, "bc", 4},  {0, 3, "abc", 3},  // extends past from
    {0, 5, "cd", -1}, {2, 5, "ab", 3},    {2, 2, "ab", -1}, {4, 2, "a", -1},  {0, 6, "c", 5},
    {0, 2, "", 6},    {0, 2, nullptr, 6}, {0, 6, "", -1},   {4, 2, "", 6},  // begin plays no part
                                                                            // then
};

TYPED_TEST(Strings, ReverseSearchStepsBackFromAPosition) {
    Text<TypeParam> text("abcabc");
    const TypeParam* const s = text;
    for (const auto& row : kReverseSearches) {
        SCOPED_TRACE(testing::Message()
                     << row.begin << " " << row.from << " " << testing::PrintToString(row.find));
        Text<TypeParam> find(row.find);
        EXPECT_EQ(IndexIn(s, StrRevFind(s + row.begin, s + row.from, find)), row.index);
    }
    EXPECT_EQ(IndexIn(s, StrRevFind(s, s + 5, TypeParam('c'))), 5);
    EXPECT_EQ(IndexIn(s, StrRevFind(s, s + 4, TypeParam('c'))), 2);
    EXPECT_EQ(IndexIn(s, StrRevFind(s, s, TypeParam('a'))), 0);
    EXPECT_EQ(StrRevFind(s + 1, s + 2, TypeParam('a')), nullptr);
    EXPECT_EQ(StrRevFind(s + 4, s + 2, TypeParam('c')), nullptr);
}

TYPED_TEST(Strings, ElementsAreReplacedUpToTheTerminatorOfTheStart) {
    const auto replace = [](const char* from_text, char from, char to, std::uint64_t count) {
        Text<TypeParam> s(from_text);
        EXPECT_EQ(StrReplace(s.get(), TypeParam(from), TypeParam(to)), count) << from_text;
        return s;
    };
    EXPECT_TEXT(Text<TypeParam>("a/b/c").get(), replace("a.b.c", '.', '/', 2).get());
    EXPECT_TEXT(Text<TypeParam>("abc").get(), replace("abc", '.', '/', 0).get());
    EXPECT_TEXT(Text<TypeParam>("").get(), replace("", 'a', 'b', 0).get());
    Text<TypeParam> cut = replace("a.b.c", '.', 0, 2);
    EXPECT_EQ(cut.get()[3], 0);
    EXPECT_EQ(cut.get()[4], 'c');
}

constexpr struct {
    const char* s;
    const char* find;
    const char* repl;
    const char* result;
} kReplacements[] = {
    {"aaa", "a", "bb", "bbbbbb"}, {"abc", "", "x", nullptr},       {"", "a", "b", ""},
    {"aaaa", "aa", "a", "aa"},    {"aaa", "aa", "x", "xa"},        {"a-b-c", "-", "", "abc"},
    {"abc", "abc", "", ""},       {"abab", "ab", "aab", "aabaab"}, {"xaabx", "ab", "!", "xa!x"},
    {"abc", "abcd", "x", "abc"},  {nullptr, "a", "b", nullptr},    {"a", nullptr, "b", nullptr},
    {"a", "a", nullptr, nullptr}, {"", "", "b", nullptr},          {"ABC", "b", "x", "ABC"},
};

TYPED_TEST(Strings, TextsAreReplacedInAHeapCopy) {
    for (const auto& row : kReplacements) {
        SCOPED_TRACE(testing::PrintToString(row.s));
        const TypeParam* const result =
            StrReplace(static_cast<const TypeParam*>(Text<TypeParam>(row.s)),
                       static_cast<const TypeParam*>(Text<TypeParam>(row.find)),
                       static_cast<const TypeParam*>(Text<TypeParam>(row.repl)));
        EXPECT_TEXT(Text<TypeParam>(row.result).get(), result);
        StrFree(result);
    }
}

// Re-measuring the output for every match would take minutes here.
TYPED_TEST(Strings, ReplacingManyTextsIsLinear) {
    constexpr std::size_t kCount = 2'000'000;
    std::vector<TypeParam> s(kCount, 'a');
    s.push_back(0);
    Text<TypeParam> find("a");
    Text<TypeParam> repl("bcd");
    const TypeParam* const result =
        StrReplace(static_cast<const TypeParam*>(s.data()), static_cast<const TypeParam*>(find),
                   static_cast<const TypeParam*>(repl));
    EXPECT_EQ(StrLength(result), 3 * kCount);
    StrFree(result);
}

constexpr struct {
    const char* s;
    int value;
} kNumbers[] = {
    {"12ab", 12},
    {"-12", -12},
    {"+12", 12},
    {"-", 0},
    {"+-5", 0},
    {"--5", 0},
    {"", 0},
    {" 5", 0},
    {nullptr, 0},
    {"007", 7},
    {"2147483648", INT_MIN},
    {"-2147483648", INT_MIN},
    {"4294967303", 7},
    {"-4294967303", -7},
    {"99999999999999999999", 1661992959},
    {"1\xB2", 1},
};

TEST(StringsNumbers, DecimalNumbersWrapAt32Bits) {
    for (const auto& row : kNumbers) {
        EXPECT_EQ(StrToIntA(row.s), row.value) << testing::PrintToString(row.s);
        EXPECT_EQ(StrToIntW(Text<wchar_t>(row.s)), row.value) << testing::PrintToString(row.s);
    }
    EXPECT_EQ(StrToIntW(L"1\xFF12"), 1);  // a full-width digit is none
}

}  // namespace
