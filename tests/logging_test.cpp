// The trace log and the logging functions: exact bytes of the file, and what reaches it when.

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "ztk/logging.h"
#include "ztk/memory.h"

namespace {

const char* const kPath = "logging_test.log";
const wchar_t* const kWidePath = L"logging_test.log";

std::string FileBytes() {
    std::string bytes;
    std::FILE* file = std::fopen(kPath, "rb");
    if (file != nullptr) {
        char block[4096];
        for (std::size_t n; (n = std::fread(block, 1, sizeof block, file)) > 0;) {
            bytes.append(block, n);
        }
        std::fclose(file);
    }
    return bytes;
}

// The UTF-16 little-endian bytes of an ASCII text, as the file holds them behind its mark.
std::string Utf16(const std::string& ascii) {
    std::string bytes;
    for (const char c : ascii) {
        bytes += c;
        bytes += '\0';
    }
    return bytes;
}

const std::string kMark = "\xFF\xFE";

class Logging : public testing::Test {
  protected:
    void SetUp() override {
        std::remove(kPath);
        ASSERT_TRUE(ZTKOpenTraceLog(kWidePath));
    }
    void TearDown() override {
        ZTK::EnableLogging(false, 0);
        ZTKCloseTraceLog();
        std::remove(kPath);
    }
    // Closes the log and gives what it held, the mark taken off.
    static std::string Closed() {
        ZTKCloseTraceLog();
        const std::string bytes = FileBytes();
        EXPECT_EQ(bytes.substr(0, 2), kMark);
        return bytes.size() < 2 ? "" : bytes.substr(2);
    }
};

TEST_F(Logging, WritersAddNothingAndLineFeedsGetACarriageReturn) {
    ZTKWriteTraceLog(L"a\nb\r\n\n");
    ZTKWriteTraceLog(L"");
    ZTKTrace(L"%s=%d|%hs\n", L"x", 42, "n");
    ZTKWriteTraceLog(L"\x20AC\xD83D\xDE00");
    EXPECT_EQ(Closed(), Utf16("a\r\nb\r\r\n\r\nx=42|n\r\n") + "\xAC\x20\x3D\xD8" +
                            std::string("\x00\xDE", 2));
}

TEST_F(Logging, TextsBeyondTheStreamsBufferArriveWhole) {
    const std::vector<wchar_t> line = [] {
        std::vector<wchar_t> text(100000, L'q');
        text.push_back(L'\n');
        text.push_back(L'\0');
        return text;
    }();
    ZTKWriteTraceLog(line.data());
    ZTKTrace(L"%s", line.data());
    const std::string once = Utf16(std::string(100000, 'q') + "\r\n");
    EXPECT_EQ(Closed(), once + once);
}

TEST_F(Logging, OpeningAnOpenLogKeepsTheFirstFileAndReopeningTruncates) {
    ZTKWriteTraceLog(L"one");
    EXPECT_TRUE(ZTKOpenTraceLog(L"no-such-directory/other.log"));
    EXPECT_TRUE(ZTKOpenTraceLog(kWidePath));
    ZTKWriteTraceLog(L"two");
    EXPECT_EQ(Closed(), Utf16("onetwo"));
    EXPECT_FALSE(ZTKOpenTraceLog(L"no-such-directory/other.log"));
    EXPECT_FALSE(ZTKOpenTraceLog(nullptr));
    ZTKWriteTraceLog(L"dropped: nothing is open");
    ASSERT_TRUE(ZTKOpenTraceLog(kWidePath));
    EXPECT_EQ(Closed(), "");
}

TEST_F(Logging, EverySixteenthWriteReachesTheDisk) {
    // Bring the process-wide counter to a flush, whatever earlier tests left it at.
    std::size_t on_disk = FileBytes().size();
    int writes = 0;
    while (FileBytes().size() == on_disk && ++writes <= 16) {
        ZTKWriteTraceLog(L"f");
    }
    ASSERT_LE(writes, 16);
    on_disk = FileBytes().size();
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
    unsigned char bytes[] = {0x01, 0xAB, 0xFF};
    ZTK::LogTextA("off");
    ZTK::LogTextW(L"off");
    ZTK::LogHex(L"off", bytes, 3);
    ZTKTrace(L"trace;");  // does not look at the switch
    for (const int mode : {0, 1, 2, -1}) {
        ZTK::EnableLogging(true, mode);
        ZTK::LogTextW(L"on;");
    }
    ZTK::LogTextA(nullptr);
    ZTK::LogTextA("");
    ZTK::LogTextW(nullptr);
    ZTK::LogTextW(L"");
    ZTK::LogTextA("\xC3\xA9");
    EXPECT_EQ(Closed(), Utf16("trace;on;on;on;on;") + std::string("\xE9\x00", 2));
}

TEST_F(Logging, HexLinesHaveLabelBlankDigitsAndLineFeed) {
    unsigned char bytes[300];
    for (int i = 0; i < 300; ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7);
    }
    std::string digits;
    for (const unsigned char byte : bytes) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", byte);
        digits += pair;
    }
    struct Row {
        const wchar_t* label;
        DWORD size;
        std::string line;
    };
    const Row rows[] = {
        {L"recv:", 3, "recv: 00070E"},
        {nullptr, 300, digits},
        {L"", 2, "0007"},
        {L"recv:", 0, "recv: "},
        {nullptr, 0, ""},
        {L"recv:", 300, "recv: " + digits},
        {L"x", 1, "x 00"},
    };
    ZTK::EnableLogging(true, 0);
    std::string expected;
    for (const Row& row : rows) {
        ZTK::LogHex(row.label, bytes, row.size);
        expected += row.line + "\r\n";
    }
    EXPECT_EQ(Closed(), Utf16(expected));
}

