// What only the Linux layer promises of text: the whole printf engine, iconv pages, text streams
// beyond the trace log's use, and the message box. Some rows are rules that the runtimes on Windows
// keep differently from version to version.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "support/text.h"
#include "ztk/logging.h"
#include "ztk/memory.h"
#include "ztk/platform.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;

TEST(PosixFormat, TheEngineKnowsAllModifiers) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const struct {
        const char* expected;
        const char* actual;
    } rows[] = {
        {"44|-128", StrFormat("%hhd|%hhd", 300, 128)},
        {"5 -6 7", StrFormat("%zu %td %jd", std::size_t{5}, std::ptrdiff_t{-6}, INTMAX_C(7))},
        {"-1 ffffffffffffffff", StrFormat("%Id %Ix", std::ptrdiff_t{-1}, SIZE_MAX)},
        {"-5000000000", StrFormat("%ld", -5000000000L)},
        {"  007", StrFormat("%05.3d", 7)},
        {"0 |00", StrFormat("%#.0o |%#.2o", 0, 0)},
        {"0x1p+0|0X1.8P+1", StrFormat("%a|%A", 1.0, 3.0)},
        {"1.500000e+00|1.5|INF|  inf", StrFormat("%e|%Lg|%F|%05f", 1.5, 1.5L, infinity, infinity)},
        {"-0x0001p+0", StrFormat("%010a", -1.0)},
        {"00000000DEADBEEF", StrFormat("%p", reinterpret_cast<void*>(0xDEADBEEF))},
        {"\xC3\xA4|\xF0\x9F\x98\x80|  \xE4\xB8\xAD",
         StrFormat("%ls|%S|%5lc", L"\xE4", L"\xD83D\xDE00", 0x4E2D)},
        {"\xE4\xB8\xAD|", StrFormat("%.5ls|%.2ls", L"\x4E2D\x4E2D", L"\x4E2D")},  // none in part
        {"\xEF\xBF\xBD", StrFormat("%lc", 0xD800)},
        {"(nul", StrFormat("%.4s", static_cast<const char*>(nullptr))},
    };
    for (const auto& row : rows) {
        EXPECT_TEXT(row.expected, row.actual);
    }
    EXPECT_TEXT(L"\xE4|\xFFFD", StrFormat(L"%hs|%hc", "\xC3\xA4", 0xE4));
    EXPECT_EQ(std::string(400, '0'), StrFormat("%.400f", 0.0) + 2);
    EXPECT_GT(StrCompare("\x80", "\x7F", false), 0);
}

TEST(PosixFormat, ABadFormatGivesNothing) {
    int written = 7;
    const char* const bad[] = {"%n",
                               "%hn",
                               "%y",
                               "a%",
                               "%5",
                               "%-",
                               "%.",
                               "%l",
                               "%I3d",
                               "%wd",
                               "%zs",
                               "%hf",
                               "%99999999999d",
                               "%.2147483648d",
                               "a%\xC3\xA4"};
    for (const char* const format : bad) {
        EXPECT_EQ(StrFormat(format, &written), nullptr) << format;
    }
    EXPECT_EQ(written, 7);
    EXPECT_EQ(StrFormat("%2147483647d%d", 1, 1), nullptr);  // a length beyond int
    EXPECT_EQ(StrFormat("%*d", INT32_MIN, 1), nullptr);
}

// A page of memory with nothing readable behind it.
class LastPage {
  public:
    LastPage() : size_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        base_ = static_cast<char*>(
            mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(base_ + size_, size_, PROT_NONE);
    }
    ~LastPage() { munmap(base_, 2 * size_); }

    // The place whose count elements are the last ones of the page.
    template <class Char>
    Char* Last(std::size_t count) {
        return reinterpret_cast<Char*>(base_ + size_) - count;
    }

  private:
    std::size_t size_;
    char* base_;
};

template <class Char>
void ReadAtTheEndOfMemory(LastPage& page) {
    constexpr Char kZ[] = {'z', 0};
    for (std::size_t count = 1; count < 40; ++count) {
        Char* const s = page.Last<Char>(count);
        std::fill_n(s, count - 1, Char{'a'});
        s[count - 1] = 0;
        ASSERT_EQ(StrLength(s), count - 1);
        ASSERT_EQ(StrFind(s, kZ), nullptr);
        ASSERT_EQ(StrFind(s, Char{'z'}), nullptr);
        ASSERT_EQ(StrConvert(s, 0) == nullptr, count == 1);
        s[count - 1] = 'a';  // no terminator: the precision alone ends the reading
        constexpr Char kFormat[] = {'%', '.', '*', 's', 0};
        ASSERT_EQ(StrLength(StrFormat(kFormat, static_cast<int>(count), s)), count);
    }
}

TEST(PosixText, NothingBehindATextIsRead) {
    LastPage page;
    ReadAtTheEndOfMemory<char>(page);
    ReadAtTheEndOfMemory<wchar_t>(page);
}

