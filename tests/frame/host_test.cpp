// System messages, resource strings, URLs, environment variables, files; and the platform's calls
// under them.
#include "ztk/host.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "platform/url_unescape.h"
#include "support/environment.h"
#include "support/string_tables.h"
#include "support/text.h"
#include "ztk/logging.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;

TEST(ErrorMessage, IsTheSystemsTextWithItsLineEnd) {
    for (const DWORD code : {2, 3, 5, 6, 8, 87, 122, 183, 203, 288, 1814, 10004, 11001, 11004}) {
        const std::string narrow = ZTKGetErrorMessageA(code);
        EXPECT_TRUE(narrow.size() > 3 && narrow.ends_with("\r\n")) << code << narrow;
        SetLastError(code);
        EXPECT_TEXT(narrow.c_str(), ZTKGetErrorMessageA(0));
        EXPECT_TEXT(narrow.c_str(), StrConvert(ZTKGetErrorMessageW(0), 0));
    }
    SetLastError(0);
    EXPECT_GT(StrLength(ZTKGetErrorMessageW(0)), 3U);
    EXPECT_TEXT("", ZTKGetErrorMessageA(0x12345678));
    EXPECT_TEXT(L"", ZTKGetErrorMessageW(0x12345678));
}

TEST(ErrorMessage, IsRefusedByTheFormatterWhenItDoesNotFit) {
    wchar_t text[64];
    const auto length = static_cast<DWORD>(StrLength(ZTKGetErrorMessageW(2)));
    for (DWORD room = 0; room <= length + 1; ++room) {
        SetLastError(77);
        EXPECT_EQ(FormatMessageW(0x1200, nullptr, 2, 0x400, text, room, nullptr),
                  room > length ? length : 0U);
        EXPECT_EQ(GetLastError(), room > length ? 77U : 122U) << room;
    }
}

TEST(ResourceString, NeedsABlockOfItsOwnNumberAndIsCutToItsSize) {
    const std::pair<unsigned int, const wchar_t*> cases[] = {
        {1, L"one"},
        {2, L"longer than half of the bytes of"},  // block 2 has 32 characters, and 16 lengths
        {3, nullptr},                              // block 3 is there, the string is not
        {9, nullptr},                              // the string is there, block 9 is not
        {17, nullptr},
        {0x10001, L"one"},
        {0, nullptr},
    };
    HINSTANCE module = ztk_test::ModuleWithStrings();
    for (const auto& [id, text] : cases) {
        EXPECT_TEXT(text, ZTKLoadResourceStringW(module, id)) << id;
    }
    EXPECT_EQ(
        SizeofResource(module, FindResourceW(module, MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(6))),
        64U);
    EXPECT_FALSE(FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(5)));
    EXPECT_EQ(GetLastError(), 1813U);
    wchar_t text[16];
    for (const int room : {2, 9, 10, 16}) {
        EXPECT_EQ(LoadStringW(module, 17, text, room), room < 10 ? room - 1 : 9);
        EXPECT_TEXT(room == 2 ? L"s" : room == 9 ? L"seventee" : L"seventeen", text);
    }
    EXPECT_EQ(LoadStringW(module, 64, text, 16), 0);
    EXPECT_EQ(GetLastError(), 1814U);
}

TEST(UnescapedUrl, DecodesEachEscapeIntoOneCharacter) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {nullptr, nullptr},
        {L"", nullptr},
        {L"a%20b", L"a b"},
        {L"%41%4a%4F%25%32", L"AJO%2"},
        {L"%C3%A4+%2B\x4E2D", L"\xC3\xA4++\x4E2D"},
        {L"a?b%20c#d%20e%3f%23", L"a?b c#d e?#"},
        {L"%%41%", L"%A%"},
        {L"%4g%g4%/0%:0%@1%`1%0x41%u0041", L"%4g%g4%/0%:0%@1%`1%0x41%u0041"},
        {L"% 1%+1%-1%\xFF14\xFF11", L"% 1%+1%-1%\xFF14\xFF11"},
        {L"a%00b", L"a"},
    };
    for (const auto& [url, text] : cases) {
        EXPECT_TEXT(text, ZTKUrlUnescape(url));
    }
    std::vector<wchar_t> longest(512000, L'x');
    longest.back() = 0;
    EXPECT_EQ(StrLength(ZTKUrlUnescape(longest.data())), 511999U);
    longest.insert(longest.begin(), L'x');
    EXPECT_TEXT(nullptr, ZTKUrlUnescape(longest.data()));
}

TEST(UnescapedUrl, AsksForMoreRoomOfThePlatform) {
    for (DWORD room = 0; room < 8; ++room) {
        wchar_t url[] = L"a%20bcd", text[8] = {};
        DWORD length = room;
        EXPECT_EQ(UrlUnescapeW(url, text, &length, 0), room < 6 ? E_POINTER : S_OK);
        EXPECT_EQ(length, room < 6 ? 6U : 5U) << room;
        EXPECT_EQ(text[room], 0) << "behind the room";
    }
}

TEST(Environment, GivesValuesOfAnyLengthUnlessAnErrorIsLeftOver) {
    constexpr const wchar_t* kName = L"ZTK_TEST_HOST";
    for (const std::size_t length : {0, 1, 1022, 1023, 1024, 1025, 5000}) {
        const std::string value(length, 'v');
        ztk_test::SetEnvironment("ZTK_TEST_HOST", value.c_str());
        String text(L"before");
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        EXPECT_FALSE(GetEnvironmentVar(kName, text)) << length;
        EXPECT_TEXT(L"before", text.GetBuffer());
        SetLastError(0);
        EXPECT_TRUE(GetEnvironmentVar(kName, text)) << length;
        EXPECT_EQ(ztk_test::Show(text.GetBuffer()), "L" + ztk_test::Show(value.c_str()));
    }
    ztk_test::SetEnvironment("ZTK_TEST_HOST", "1=345");
    for (DWORD room = 0; room < 8; ++room) {
        wchar_t text[8] = L"before";
        SetLastError(77);
        EXPECT_EQ(GetEnvironmentVariableW(kName, text, room), room < 6 ? 6U : 5U);
        EXPECT_TEXT(room < 6 ? L"before" : L"1=345", text);
        EXPECT_EQ(GetLastError(), 77U);
    }
    for (const wchar_t* const name :
         {L"ZTK_TEST_HOS", L"ZTK_TEST_HOST2", L"ZTK_TEST_HOST=1", L""}) {
        String text(L"before");
        SetLastError(0);
        EXPECT_FALSE(GetEnvironmentVar(name, text)) << ztk_test::Show(name);
        EXPECT_TEXT(L"before", text.GetBuffer());
    }
    ztk_test::SetEnvironment("ZTK_TEST_HOST", nullptr);
}

TEST(FileExists, HoldsForFilesAndDirectories) {
    ASSERT_TRUE(ZTKOpenTraceLog(L"host_test.tmp"));
    ZTKCloseTraceLog();
    EXPECT_TRUE(FileExists(L"host_test.tmp"));
    std::remove("host_test.tmp");
    EXPECT_FALSE(FileExists(L"host_test.tmp"));
    EXPECT_TRUE(FileExists(L".") && FileExists(L"..") && FileExists(L"/"));
    EXPECT_FALSE(FileExists(nullptr) || FileExists(L"") || FileExists(L"no/such/file"));
}

}  // namespace