TEST_F(Logging, ATraceTakesOneWideRingSlotWhateverBecomesOfIt) {
    ZTKCloseTraceLog();
    wchar_t* first = nullptr;
    ASSERT_EQ(ZTK::ZTKGetTmpString(first, 4), 1U);
    for (int i = 0; i < 255; ++i) {
        ZTKTrace(L"%d", i);
    }
    wchar_t* again = nullptr;
    ASSERT_EQ(ZTK::ZTKGetTmpString(again, 4), 1U);
    EXPECT_EQ(again, first);
}

TEST_F(Logging, LinesOfManyThreadsStayWhole) {
    constexpr int kThreads = 8;
    constexpr int kLines = 500;
    ZTK::EnableLogging(true, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            const wchar_t name[] = {static_cast<wchar_t>(L'a' + t), L'\0'};
            wchar_t line[64];
            std::fill_n(line, 60, name[0]);
            line[60] = L'\n';
            line[61] = L'\0';
            const std::string narrow = std::string(60, static_cast<char>('a' + t)) + "\n";
            unsigned char byte = static_cast<unsigned char>(t);
            for (int i = 0; i < kLines; ++i) {
                ZTKWriteTraceLog(line);
                ZTK::LogTextW(line);
                // These two take ring slots that other threads get again within a line or two.
                ZTKTrace(L"%s", line);
                ZTK::LogTextA(narrow.c_str());
                ZTK::LogHex(name, &byte, 1);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const std::string bytes = Closed();
    std::map<std::string, int> lines;
    for (std::size_t from = 0, to; (to = bytes.find(Utf16("\r\n"), from)) != std::string::npos;
         from = to + 4) {
        ++lines[bytes.substr(from, to - from)];
    }
    EXPECT_EQ(lines.size(), 2U * kThreads) << "a line that is not one of the texts was torn";
    for (int t = 0; t < kThreads; ++t) {
        const char name = static_cast<char>('a' + t);
        EXPECT_EQ(lines[Utf16(std::string(60, name))], 4 * kLines);
        EXPECT_EQ(lines[Utf16(std::string(1, name) + " 0" + static_cast<char>('0' + t))], kLines);
    }
}

TEST(Assertion, ATrueConditionShowsNothing) {
    wchar_t text[] = L"never formatted";
    ZTKAssert(1, text, nullptr, 0);
    ZTKAssert(-1, nullptr, nullptr, 0);
}

}  // namespace
