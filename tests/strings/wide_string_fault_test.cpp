// The wide string without a buffer, provoked by an allocation seam that refuses.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "support/faults.h"
#include "support/text.h"
#include "ztk/wide_string.h"

namespace {

using ZTK::String;

// A text that needs more room than a new string has.
const wchar_t* Long() {
    static std::vector<wchar_t> text(301, L'x');
    text.back() = 0;
    return text.data();
}

void WithoutMemory(const std::function<void()>& call) {
    ztk_test::FailAlways(0);
    call();
    ztk_test::StopFailing();
}

void ExpectNoBuffer(String& s) {
    int cursor = 0;
    EXPECT_EQ(s.GetBuffer(), nullptr);
    EXPECT_EQ(static_cast<wchar_t*>(s), nullptr);
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_EQ(s.GetLength() + s.GetAt(0) + static_cast<unsigned>(s.CountOf(0)), 0u);
    for (const auto found : {s.Find(L"x"), s.Find(L'x'), s.RFind(L"x"), s.RFind(L'x')}) {
        EXPECT_EQ(found, String::npos);
    }
    EXPECT_TRUE(s.Beginswith(L"x")) << "callers know it";
    EXPECT_FALSE(s.Contains(L""));
    EXPECT_EQ(s.Replace(L"x", L"y") + s.Replace(L'x', L'y') + s.Trim(L"x"), 0u);
    EXPECT_TEXT(L"", s.SubStr(0).GetBuffer());
    EXPECT_TEXT(L"", s.Tokenize(L',', cursor).GetBuffer());
    EXPECT_EQ(cursor, 0);

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
    EXPECT_EQ(s.GetBuffer(), nullptr);
}

TEST(WideStringFault, ARefusedGrowthLosesTheBufferAndTheNextTextBringsOneBack) {
    String other(Long());
    const std::function<void(String&)> growths[] = {
        [](String& s) { s = Long(); },       [](String& s) { s.Assign(Long()); },
        [](String& s) { s += Long(); },      [&](String& s) { s = other; },
        [&](String& s) { s + other; },       [](String& s) { s.SetSize(300); },
        [](String& s) { s.SetSize(~0ull); },
    };
    const auto live = ztk_test::LiveBlocks();
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
    EXPECT_EQ(ztk_test::LiveBlocks(), live);
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
