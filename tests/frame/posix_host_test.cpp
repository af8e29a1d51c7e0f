// What only the Linux layer promises of system messages, string tables, the environment and paths.
#include <gtest/gtest.h>

#include <cstdio>

#include "support/environment.h"
#include "support/text.h"
#include "ztk/host.h"
#include "ztk/sockets.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;

TEST(PosixMessages, AreTheSystemsOwnAndCoverEverySocketCode) {
    EXPECT_TEXT("No such file or directory\r\n", ZTKGetErrorMessageA(2));
    EXPECT_TEXT(L"Socket operation on non-socket\r\n", ZTKGetErrorMessageW(WSAENOTSOCK));
    for (int code = 10004; code <= 11004; ++code) {
        const bool known =
            !StrEqual(CSocketUtil::PrintSocketError(code), L"Unknown socket error", true);
        EXPECT_EQ(*ZTKGetErrorMessageA(static_cast<DWORD>(code)) != 0, known) << code;
    }
}

TEST(PosixStringTables, BelongToTheirModuleUntilRemoved) {
    int first = 0, second = 0;
    const LPCWSTR texts[16] = {L"zero", nullptr, L"\xD83D\xDE00"};
    const auto add = [&](void* module, UINT block) {
        SetLastError(0);
        return ZTKPosix::AddStringBlock(module, block, texts) ? 0 : GetLastError();
    };
    EXPECT_EQ(add(&first, 1) + add(&first, 65) + add(&second, 1), 0U);
    EXPECT_EQ(add(&first, 1), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(add(&first, 0) + add(&first, 65536), 2 * ERROR_INVALID_PARAMETER);
    wchar_t text[8];
    EXPECT_TRUE(LoadStringW(&first, 2, text, 8) == 2 && StrEqual(text, texts[2], true));
    EXPECT_EQ(LoadStringW(&first, 64 * 16, text, 8), 4) << "in the same bucket";
    EXPECT_FALSE(FindResourceW(&first, L"#65", RT_STRING));
    ZTKPosix::RemoveStringBlocks(&first);
    EXPECT_EQ(LoadStringW(&first, 0, text, 8) + LoadStringW(&first, 64 * 16, text, 8), 0);
    EXPECT_EQ(LoadStringW(&second, 0, text, 8), 4);
    ZTKPosix::RemoveStringBlocks(&second);
}

TEST(PosixEnvironment, IsUtf8AndCaseSensitive) {
    ztk_test::SetEnvironment("ZTK_\xC3\xA4\xF0\x9F\x98\x80", "\xE4\xB8\xAD\xFF");
    String value;
    SetLastError(0);
    EXPECT_TRUE(GetEnvironmentVar(L"ZTK_\xE4\xD83D\xDE00", value));
    EXPECT_TEXT(L"\x4E2D\xFFFD", value.GetBuffer());
    EXPECT_FALSE(GetEnvironmentVar(L"ztk_\xE4\xD83D\xDE00", value));
}

TEST(PosixFileExists, TakesPathsAsUtf8) {
    constexpr const char* kName = "posix_host_\xC3\xA4\xF0\x9F\x98\x80.tmp";
    std::fclose(std::fopen(kName, "w"));
    EXPECT_TRUE(FileExists(L"posix_host_\xE4\xD83D\xDE00.tmp"));
    std::remove(kName);
}

}  // namespace
