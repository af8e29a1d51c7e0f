// What happens when memory runs out, provoked in a variant of the library whose allocation seam
// refuses.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/refuse_each.h"
#include "support/text.h"
#include "ztk/base64.h"
#include "ztk/bit_mask.h"
#include "ztk/host.h"
#include "ztk/ztk.h"

namespace {

// What the call gives while every request is refused.
template <typename Call>
auto WithoutMemory(Call call) {
    struct Restore {
        ~Restore() { ztk_test::StopFailing(); }
    } const restore;
    ztk_test::FailAlways(0);
    return call();
}

TEST(OutOfMemory, AllocatingFunctionsReturnNull) {
    const std::function<const void*()> calls[] = {
        [] { return ZTK::MemAlloc(1); },
        [] { return ZTK::StrDupW("text"); },
        [] { return ZTK::StrReplace("aaa", "a", "bb"); },
        [] { return ZTK::StrReplace(L"aaa", L"a", L"bb"); },
        [] { return ZTK::StrReplace(L"", L"a", L"bb"); },
        [] { return ZTK::Base64EncodeString("text", nullptr); },
        [] { return ZTK::Base64Decode(nullptr, 0, nullptr, nullptr); },
    };
    for (const auto& call : calls) {
        SCOPED_TRACE(&call - calls);
        EXPECT_EQ(WithoutMemory(call), nullptr);
        ztk_test::RefuseEach(ztk_test::FailAfter, [&call] {
            const void* const result = call();
            ZTK::MemFree(const_cast<void*>(result));
            return result != nullptr;
        });
    }
}

TEST(OutOfMemoryDeathTest, NoRingStringWithoutStorageIsHandedOut) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    wchar_t* text = nullptr;
    EXPECT_DEATH(WithoutMemory([&] { ZTK::ZTKGetTmpString(text, 400000); }),
                 "Out of memory for a temporary string");
}

TEST(OutOfMemory, ALockWithoutASectionDoesNothing) {
    ZTK::CLock lock = WithoutMemory([] { return ZTK::CLock(); });
    lock.Lock();
    EXPECT_FALSE(lock.HaveLock());
    lock.Unlock();
}

TEST(OutOfMemory, Base64GivesNullBeforeItCodes) {
    int length = 7;
    unsigned char text[] = "QUJD";
    EXPECT_EQ(WithoutMemory([&] { return ZTK::Base64Encode(text, 4, &length); }), nullptr);
    EXPECT_EQ(length, 0);
    length = 7;
    EXPECT_EQ(WithoutMemory([&] { return ZTK::Base64Decode(text, 4, nullptr, &length); }), nullptr);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(WithoutMemory([] { return ZTK::Base64DecodeString("QUJD", 0); }), nullptr);
    // Where the page makes one character of a pair, a block is needed for what is missing, too.
    const auto decode = [] { return ZTK::Base64DecodeString(L"\xD83D\xDE00QUJD", 1252); };
    for (int i = 0; i < 256; ++i) {
        EXPECT_NE(decode(), nullptr) << "all slots have storage then";
    }
    EXPECT_EQ(WithoutMemory(decode), nullptr);
    ztk_test::RefuseEach(ztk_test::FailAfter, [&] { return decode() != nullptr; });
}

TEST(OutOfMemory, ABitMaskThatCannotGrowKeepsItsBits) {
    ZTK::CBitMask mask(5);
    WithoutMemory([&] {
        EXPECT_TRUE(mask.Set(1000, true));
        EXPECT_FALSE(mask.IsSet(1000));
        mask.SetSize(64, true);
        mask = ZTK::CBitMask(7);
        return 0;
    });
    EXPECT_TRUE(mask.IsSet(0) && mask.IsClear(1) && mask.IsSet(2) && mask.IsClear(1000));

    ZTK::CBitMask none = WithoutMemory([] { return ZTK::CBitMask(5); });
    EXPECT_TRUE(none.IsEmpty() && !none && (mask & none));
    WithoutMemory([&] { return none.Set(3, true) && (~none).IsSet(3); });
    ZTK::CBitMask copy(none);
    EXPECT_TRUE(none.Set(3, true) && none.IsSet(3));
    EXPECT_TRUE(copy.IsEmpty() && copy.Set(64, true) && copy.IsSet(64));
}

