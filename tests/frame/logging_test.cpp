// The trace log and the logging functions: exact bytes of the file, and what reaches it when.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <deque>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ztk/logging.h"
#include "ztk/strings.h"

namespace {

std::string FileBytes() {
    std::ifstream file("logging_test.log", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The UTF-16 little-endian bytes of an ASCII text, as the file holds them behind its mark.
std::string Utf16(const std::string& ascii) {
    std::string bytes;
    for (const char c : ascii) {
        bytes += {c, '\0'};
    }
    return bytes;
}

class Logging : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(ZTKOpenTraceLog(L"logging_test.log")); }
    void TearDown() override {
        ZTK::EnableLogging(false, 0);
        ZTKCloseTraceLog();
        std::remove("logging_test.log");
    }
    // Closes the log and gives what it held, the mark taken off.
    static std::string Closed() {
        ZTKCloseTraceLog();
        std::string bytes = FileBytes();
        EXPECT_EQ(bytes.substr(0, 2), "\xFF\xFE");
        return bytes.erase(0, 2);
    }
};

TEST_F(Logging, WritersAddNothingAndLineFeedsGetACarriageReturn) {
    ZTKWriteTraceLog(L"a\nb\r\n\n");
    ZTKTrace(L"%s=%d|%hs\n", L"x", 42, "n");
    ZTKWriteTraceLog(L"\x20AC\xD83D\xDE00");
    EXPECT_EQ(Closed(),
              Utf16("a\r\nb\r\r\n\r\nx=42|n\r\n") + std::string("\xAC\x20\x3D\xD8\x00\xDE", 6));
}

TEST_F(Logging, OpeningAnOpenLogKeepsTheFirstFileAndReopeningTruncates) {
    ZTKWriteTraceLog(L"one");
    EXPECT_TRUE(ZTKOpenTraceLog(L"no-such-directory/other.log"));
    ZTKWriteTraceLog(L"two");
    EXPECT_EQ(Closed(), Utf16("onetwo"));
    EXPECT_FALSE(ZTKOpenTraceLog(L"no-such-directory/other.log"));
    EXPECT_FALSE(ZTKOpenTraceLog(nullptr));
    ZTKWriteTraceLog(L"dropped: nothing is open");
    ASSERT_TRUE(ZTKOpenTraceLog(L"logging_test.log"));
    EXPECT_EQ(Closed(), "");
}

TEST_F(Logging, EverySixteenthWriteReachesTheDisk) {
    // Bring the process-wide counter to a flush, whatever earlier tests left it at.
    for (int writes = 0; FileBytes().size() <= 2; ++writes) {
        ASSERT_LT(writes, 16);
        ZTKWriteTraceLog(L"f");
    }
    const std::size_t on_disk = FileBytes().size();
    ZTK::EnableLogging(true, 0);
    for (int i = 0; i < 4; ++i) {  // all writers count together
        ZTKWriteTraceLog(L"w");
        ZTKTrace(L"t");
        ZTK::LogTextA("a");
        ZTK::LogHex(nullptr, nullptr, 0);
    }
    EXPECT_EQ(FileBytes().substr(on_disk), Utf16("wta\r\nwta\r\nwta\r\nwta\r\n"));
}

TEST_F(Logging, LoggingFunctionsWriteOnlyWhileSwitchedOn) {
    ZTK::LogTextA("off");
    ZTK::LogTextW(L"off");
    ZTK::LogHex(L"off", nullptr, 0);
    ZTKTrace(L"trace;");  // does not look at the switch
    ZTK::EnableLogging(true, -1);
    ZTK::LogTextA(nullptr);
    ZTK::LogTextA("");
    ZTK::LogTextW(nullptr);
    ZTK::LogTextW(L"on;");
    ZTK::LogTextA("\xC3\xA9");
    SetLastError(77);
    ZTK::LogTextA(std::string(1024, 'a').c_str());
    EXPECT_EQ(GetLastError(), 77U) << "which is the host's";
    EXPECT_EQ(Closed(), Utf16("trace;on;\xE9" + std::string(1024, 'a')));
}

TEST_F(Logging, HexLinesHaveLabelBlankDigitsAndLineFeed) {
    unsigned char bytes[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                             0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
    ZTK::EnableLogging(true, 0);
    ZTK::LogHex(L"recv:", bytes, 3);
    ZTK::LogHex(nullptr, bytes, 16);
    ZTK::LogHex(L"", bytes, 2);
    ZTK::LogHex(L"recv:", nullptr, 0);
    ZTK::LogHex(nullptr, nullptr, 0);
    EXPECT_EQ(Closed(),
              Utf16("recv: 012345\r\n0123456789ABCDEFFEDCBA9876543210\r\n0123\r\nrecv: \r\n\r\n"));
}

// What a hook was handed; it logs itself, and leaves an error.
void CollectTexts(void* texts, ZTK::TLogKind kind, const wchar_t* text) {
    unsigned char bytes[100] = {};
    ZTK::LogHex(L"by the hook", bytes, sizeof bytes);
    ZTKTrace(L"!");
    SetLastError(5);
    EXPECT_EQ(kind, ZTK::LogKindTrace);
    static_cast<std::string*>(texts)->append(text, text + ZTK::StrLength(text));
}

TEST_F(Logging, AHookGetsEveryTextButItsOwnAlsoWithoutATraceLog) {
    std::string texts;
    ZTK::SetLogHook(CollectTexts, &texts);
    const auto log_all = [](bool enable) {
        unsigned char byte = 0xAB;
        ZTK::EnableLogging(enable, 0);
        SetLastError(77);
        ZTKWriteTraceLog(L"a\n");
        ZTKTrace(L"%s=%d,", L"x", 42);
        ZTK::LogTextA("b,");
        ZTK::LogTextW(L"c,");
        ZTK::LogHex(L"d", &byte, 1);
        EXPECT_EQ(GetLastError(), 77U);
    };
    log_all(true);
    EXPECT_EQ(texts, "a\nx=42,b,c,d AB\n");
    std::string bytes = Closed();
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '!'), 5) << "what it writes is written";
    log_all(false);
    ZTKWriteTraceLog(nullptr);
    EXPECT_EQ(texts, "a\nx=42,b,c,d AB\na\nx=42,");
    ZTK::SetLogHook(nullptr, nullptr);
    log_all(true);
    EXPECT_EQ(texts.size(), 23U);
}

