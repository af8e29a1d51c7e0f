// The wide string: comparing, cutting, searching, changing, and what it is without a buffer.
#include "ztk/wide_string.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/faults.h"
#include "support/text.h"
#include "ztk/strings.h"

namespace {

using ZTK::String;
constexpr std::uint64_t kNone = 0xFFFFFFFF;

TEST(WideString, OperatorsAreThoseOfTheStringAndNotOfItsPointer) {
    String a(L"abc");
    String b(L"abc");
    const String c(L"\xFF5E");
    wchar_t text[] = L"abc";
    EXPECT_TRUE(a == b && a == text && a == L"abc" && !(a != b) && !(a != text) && L"abc" == a);
    EXPECT_TRUE(a != c && c != a && a < c && a < L"b" && c > text && c == c);
    EXPECT_FALSE(String() == nullptr);
    EXPECT_EQ(a[0], L'a');
    EXPECT_EQ(a[3L], L'\0');
    EXPECT_EQ(c[-1], L'\0');
    EXPECT_EQ(&(a + b), &a);
    EXPECT_TEXT(L"abcabc", a.GetBuffer());
    const std::uint64_t* const npos = &String::npos;
    EXPECT_EQ(*npos, kNone);
}

TEST(WideString, TokensEndAtMinusOneUnlessADelimiterIsLast) {
    struct Case {
        const wchar_t* text;
        const wchar_t* delimiters;
        std::vector<std::pair<const wchar_t*, int>> tokens;  // each with the cursor behind it
    };
    const Case cases[] = {
        {L"a,,b", L",", {{L"a", 2}, {L"", 3}, {L"b", -1}, {L"", -1}}},
        {L"a,b,", L",", {{L"a", 2}, {L"b", 4}, {L"", 4}}},
        {L"a;b,c", L",;", {{L"a", 2}, {L"b", 4}, {L"c", -1}}},
        {L"a,b", nullptr, {{L"a,b", -1}}},
        {L"a,b", L"", {{L"a,b", -1}}},
        {L"", L",", {{L"", 0}}},
    };
    for (const Case& c : cases) {
        const String s(c.text);
        int cursor = 0;
        for (const auto& [token, behind] : c.tokens) {
            EXPECT_TEXT(token, s.Tokenize(c.delimiters, cursor).GetBuffer());
            EXPECT_EQ(cursor, behind) << &c - cases;
        }
    }
}

TEST(WideString, ARangeThatRunsPastTheEndIsRefused) {
    const String s(L"abcabc");
    EXPECT_TEXT(L"cab", s.SubStr(2, 3).GetBuffer());
    EXPECT_TEXT(L"bc", s.SubStr(4).GetBuffer());
    const std::uint64_t refused[][2] = {{4, 5},          {6, 0},     {1, ~0ull},
                                        {0x80000001, 1}, {~0ull, 2}, {1ull << 32 | 0xFFFFFFFF, 1}};
    for (const auto& range : refused) {
        EXPECT_TEXT(L"", s.SubStr(range[0], range[1]).GetBuffer()) << range[0];
    }
}

TEST(WideString, IsSearchedFromAPositionForwardAndFromTheEndBackward) {
    String s(L"abcabc");
    const struct {
        const wchar_t* find;
        std::uint64_t pos, found, found_backward;
    } cases[] = {{L"abc", 0, 0, 3},     {L"abc", 1, 3, 3},       {L"abc", 3, 3, 3},
                 {L"abc", 4, kNone, 0}, {L"c", 1, 2, 5},         {L"c", 2, 2, 2},
                 {L"c", 5, 5, kNone},   {L"c", 6, kNone, kNone}, {L"", 0, 6, kNone},
                 {L"", 5, 6, 6},        {L"", 6, kNone, kNone},  {L"abcd", 0, kNone, kNone},
                 {L"a", 0, 0, 3},       {L"B", 0, kNone, kNone}, {L"a", ~0ull, kNone, kNone}};
    for (const auto& [find, pos, found, found_backward] : cases) {
        SCOPED_TRACE(ztk_test::Show(find) + " from " + std::to_string(pos));
        EXPECT_EQ(s.Find(find, pos), found);
        EXPECT_EQ(s.RFind(find, pos), found_backward);
        if (find[0] != 0 && find[1] == 0) {
            EXPECT_EQ(s.Find(find[0], pos), found);
            EXPECT_EQ(s.RFind(find[0], pos), found_backward);
        }
        EXPECT_TRUE(pos != 0 || s.Contains(find) == (found != kNone));
        EXPECT_TRUE(pos != 0 || s.Beginswith(find) == (found == 0));
    }
    EXPECT_EQ(s.Find(L'\0', 0), kNone);
    EXPECT_EQ(std::pair(s.RFind(L'\0', 0), s.RFind(L'\0', 1)), std::pair(std::uint64_t{6}, kNone));
    String empty;
    EXPECT_EQ(std::pair(empty.RFind(L'\0', 0), empty.Find(L"", 0)), std::pair(kNone, kNone));
    // The first character is not counted, but the terminator is.
    EXPECT_EQ(s.CountOf(L'a') + s.CountOf(L'c') * 10 + s.CountOf(0) * 100, 121);
    EXPECT_EQ(empty.CountOf(0), 0);
    EXPECT_TRUE(s.GetAt(5) == L'c' && s.GetAt(6) == 0 && s.GetAt(~0ull) == 0);
    EXPECT_TRUE(s.Compare(L"abd") < 0 && s.Compare(L"abcab") > 0 && s.Compare(L"abcabc") == 0);
    EXPECT_TRUE(s.Equal(String(L"ABCabc"), false) && !s.Equal(String(L"ABCabc"), true));
    EXPECT_FALSE(s.Equal(String(L"abcabd"), false));
}

// Characters that a string has room for: with one more, SetSize empties it.
unsigned RoomOf(String& s) {
    s.Clear();
    s = L"x";
    unsigned room = 200;
    for (; !s.IsEmpty(); ++room) {
        s.SetSize(room + 1);
    }
    return room - 1;
}

TEST(WideString, ChangesGiveTheirTextTheirResultAndTheirRoom) {
    const auto xs = [](std::size_t count) {
        std::vector<wchar_t> text(count + 1, L'x');
        text.back() = 0;
        return text;
    };
    const struct {
        std::size_t length;  // of the text before, which is all x
        std::function<std::uint64_t(String&)> change;
        std::uint64_t result;
        const wchar_t* text;  // null: all x
        unsigned size, room;
    } cases[] = {
        {3, [&](String& s) { return s = L"ab", 0; }, 0, L"ab", 2, 260},
        {259, [&](String& s) { return s = L'a', 0; }, 0, L"a", 1, 260},
        {3, [&](String& s) { return s += L"ab", 0; }, 0, L"xxxab", 5, 260},
        {3, [&](String& s) { return s += L'\x20AC', 0; }, 0, L"xxx\x20AC", 4, 260},
        {3, [&](String& s) { return s.SetAt(1, L'a'), s.SetAt(3, L'a'), 0; }, 0, L"xax", 3, 260},
        {3, [&](String& s) { return s.SetSize(260), 0; }, 0, L"xxx", 3, 260},
        {3, [&](String& s) { return s.SetSize(261), 0; }, 0, L"", 0, 261},
        // Storing asks for room for the old text and the new one together, appending for the sum.
        {200, [&](String& s) { return s = xs(60).data(), 0; }, 0, nullptr, 60, 260},
        {200, [&](String& s) { return s = xs(61).data(), 0; }, 0, nullptr, 61, 261},
        {200, [&](String& s) { return s += xs(60).data(), 0; }, 0, nullptr, 260, 260},
        {200, [&](String& s) { return s += xs(61).data(), 0; }, 0, nullptr, 261, 261},
        {260, [&](String& s) { return s += L'x', 0; }, 0, nullptr, 261, 261},
        // From the own text, also where it moves.
        {200, [&](String& s) { return s.Append(s.GetBuffer() + 50), 0; }, 0, nullptr, 350, 350},
        {200, [&](String& s) { return s.Assign(s.GetBuffer() + 150), 0; }, 0, nullptr, 50, 260},
        {250, [&](String& s) { return s.Assign(s.GetBuffer() + 50), 0; }, 0, nullptr, 200, 450},
        {5, [&](String& s) { return s.Replace(L"xx", L"ab"); }, 5, L"ababx", 5, 260},
        {5, [&](String& s) { return s.Replace(L"xx", L""); }, 1, L"x", 1, 260},
        {5, [&](String& s) { return s.Replace(L"", L"ab"); }, 5, nullptr, 5, 260},
        {5, [&](String& s) { return s.Replace(L"y", L"ab"); }, 5, nullptr, 5, 260},
        {130, [&](String& s) { return s.Replace(L"x", L"xx"); }, 260, nullptr, 260, 390},
        {3, [&](String& s) { return s.Replace(L'x', L'y'); }, 3, L"yyy", 3, 260},
        {3, [&](String& s) { return s = L"x yx ", s.Trim(L" x"); }, 4, L"y", 1, 260},
        {3, [&](String& s) { return s = L"y x y", s.Trim(L"x "); }, 0, L"y x y", 5, 260},
        {3, [&](String& s) { return s.Trim(L"x"); }, 3, L"", 0, 260},
        {3, [&](String& s) { return s.Trim(L""); }, 0, nullptr, 3, 260},
        {200, [&](String& s) { return s += L" ", s.Trim(L" "); }, 1, nullptr, 200, 401},
        {3, [&](String& s) { return s = L"AZ@[`{\xC4\xFF21", s.MakeLower(), 0; }, 0,
         L"az@[`{\xC4\xFF21", 8, 260},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        String s(xs(row.length).data());
        EXPECT_EQ(row.change(s), row.result);
        EXPECT_TEXT(row.text == nullptr ? xs(row.size).data() : row.text, s.GetBuffer());
        EXPECT_EQ(s.GetLength(), row.size);
        EXPECT_EQ(s.IsEmpty(), row.size == 0);
        EXPECT_EQ(RoomOf(s), row.room);
    }
}

// --- When memory is short

// A text that needs more room than a new string has.
const wchar_t* Long() {
    return ZTK::StrFormat(L"%300d", 1);
}

void WithoutMemory(const std::function<void()>& call) {
    ztk_test::FailAlways(0);
    call();
    ztk_test::StopFailing();
}

void ExpectNoBuffer(String& s) {
    int cursor = 0;
    EXPECT_TRUE(!s.GetBuffer() && !static_cast<wchar_t*>(s) && s.IsEmpty());
    EXPECT_EQ(s.GetLength() + s.GetAt(0) + static_cast<unsigned>(s.CountOf(0)), 0u);
    EXPECT_EQ(s.Find(L"x") & s.Find(L'x') & s.RFind(L"x") & s.RFind(L'x'), String::npos);
    EXPECT_TRUE(s.Beginswith(L"x") && !s.Contains(L"")) << "callers know it";
    EXPECT_EQ(s.Replace(L"x", L"y") + s.Replace(L'x', L'y') + s.Trim(L"x"), 0u);
    EXPECT_TEXT(L"", s.SubStr(0).GetBuffer());
    EXPECT_TEXT(L"", s.Tokenize(L',', cursor).GetBuffer());
    const String text;
    const wchar_t* const null = nullptr;
    EXPECT_TRUE(s == null && s < text && s < L"" && s != L"" && s.Equal(null));
    EXPECT_FALSE(s == text || text == s || s == L"" || s != null || s < null || s > null);
    EXPECT_FALSE(s > L"" || text < null || text < s || text == null);
    EXPECT_TRUE(text > null && text != null && s.Compare(text) < 0 && text.Compare(s) > 0);
    EXPECT_EQ(s.Compare(String(s)), -1) << "a copy has an empty buffer";
    s.MakeLower();
    s.Clear();
    s.SetAt(0, L'x');
    s.Append(L"x");
    s += L'x';
    EXPECT_TRUE(s.GetBuffer() == nullptr && cursor == 0);
}

TEST(WideStringFault, ARefusedGrowthLosesTheBufferAndTheNextTextBringsOneBack) {
    String other(Long());
    const std::function<void(String&)> growths[] = {
        [](String& s) { s = Long(); },       [](String& s) { s.Assign(Long()); },
        [](String& s) { s += Long(); },      [&](String& s) { s = other; },
        [&](String& s) { s + other; },       [](String& s) { s.SetSize(300); },
        [](String& s) { s.SetSize(~0ull); },
    };
    for (const auto& grow : growths) {
        SCOPED_TRACE(&grow - growths);
        String s(L"before");
        WithoutMemory([&] { grow(s); });
        ExpectNoBuffer(s);
        s = L"";
        EXPECT_EQ(s.GetBuffer(), nullptr) << "no room is needed for nothing";
        s = L"y";
        EXPECT_TEXT(L"y", s.GetBuffer());
    }
}

TEST(WideStringFault, AStringRefusedAtBirthWaitsForATextLongerThanItsRoom) {
    const std::function<void(String&)> rescues[] = {[](String& s) { s = Long(); },
                                                    [](String& s) { s.SetSize(262); }};
    for (const auto& rescue : rescues) {
        ztk_test::FailAfter(0);
        String s(L"x");
        ztk_test::StopFailing();
        ExpectNoBuffer(s);
        s = L"no longer than 260";
        s.SetSize(260);
        EXPECT_EQ(s.GetBuffer(), nullptr);
        WithoutMemory([&] { s.SetSize(261); });
        s.SetSize(261);
        EXPECT_EQ(s.GetBuffer(), nullptr) << "the size was kept";
        rescue(s);
        EXPECT_NE(s.GetBuffer(), nullptr);
    }
}

TEST(WideStringFault, ACutWithoutMemoryHasNoBufferAndAReplaceChangesNothing) {
    String s(L"a,b");
    int cursor = 0;
    WithoutMemory([&] {
        EXPECT_EQ(s.SubStr(0, 1).GetBuffer(), nullptr);
        EXPECT_EQ(s.Tokenize(L',', cursor).GetBuffer(), nullptr);
        EXPECT_EQ(s.Replace(L"a", L"xx"), 3u);
    });
    EXPECT_TEXT(L"a,b", s.GetBuffer());
}

}  // namespace
