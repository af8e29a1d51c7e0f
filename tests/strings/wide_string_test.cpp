// The wide string: what is special about it by example, everything against a model under random
// operations.
#include "ztk/wide_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/text.h"

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

// --- Everything else against a standard string.

using Text = std::u16string;

std::vector<wchar_t> Wide(const Text& text) {
    std::vector<wchar_t> wide(text.begin(), text.end());
    wide.push_back(0);
    return wide;
}

struct Model {
    Text text;
    std::size_t room = 260;
    std::uint64_t expected = 0;  // what the last operation should have returned
    std::uint64_t result = 0;    // and what it did

    void Store(const Text& s) {
        room = std::max(room, s.size() + text.size());
        text = s;
    }
    void Append(const Text& s) {
        room = std::max(room, s.size() + text.size());
        text += s;
    }
    void SetSize(std::size_t n) {
        if (n > room) {
            room = n;
            text.clear();
        }
    }
    std::uint64_t Found(std::size_t at) const { return at == Text::npos ? kNone : at; }
    std::uint64_t Find(const Text& s, std::size_t pos) const {
        const bool searchable = pos < text.size();
        return !searchable ? kNone : s.empty() ? text.size() : Found(text.find(s, pos));
    }
    std::uint64_t RFind(const Text& s, std::size_t pos) const {
        if (pos >= text.size() || (s.empty() && pos == 0)) {
            return kNone;
        }
        return s.empty() ? text.size() : Found(text.rfind(s, text.size() - pos));
    }
    void Replace(const Text& find, const Text& repl) {
        Text replaced = text;
        for (std::size_t at = 0; !find.empty() && (at = replaced.find(find, at)) != Text::npos;
             at += repl.size()) {
            replaced.replace(at, find.size(), repl);
        }
        if (Find(find, 0) != kNone && !find.empty()) {
            Store(replaced);
        }
        expected = text.size();
    }
    void ReplaceEach(char16_t from, char16_t to) {
        expected = static_cast<std::uint64_t>(std::ranges::count(text, from));
        std::ranges::replace(text, from, to);
    }
    void MakeLower() {
        std::ranges::replace(text, u'A', u'a');
        std::ranges::replace(text, u'Z', u'z');
    }
    void Trim(const Text& set) {
        const std::size_t old = text.size();
        const std::size_t begin = std::min(text.find_first_not_of(set), old);
        Store(text.substr(begin, text.find_last_not_of(set) + 1 - begin));
        expected = old - text.size();
    }
};

class WideStringModel : public testing::Test {
  protected:
    std::size_t Below(std::size_t n) { return random_() % n; }
    char16_t Character() { return u"abAZ@[ \x20AC\xFF21"[Below(Below(4) == 0 ? 9 : 2)]; }
    Text RandomText(std::size_t most) {
        Text text(Below(most + 1), 0);
        std::generate(text.begin(), text.end(), [this] { return Character(); });
        return text;
    }