struct HookUser {
    explicit HookUser(bool within) : leaves_from_within(within) {}
    static void Hook(void* context, ZTK::TLogKind, const wchar_t*) {
        auto& user = *static_cast<HookUser*>(context);
        if (++user.calls == 3 && user.leaves_from_within) {
            ZTK::SetLogHook(nullptr, nullptr);
        }
        std::this_thread::yield();
        EXPECT_TRUE(user.present);
    }
    const bool leaves_from_within;
    std::atomic<bool> present{true};
    std::atomic<int> calls{0};
};

TEST_F(Logging, AHookIsNotCalledAnyMoreOnceItsPlaceIsTaken) {
    ZTKCloseTraceLog();
    std::atomic<bool> done{false};
    const auto log = [&] {
        while (!done) {
            ZTKWriteTraceLog(L"text");
        }
    };
    const std::jthread threads[] = {std::jthread(log), std::jthread(log), std::jthread(log)};
    std::deque<HookUser> users;
    for (int i = 0; i < 200; ++i) {
        ZTK::SetLogHook(HookUser::Hook, &users.emplace_back(i % 2 == 0));
        if (i > 0) {
            users[users.size() - 2].present = false;
        }
        while (users.back().calls < 3) {
            std::this_thread::yield();
        }
    }
    ZTK::SetLogHook(nullptr, nullptr);
    users.back().present = false;
    done = true;
}

// The first thread's lines fit every buffer, those of the last are longer than any.
TEST_F(Logging, LinesOfManyThreadsStayWhole) {
    const auto text = [](int t) { return std::string(60U << t, static_cast<char>('a' + t)); };
    ZTK::EnableLogging(true, 0);
    std::vector<std::jthread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([byte = static_cast<BYTE>(t), narrow = text(t) + "\n"]() mutable {
            const std::vector<wchar_t> line(narrow.c_str(), narrow.c_str() + narrow.size() + 1);
            for (int i = 0; i < 100; ++i) {
                ZTKWriteTraceLog(line.data());
                ZTK::LogTextW(line.data());
                // These two take ring slots that other threads get again within a line or two.
                ZTKTrace(L"%s", line.data());
                ZTK::LogTextA(narrow.c_str());
                ZTK::LogHex(nullptr, &byte, 1);
            }
        });
    }
    threads.clear();  // joins
    std::string bytes = Closed();
    std::erase(bytes, '\0');
    std::istringstream written(bytes);
    std::map<std::string, int> lines;
    for (std::string line; std::getline(written, line);) {
        ++lines[line];
    }
    EXPECT_EQ(lines.size(), 16U) << "a line that is not one of the texts was torn";
    for (int t = 0; t < 8; ++t) {
        EXPECT_EQ(lines[text(t) + "\r"], 400);
        EXPECT_EQ(lines["0" + std::to_string(t) + "\r"], 100);
    }
}

}  // namespace