TEST(OutOfMemory, ALongEnvironmentVariableIsRefusedAndAnUnescapedUrlIsEmpty) {
    ztk_test::SetEnvironment("ZTK_TEST_FAULT", std::string(2000, 'v').c_str());
    ZTK::String value(L"before");
    SetLastError(0);
    EXPECT_FALSE(WithoutMemory([&] { return ZTK::GetEnvironmentVar(L"ZTK_TEST_FAULT", value); }));
    EXPECT_TEXT(L"before", value.GetBuffer());
    EXPECT_TRUE(ZTK::GetEnvironmentVar(L"ZTK_TEST_FAULT", value) && value.GetLength() == 2000);
    ztk_test::SetEnvironment("ZTK_TEST_FAULT", nullptr);

    ztk_test::FailAfter(0);
    EXPECT_TEXT(L"", ZTK::ZTKUrlUnescape(L"a%20b"));
    ztk_test::StopFailing();
}

TEST(OutOfMemory, ASocketWithoutABufferReadsNothing) {
    ZTK::CClientSocket socket = WithoutMemory([] { return ZTK::CClientSocket(100); });
    EXPECT_EQ(socket.GetBuffer(), nullptr);
    EXPECT_EQ(socket.Read(), 0);

    ZTK::CClientSocket grown(100);
    unsigned char* buffer = grown.GetBuffer();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(WithoutMemory([&] { return grown.SetBufferSize(5000); }), 100);
    EXPECT_EQ(grown.GetBuffer(), buffer);
    EXPECT_EQ(grown.SetBufferSize(5000), 5000);
}

TEST(OutOfMemory, AFullRegistryRefusesTheThreadAndKeepsTheOthers) {
    unsigned int id = 1;
    for (; id <= 16; ++id) {
        ASSERT_NE(ZTK::RegisterThread(id, nullptr), nullptr);
    }
    EXPECT_EQ(WithoutMemory([&] { return ZTK::RegisterThread(id, nullptr); }), nullptr);
    EXPECT_EQ(ZTK::GetThreadNotify(id), nullptr);
    EXPECT_NE(ZTK::GetThreadNotify(16), nullptr);
    EXPECT_NE(ZTK::RegisterThread(id, nullptr), nullptr);
    ZTK::WaitRegisteredThreadsExit(0);
}

// Silences LogHex for the rest of the process: no hex dump can be tested behind it.
TEST(OutOfMemory, AHexDumpWithoutABufferTriesAgainButOneThatCannotGrowFallsSilent) {
    static bool silent = false;
    if (std::exchange(silent, true)) {
        GTEST_SKIP();
    }
    std::vector<unsigned char> data(50000, 0x11);
    ASSERT_TRUE(ZTKOpenTraceLog(L"fault_test.log"));
    ZTK::EnableLogging(true, 0);
    WithoutMemory([&] { ZTK::LogHex(L"lost", data.data(), 1); });
    ZTK::LogHex(L"first", data.data(), 1);
    ztk_test::FailAfter(0);
    ZTK::LogHex(L"lost", data.data(), 50000);
    ztk_test::StopFailing();
    ZTK::LogHex(L"silent", data.data(), 1);
    ZTK::LogTextW(L"text goes on\n");
    ZTK::EnableLogging(false, 0);
    ZTKCloseTraceLog();
    EXPECT_EQ(ztk_test::TakeTraceLog("fault_test.log"), "first 11\ntext goes on\n");
}

}  // namespace