    // One random operation on both.
    void Change(String& s, Model& m) {
        const Text text = RandomText(Below(8) == 0 ? 300 : 5);
        const Text other = RandomText(3);
        const std::size_t at = Below(m.text.size() + 1);
        const Text tail = m.text.substr(at);
        const Text part = tail.substr(0, 2);
        const char16_t c = Character();
        const auto wide_c = static_cast<wchar_t>(c);
        const std::pair<std::function<void()>, std::function<void()>> changes[] = {
            {[&] { s = Wide(text).data(); }, [&] { m.Store(text); }},
            {[&] { s = wide_c; }, [&] { m.Store({c}); }},
            {[&] { s += Wide(text).data(); }, [&] { m.Append(text); }},
            {[&] { s += wide_c; }, [&] { m.Append({c}); }},
            {[&] { s.Append(s.GetBuffer() + at); }, [&] { m.Append(tail); }},
            {[&] { s.Assign(s.GetBuffer() + at); }, [&] { m.Store(tail); }},
            {[&] { s.SetSize(at * 10); }, [&] { m.SetSize(at * 10); }},
            {[&] { s.SetAt(at, wide_c); },
             [&] { m.text.replace(at, !tail.empty(), !tail.empty(), c); }},
            {[&] { m.result = s.Replace(Wide(part).data(), Wide(other).data()); },
             [&] { m.Replace(part, other); }},
            {[&] { m.result = s.Replace(L'a', wide_c); }, [&] { m.ReplaceEach(u'a', c); }},
            {[&] { m.result = s.Trim(Wide(other).data()); }, [&] { m.Trim(other); }},
            {[&] { s.MakeLower(); }, [&] { m.MakeLower(); }},
        };
        const auto& [on_string, on_model] = changes[Below(std::size(changes))];
        m.result = m.expected = 0;
        on_string();
        on_model();
        EXPECT_EQ(m.result, m.expected);
    }

    void ExpectSameAnswers(String& s, const Model& m) {
        const Text needle = RandomText(2);
        const auto wide = Wide(needle);
        const std::size_t pos = Below(Below(2) == 0 ? 3 : m.text.size() + 3);
        const char16_t c = Below(5) == 0 ? u'\0' : Character();
        const auto wide_c = static_cast<wchar_t>(c);
        EXPECT_EQ(s.Find(wide.data(), pos), m.Find(needle, pos));
        EXPECT_EQ(s.RFind(wide.data(), pos), m.RFind(needle, pos));
        EXPECT_EQ(s.Find(wide_c, pos), c == 0 ? kNone : m.Find({c}, pos));
        EXPECT_EQ(s.RFind(wide_c, pos), c != 0                        ? m.RFind({c}, pos)
                                        : pos == 0 && !m.text.empty() ? m.text.size()
                                                                      : kNone);
        EXPECT_EQ(s.Contains(wide.data()), m.Find(needle, 0) != kNone);
        EXPECT_EQ(s.Beginswith(wide.data()), !needle.empty() && m.text.starts_with(needle));
        EXPECT_EQ(s.CountOf(wide_c),
                  m.text.empty() ? 0 : std::count(m.text.begin() + 1, m.text.end(), c) + (c == 0));
        EXPECT_EQ(s.GetAt(pos), pos < m.text.size() ? static_cast<wchar_t>(m.text[pos]) : 0);
        const bool in_range = pos < m.text.size() && needle.size() <= m.text.size() - pos;
        EXPECT_TEXT(Wide(in_range ? m.text.substr(pos, needle.size()) : Text()).data(),
                    s.SubStr(pos, needle.size()).GetBuffer());
        EXPECT_EQ(s.Compare(wide.data()) < 0, m.text < needle);
        EXPECT_EQ(s == wide.data(), m.text == needle);
        String folded(s);
        folded.MakeLower();
        EXPECT_TRUE(folded.Equal(s, false) && folded.Equal(s, true) == (folded == s));
    }

    std::mt19937 random_{20231};
};

TEST_F(WideStringModel, AnswersAsTheModelUnderRandomOperations) {
    for (int round = 0; round < 300 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        String s;
        Model m;
        for (int step = 0; step < 60; ++step) {
            Change(s, m);
            ASSERT_TEXT(Wide(m.text).data(), s.GetBuffer());
            ASSERT_EQ(s.GetLength(), m.text.size());
            ASSERT_EQ(s.IsEmpty(), m.text.empty());
            ExpectSameAnswers(s, m);
        }
        // The room is exact: it lets a size in, and one more empties the string.
        s = L"x";
        m.Store(u"x");
        s.SetSize(m.room);
        EXPECT_TEXT(L"x", s.GetBuffer());
        s.SetSize(m.room + 1);
        EXPECT_TEXT(L"", s.GetBuffer());
    }
}

}  // namespace
