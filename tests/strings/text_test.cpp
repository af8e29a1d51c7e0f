// Counted text: UTF-8 and UTF-16 into each other, what is said of malformed text, and the strings
// and views of 16-bit characters.
#include "ztk/text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/faults.h"
#include "support/guarded_text.h"
#include "support/refuse_each.h"
#include "support/text.h"
#include "ztk/buffer.h"

namespace {

using namespace ZTK;
using ZTK::processor::InstructionSet;
constexpr std::size_t kNone = TextMeasure::kNone;

enum class Into { kBoth, kWide, kUtf8 };
struct Row {
    std::string_view utf8;
    WideView wide;
    std::size_t first_bad = kNone;
    Into into = first_bad == kNone ? Into::kBoth : Into::kWide;
};
const Row kRows[] = {
    {{"", 0}, L""_wide},
    {{"a\0b\0", 4}, L"a\0b\0"_wide},
    {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF", L"\x80\x7FF\x800\xD7FF"_wide},
    {"\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
     L"\xE000\xFFFF\xD800\xDC00\xDBFF\xDFFF"_wide},
    {"\xEF\xBF\xBDz\xEF\xBF\xBD", L"\xFFFDz\xFFFD"_wide},  // written as such
    {"z\x80z", L"z\xFFFDz"_wide, 1},
    {"\xEF\xBF\xBD\xFF\xEF\xBF\xBD", L"\xFFFD\xFFFD\xFFFD"_wide, 3},
    {"\xC3\xC3\xA4", L"\xFFFD\xE4"_wide, 0},
    {"\xC3\xA4\xE2\x82z", L"\xE4\xFFFDz"_wide, 2},
    {"\xEF\xBF", L"\xFFFD"_wide, 0},
    {"\xF0\x90\x80\x80\xF0\x9F\x98", L"\xD800\xDC00\xFFFD"_wide, 4},
    {"\xC0\x80z", L"\xFFFD\xFFFDz"_wide, 0},              // overlong
    {"z\xED\xA0\x80", L"z\xFFFD\xFFFD"_wide, 1},          // a surrogate
    {"\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD"_wide, 0},  // above U+10FFFF
    {"\xEF\xBF\xBD\xEF\xBF\xBDz", L"\xFFFD\xD800z"_wide, 1, Into::kUtf8},
    {"\xEF\xBF\xBD\xF0\x90\x80\x80", L"\xD800\xD800\xDC00"_wide, 0, Into::kUtf8},
    {"\xF0\x90\x80\x80\xEF\xBF\xBD", L"\xD800\xDC00\xDC00"_wide, 2, Into::kUtf8},
    {"z\xEF\xBF\xBD", L"z\xDBFF"_wide, 1, Into::kUtf8},
};

// Converts text from the start and from the end of memory that may be read, into room for exactly
// the result at the end of such memory, whole and in pieces.
template <class Source, class Target>
void ExpectConverted(const std::vector<Source>& text, const std::vector<Target>& expected,
                     std::size_t first_bad) {
    static ztk_test::GuardedText from, to;
    for (const bool at_end : {false, true}) {
        const Source* const source = from.Put(text, at_end);
        const TextMeasure measure = MeasureText(source, text.size());
        ASSERT_EQ(measure.length, expected.size());
        ASSERT_EQ(measure.first_bad, first_bad);
        auto* const out = const_cast<Target*>(to.Put(std::vector<Target>(expected.size()), true));
        const TextProgress all = ConvertText(source, text.size(), out, expected.size());
        ASSERT_EQ(std::vector<Target>(out, out + all.written), expected);
        std::vector<Target> pieces;
        for (TextProgress some = {}; some.taken < text.size();) {
            Target room[4];  // the longest character
            const auto next = ConvertText(source + some.taken, text.size() - some.taken, room, 4);
            pieces.insert(pieces.end(), room, room + next.written);
            some.taken += next.taken;
        }
        ASSERT_EQ(pieces, expected);
    }
}

template <class Char, class View>
std::vector<Char> Joined(const std::vector<Char>& before, View text) {
    std::vector<Char> all(before);
    all.insert(all.end(), text.begin(), text.end());
    all.insert(all.end(), before.begin(), before.end());
    return all;
}

TEST(Text, ConvertsWithEverySetOfInstructionsAndFindsWhatIsMalformed) {
    for (const auto set :
         {InstructionSet::kAvx2, InstructionSet::kSsse3, InstructionSet::kBaseline}) {
        for (std::size_t run = 0; ztk_test::UseInstructions(set) && run < 70; ++run) {
            const std::vector<char> narrow(run, 'n');
            const std::vector<wchar_t> wide(run, L'n');
            for (const Row& row : kRows) {
                SCOPED_TRACE(ztk_test::Show(row.utf8.data(), row.utf8.size()));
                const std::size_t bad = row.first_bad == kNone ? kNone : run + row.first_bad;
                if (row.into != Into::kUtf8) {
                    ExpectConverted(Joined(narrow, row.utf8), Joined(wide, row.wide), bad);
                }
                if (row.into != Into::kWide) {
                    ExpectConverted(Joined(wide, row.wide), Joined(narrow, row.utf8), bad);
                }
            }
        }
    }
}

TEST(Text, ATextCutAnywhereIsBadWhereTheCutCharacterBegins) {
    const std::string text = "z\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80";
    const std::size_t first_bad[] = {kNone, kNone, 1, kNone, 3, 3, kNone, 6, 6, 6, kNone};
    for (std::size_t n = 0; n <= text.size(); ++n) {
        std::size_t bad = 7;
        EXPECT_EQ(ToWideStrict(text.substr(0, n), &bad).has_value(), first_bad[n] == kNone) << n;
        EXPECT_EQ(bad, first_bad[n]) << n;
    }
}

TEST(Text, LongTextsComeBackAsTheyWere) {
    std::string body;
    while (body.size() < 2u << 20) {
        body.append("<tag>\xC3\xA4\xE4\xB8\xAD\xF0\x9F\x98\x80</tag>\n").push_back('\0');
    }
    const WideText wide = ToWide(body);
    EXPECT_EQ(ToUtf8(wide), body);
    EXPECT_EQ(ToWideStrict(body), wide);
    EXPECT_EQ(ToUtf8Strict(wide), body);
    CBuffer<wchar_t> wide_buffer;
    CBuffer<char> narrow_buffer;
    ASSERT_EQ(ToWide(body, wide_buffer), wide.size());
    EXPECT_TRUE(WideView(wide_buffer.GetBuffer(), wide.size()) == wide);
    ASSERT_EQ(ToUtf8Strict(wide, narrow_buffer), body.size());
    EXPECT_EQ(std::string_view(narrow_buffer.GetBuffer(), body.size()), body);
    // A shorter text in the same room is terminated; a malformed one leaves the buffer alone.
    EXPECT_EQ(ToUtf8(L"\xE4", narrow_buffer), 2u);
    EXPECT_TEXT("\xC3\xA4", narrow_buffer.GetBuffer());
    std::size_t bad = 7;
    EXPECT_EQ(ToUtf8Strict(L"a\xDC00", narrow_buffer, &bad), std::nullopt);
    EXPECT_EQ(bad, 1u);
    EXPECT_TEXT("\xC3\xA4", narrow_buffer.GetBuffer());
    EXPECT_EQ(ToUtf8(WideView(), narrow_buffer), 0u);
    EXPECT_TEXT("", narrow_buffer.GetBuffer());
}

TEST(Text, ABufferWithoutMemoryIsEmpty) {
    ztk_test::RefuseEach(ztk_test::FailAlways, [] {
        CBuffer<wchar_t> out;
        const bool complete = ToWide("text", out) == 4u;
        EXPECT_EQ(out.GetBuffer() != nullptr, complete);
        return complete;
    });
}

constexpr WideView kLiteral = L"ab\0c"_wide;
static_assert(kLiteral.size() == 4 && kLiteral.find(L'c') == 3 && kLiteral < L"b");
static_assert(WideView(L"ab").size() == 2 && kLiteral.substr(0, 2) == L"ab");

TEST(Text, StringsOfSixteenBitCharactersAreOrdinaryStrings) {
    WideText text(L"agent");
    text.insert(0, 3, L'-').append(kLiteral).replace(3, 5, L"\xFFFF!");
    EXPECT_TRUE(text == L"---\xFFFF!ab\0c"_wide);
    EXPECT_TRUE(text.find(L"ab") == 5 && text.find(L'z') == WideText::npos);
    EXPECT_TRUE(WideText(L"a") < text.substr(3) && L"a"_wide < L"\xFFFF");
    text += text;
    EXPECT_EQ(text.rfind(L"---"), 9u);
    EXPECT_TEXT(L"---\xFFFF!ab", ToString(text).GetBuffer());
    EXPECT_EQ(ToUtf8(ToString(text)), "---\xEF\xBF\xBF!ab");
    const WideText longer(1000, L'x');
    EXPECT_TRUE(View(ToString(longer)) == longer);
    EXPECT_EQ(ToUtf8(static_cast<const wchar_t*>(nullptr)) + ToUtf8(ToString(L"")), "");
}

}  // namespace