TEST(PosixCodePages, LongTextsAndUnmappableOnesConvert) {
    std::vector<wchar_t> wide(3000, L'\xE4');
    wide.push_back(0);
    EXPECT_TEXT(std::string(3000, '\xE4').c_str(), StrConvert(wide.data(), 28591));
    EXPECT_TEXT(wide.data(), StrConvert(std::string(3000, '\xE4').c_str(), 28591));
    EXPECT_TEXT(L"a\xFFFDz", StrConvert("a\x81z", 1252));
    EXPECT_TEXT("??z", StrConvert(L"\xD83D\xDE00z", 1252));  // one for each unit
    EXPECT_TEXT("\x82\xA0", StrConvert(L"\x3042", 932));
    EXPECT_EQ(StrConvert(L"a", 1200), nullptr);  // UTF-16 is no narrow page
}

// A file in the temporary directory; its content as UTF-16 without the byte-order mark.
class TemporaryFile {
  public:
    TemporaryFile() { close(mkstemp(name_)); }
    ~TemporaryFile() { unlink(name_); }
    const wchar_t* Path() const { return StrConvert(name_, 65001); }
    std::string Bytes() const {
        std::ifstream file(name_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    char name_[64] = "/tmp/ztk_text_XXXXXX";
};

TEST(PosixTextStream, FileHoldsMarkedUtf16WithCrLf) {
    TemporaryFile file;
    ASSERT_TRUE(ZTKOpenTraceLog(file.Path()));
    EXPECT_EQ(file.Bytes(), "\xFF\xFE");
    ZTKWriteTraceLog(L"\x4E2D\n\r\n\xD800");
    ZTKCloseTraceLog();
    EXPECT_EQ(file.Bytes(), std::string("\xFF\xFE\x2D\x4E\r\0\n\0\r\0\r\0\n\0\0\xD8", 16));
}

TEST(PosixTextStream, ConcurrentTextsStayWhole) {
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kTexts = 200;
    constexpr std::size_t kLength = 700;  // more texts than one fit into the stream's buffer
    TemporaryFile file;
    ASSERT_TRUE(ZTKOpenTraceLog(file.Path()));
    std::vector<std::thread> writers;
    for (std::size_t i = 0; i < kThreads; ++i) {
        writers.emplace_back([i] {
            std::vector<wchar_t> text(kLength, static_cast<wchar_t>(L'a' + i));
            text.push_back(0);
            for (std::size_t n = 0; n < kTexts; ++n) {
                ZTKWriteTraceLog(text.data());
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    ZTKCloseTraceLog();
    const std::string bytes = file.Bytes();
    ASSERT_EQ(bytes.size(), 2 + 2 * kThreads * kTexts * kLength);
    for (std::size_t at = 2; at < bytes.size(); at += 2 * kLength) {
        for (std::size_t i = 0; i < 2 * kLength; i += 2) {
            ASSERT_EQ(bytes[at + i], bytes[at]) << at + i;
        }
    }
}

TEST(PosixTextStream, AFullDiskDoesNotStopTheWriter) {
    std::vector<wchar_t> text(20000, L'a');
    text.push_back(0);
    ASSERT_TRUE(ZTKOpenTraceLog(L"/dev/full"));
    for (int i = 0; i < 40; ++i) {
        ZTKWriteTraceLog(text.data());
    }
    ZTKCloseTraceLog();
    for (const wchar_t* path : {L"/nowhere/at/all", L"/tmp", L""}) {
        EXPECT_FALSE(ZTKOpenTraceLog(path));
    }
}

std::atomic<UINT> shown_style{0};

int RecordingHandler(HWND, LPCWSTR text, LPCWSTR caption, UINT style) {
    EXPECT_TEXT(L"text", text);
    EXPECT_TEXT(L"caption", caption);
    shown_style = style;
    return 17;
}

TEST(PosixMessageBox, AHandlerTakesTheBox) {
    EXPECT_EQ(ZTKPosix::SetMessageBoxHandler(RecordingHandler), nullptr);
    EXPECT_EQ(MessageBoxW(nullptr, L"text", L"caption", 3), 17);
    EXPECT_EQ(shown_style, 3u);
    EXPECT_EQ(ZTKPosix::SetMessageBoxHandler(nullptr), RecordingHandler);
}

TEST(PosixMessageBox, WithoutAHandlerTheTextGoesToStandardError) {
    const int terminal = dup(STDIN_FILENO);
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MessageBoxW(nullptr, L"\xE4\nline", L"Caption", MB_OK), IDOK);
    EXPECT_EQ(MessageBoxW(nullptr, nullptr, nullptr, MB_OK), IDOK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Caption\n\xC3\xA4\nline\nError\n\n");
    dup2(terminal, STDIN_FILENO);
    close(terminal);
    close(nothing);
}

}  // namespace
