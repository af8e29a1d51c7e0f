// What only the Linux layer promises of text: the whole printf engine, iconv pages, text streams
// beyond the trace log's use, and the message box. Some rows are rules that the runtimes on Windows
// keep differently from version to version.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "support/guarded_text.h"
#include "support/text.h"
#include "ztk/logging.h"
#include "ztk/memory.h"
#include "ztk/strings.h"

namespace {

using namespace ZTK;
using namespace std::string_view_literals;

TEST(PosixFormat, TheEngineKnowsAllModifiers) {
    EXPECT_TEXT("5-67", StrFormat("%zu%td%jd", std::size_t{5}, std::ptrdiff_t{-6}, INTMAX_C(7)));
    EXPECT_TEXT("-1 ffffffffffffffff", StrFormat("%Id %Ix", std::ptrdiff_t{-1}, SIZE_MAX));
    EXPECT_TEXT("-5000000000|  007|0 ", StrFormat("%ld|%05.3d|%#.0o ", -5000000000L, 7, 0));
    EXPECT_TEXT("0x1p+0|0X1.8P+1|-0x0001p+0", StrFormat("%a|%A|%010a", 1.0, 3.0, -1.0));
    EXPECT_TEXT("1.500000e+00|1.5|  inf", StrFormat("%e|%Lg|%05f", 1.5, 1.5L, INFINITY));
    EXPECT_TEXT("00000000DEADBEEF", StrFormat("%p", reinterpret_cast<void*>(0xDEADBEEF)));
    EXPECT_TEXT("-128|(nul", StrFormat("%hhd|%.4s", 128, static_cast<const char*>(nullptr)));
    EXPECT_TEXT("\xC3\xA4|\xF0\x9F\x98\x80", StrFormat("%ls|%S", L"\xE4", L"\xD83D\xDE00"));
    EXPECT_TEXT("  \xE4\xB8\xAD|\xEF\xBF\xBD", StrFormat("%5lc|%lc", 0x4E2D, 0xD800));
    EXPECT_TEXT("\xE4\xB8\xAD", StrFormat("%.5ls", L"\x4E2D\x4E2D"));  // none in part
    EXPECT_TEXT(L"\xE4|\xFFFD", StrFormat(L"%hs|%hc", "\xC3\xA4", 0xE4));
    EXPECT_EQ(std::string(400, '0'), StrFormat("%.400f", 0.0) + 2);
    EXPECT_EQ("5." + std::string(2000, '0') + "e-01", StrFormat("%.2000e", 0.5));
    EXPECT_EQ("0x1." + std::string(2000, '0') + "p+0 inf",
              StrFormat("%.2000a %.2000f", 1.0, INFINITY));
    EXPECT_EQ("0.5" + std::string(1999, '0') + "|1", StrFormat("%#.2000g|%.2000g", 0.5, 1.0));
    EXPECT_GT(StrCompare("\x80", "\x7F", false), 0);
}

// Also where the host has set another rounding.
TEST(PosixFormat, FloatingPointDigitsAreThoseOfTheCLibrary) {
    constexpr double kValues[] = {0,      -0.0,     0.5,     2.5,      -1e15,
                                  0.05,   99999.95, 12.3456, 1e-05,    1e-310,
                                  5e-324, 1.7e308,  1e22,    123456.5, 1.0 / 3};
    for (const int rounding : {FE_TONEAREST, FE_UPWARD}) {
        ASSERT_EQ(std::fesetround(rounding), 0);
        for (const char* const format :
             {"%f", "%.0f", "%e", "%.0E", "%g", "%.0G", "%+.3f", "% .17g", "%#g", "%012.2f",
              "%-12.4e|", "%.70f", "%.330f", "%.400g"}) {
            for (const double value : kValues) {
                char expected[1024];
                std::snprintf(expected, sizeof expected, format, value);
                EXPECT_TEXT(expected, StrFormat(format, value)) << format << rounding;
            }
        }
    }
    std::fesetround(FE_TONEAREST);
}

TEST(PosixFormat, ABadFormatGivesNothing) {
    int written = 7;
    for (const char* const format : {"%n", "%y", "a%", "%5", "%.", "%l", "%I3d", "%wd", "%zs",
                                     "%99999999999d", "%.2147483648d", "a%\xC3\xA4"}) {
        EXPECT_EQ(StrFormat(format, &written), nullptr) << format;
    }
    EXPECT_EQ(written, 7);
    EXPECT_EQ(StrFormat("%2147483647d%d", 1, 1), nullptr);  // a length beyond int
    EXPECT_EQ(StrFormat("%*d", INT32_MIN, 1), nullptr);
    // Far too long for a ring: neither is memory taken for it nor a digit made.
    EXPECT_EQ(StrFormat("%.2147483600f", 1.5), nullptr);
    EXPECT_EQ(StrFormat(L"%#.2147483600Lg", 1e4000L), nullptr);
    ZTKTrace(L"%2147483647d", 1);  // one more than its length is no int
}

// end is where readable memory ends.
template <class Char>
void ReadAtTheEndOfMemory(char* end) {
    constexpr Char kZ[] = {'z', 0}, kFormat[] = {'%', '.', '*', 's', 0};
    for (int count = 1; count < 40; ++count) {
        Char* const s = reinterpret_cast<Char*>(end) - count;
        *std::fill_n(s, count - 1, Char{'a'}) = 0;
        ASSERT_EQ(StrLength(s), static_cast<unsigned>(count - 1));
        ASSERT_EQ(StrFind(s, kZ), nullptr);
        ASSERT_EQ(StrFind(s, Char{'z'}), nullptr);
        ASSERT_EQ(StrConvert(s, 0) == nullptr, count == 1);
        s[count - 1] = 'a';  // no terminator: the precision alone ends the reading
        ASSERT_EQ(StrLength(StrFormat(kFormat, count, s)), static_cast<unsigned>(count));
        // Of the other width, and with a character at the end that does not fit.
        const auto other_width = [s](int most) {
            return std::is_same_v<Char, char> ? StrLength(StrFormat(L"%.*hs", most, s))
                                              : StrLength(StrFormat("%.*ls", most, s));
        };
        ASSERT_EQ(other_width(count), static_cast<unsigned>(count));
        s[count - 1] = sizeof(Char) == 1 ? static_cast<Char>(0xF0) : static_cast<Char>(0xD83D);
        ASSERT_EQ(other_width(count), static_cast<unsigned>(count - 1));
    }
}

TEST(PosixText, NothingBehindATextIsRead) {
    constexpr std::size_t kRoom = 1 << 16;
    ReadAtTheEndOfMemory<char>(ztk_test::GuardedPages(kRoom) + kRoom);
    ReadAtTheEndOfMemory<wchar_t>(ztk_test::GuardedPages(kRoom) + kRoom);
}

TEST(PosixCodePages, LongTextsAndUnmappableOnesConvert) {
    const std::string narrow(5000, '\xE4');
    const wchar_t* const wide = StrConvert(narrow.c_str(), 28591);
    EXPECT_EQ(wide[4999], 0xE4);
    EXPECT_TEXT(narrow.c_str(), StrConvert(wide, 28591));
    EXPECT_TEXT(L"a\xFFFDz", StrConvert("a\x81z", 1252));
    EXPECT_TEXT("??z", StrConvert(L"\xD83D\xDE00z", 1252));  // one for each unit
    EXPECT_EQ(StrConvert(L"a", 1200), nullptr);              // UTF-16 is no narrow page
    EXPECT_TEXT("\xC1\x6F", StrConvert(L"A\x4E2D", 37));
}

TEST(PosixCodePages, ShiftStatesSwallowNeitherTheTerminatorNorTheSubstitute) {
    for (const unsigned page : {50220U, 50225U, 65000U, 930U, 935U, 50939U, 1364U, 1399U}) {
        SCOPED_TRACE(page);
        const char* const narrow = StrConvert(L"\x4E2D\xD800\x4E2Dz\x4E2D", page);
        EXPECT_TEXT(L"\x4E2D?\x4E2Dz\x4E2D", StrConvert(narrow, page));
        for (const char* const hostile : {"\x0E"
                                          "A",
                                          "A\x0E", "\x1B$BA", "+A", "\x0E\x41\x42\x43"}) {
            wchar_t* junk = nullptr;
            for (int i = 0; i < 256; ++i) {
                ASSERT_EQ(ZTKGetTmpString(junk, 64), 1U);
                std::fill_n(junk, 64, L'x');
            }
            EXPECT_LE(StrLength(StrConvert(hostile, page)), 4U) << hostile;
        }
    }
}

TEST(PosixTextStream, AFullDiskDoesNotStopTheWriter) {
    ASSERT_TRUE(ZTKOpenTraceLog(L"/dev/full"));
    for (int i = 0; i < 40; ++i) {
        ZTKTrace(L"%20000d", i);
    }
    ZTKCloseTraceLog();
    EXPECT_FALSE(ZTKOpenTraceLog(L"/tmp"));
}

TEST(PosixTextStream, APipeWithoutAReaderIsNotWaitedFor) {
    (void)unlink("posix_text_test.pipe");
    ASSERT_EQ(mkfifo("posix_text_test.pipe", 0600), 0);
    EXPECT_FALSE(ZTKOpenTraceLog(L"posix_text_test.pipe"));
    EXPECT_EQ(unlink("posix_text_test.pipe"), 0);
}

// The limit cuts the file inside the mark and at every byte of the pattern, and no signal tells.
TEST(PosixTextStream, ADiskThatWasFullLeavesWholeCharacters) {
    std::vector<wchar_t> text;
    for (int i = 0; i < 6000; ++i) {
        text.push_back(L"\n\xD83D\xDE00"[i % 3]);
    }
    text.push_back(0);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    for (rlim_t most = 0; most < 12; ++most) {
        const rlimit full{most, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
        const bool opened = ZTKOpenTraceLog(L"posix_text_test.log");
        ZTKWriteTraceLog(text.data());  // more than the buffer: most of it is refused
        setrlimit(RLIMIT_FSIZE, &before);
        ZTKWriteTraceLog(L"end");
        ZTKCloseTraceLog();
        std::ifstream file("posix_text_test.log", std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(file), {}}, kept;
        SCOPED_TRACE(most);
        ASSERT_TRUE(opened && bytes.substr(0, 2) == "\xFF\xFE");
        for (std::size_t at = 2; at < bytes.size();) {
            const std::string_view rest = std::string_view(bytes).substr(at, 4);
            const bool whole = rest == "\r\0\n\0"sv || rest == "\x3D\xD8\0\xDE"sv;
            kept += whole ? "" : std::string(1, bytes[at]);
            at += whole ? 4 : 2;
        }
        EXPECT_EQ(kept, "end");
    }
    std::remove("posix_text_test.log");
}

int boxes;

int RecordingHandler(HWND, LPCWSTR text, LPCWSTR caption, UINT style) {
    EXPECT_TEXT(L"x > 0\nfile:main, line:42", text);
    EXPECT_TEXT(L"Assertion", caption);
    return static_cast<int>(style) + ++boxes;
}

void RecordingHook(void* assertions, ZTK::TLogKind kind, const wchar_t* text) {
    EXPECT_TEXT(L"x > 0\nfile:main, line:42", text);
    EXPECT_TRUE(kind == ZTK::LogKindAssertion && boxes == 0) << "before the box";
    ++*static_cast<int*>(assertions);
}

TEST(PosixMessageBoxDeathTest, AHandlerTakesTheBoxOfAnAssertion) {
    EXPECT_EQ(ZTKPosix::SetMessageBoxHandler(RecordingHandler), nullptr);
    boxes = 0;
    int assertions = 0;
    ZTK::SetLogHook(RecordingHook, &assertions);
    wchar_t expression[520] = L"x > 0", file[] = L"main";
    ZTKAssert(0, expression, file, 42);
    ZTKAssert(-1, nullptr, nullptr, 0);  // shows nothing
    ZTK::SetLogHook(nullptr, nullptr);
    EXPECT_EQ(assertions, 1);
    EXPECT_EQ(MessageBoxW(nullptr, L"x > 0\nfile:main, line:42", L"Assertion", 16), 18);
    EXPECT_EQ(ZTKPosix::SetMessageBoxHandler(nullptr), RecordingHandler);
    std::fill_n(expression, 519, L'a');
    EXPECT_DEATH(ZTKAssert(0, expression, file, 42), "520 characters");
}

TEST(PosixMessageBox, WithoutAHandlerTheTextGoesToStandardError) {
    const int terminal = dup(STDIN_FILENO);
    testing::internal::CaptureStderr();
    close(STDIN_FILENO);
    EXPECT_EQ(MessageBoxW(nullptr, L"\xE4\nline", L"Caption", MB_OK), IDOK);
    EXPECT_EQ(MessageBoxW(nullptr, nullptr, nullptr, MB_OK), IDOK);
    const std::string text(5000, 'x');
    EXPECT_EQ(MessageBoxW(nullptr, ZTK::StrConvert(text.c_str(), 0), L"Long", MB_OK), IDOK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Caption\n\xC3\xA4\nline\nError\n\nLong\n" + text + "\n");
    dup2(terminal, STDIN_FILENO);
    close(terminal);
}

// Whether SIGPIPE is left behind by writes to a pipe that nobody reads.
int WriteToNobody() {
    int ends[2];
    if (signal(SIGPIPE, SIG_DFL) == SIG_ERR || close(STDIN_FILENO) != 0 || pipe(ends) != 0 ||
        dup2(ends[1], STDERR_FILENO) < 0 || !ZTKOpenTraceLog(L"/dev/fd/2")) {
        return 2;
    }
    close(ends[0]);
    ZTKTrace(L"to nobody");
    ZTKCloseTraceLog();
    (void)MessageBoxW(nullptr, L"to nobody", nullptr, MB_OK);
    sigset_t pending;
    return sigpending(&pending) + sigismember(&pending, SIGPIPE);
}

TEST(PosixSigpipeDeathTest, IsNotRaisedByALogOrAMessageThatNobodyReads) {
    EXPECT_EXIT(_exit(WriteToNobody()), testing::ExitedWithCode(0), "");
}

}  // namespace
