// Streams that a buffer meets on Linux only: pipes, decoding errors, streams of the other
// orientation, and files larger than a buffer.
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>
#include <utility>

#include "support/buffer_text.h"

namespace {

using namespace ztk_test;

TEST(PosixBuffer, LoadsAStreamThatHasNoLength) {
    std::string bytes;
    for (int i = 0; i < 40000; ++i) {
        bytes += std::to_string(i) + "\n";
    }
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::thread writer([&] {
        std::FILE* const to = ::fdopen(ends[1], "w");
        EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), to), bytes.size());
        (void)std::fclose(to);
    });
    std::FILE* stream = ::fdopen(ends[0], "r");
    ZTK::CBuffer<char> buffer;
    EXPECT_EQ(buffer.Load(stream), 40000);
    std::FILE* none = nullptr;
    for (int i = 0; i < 40000; ++i) {
        ASSERT_TEXT(std::to_string(i).c_str(), buffer.GetNext(none, i));
    }
    writer.join();
    (void)std::fclose(stream);
}

TEST(PosixBuffer, ADecodingErrorEndsTheReading) {
    TestFile file("a\nb\xFFz\n");
    std::FILE*& stream = file.Open("r,ccs=UTF-8");
    ZTK::CBuffer<wchar_t> buffer;
    EXPECT_EQ(buffer.Load(stream), 2);
    EXPECT_EQ(Lines(buffer, 2), "a|b|");
    EXPECT_NE(std::ferror(stream), 0);
    EXPECT_EQ(buffer.GetNext(stream, 0), nullptr);
    EXPECT_EQ(stream, nullptr);
}

// The C library aborts the process where it finds nothing behind the mark.
TEST(PosixBuffer, AByteOrderMarkIsPassedOver) {
    const struct {
        const char* mode;
        std::string bytes;
        int lines;
    } cases[] = {{"r,ccs=UNICODE", "\xFF\xFE", 0},
                 {"r,ccs=UTF-16", "\xFE\xFF", 0},
                 {"r,ccs=UTF-16LE", "\xFF\xFE", 0},
                 {"r,ccs=UTF-8", "\xEF\xBB\xBF", 0},
                 {"r,ccs=UNICODE", {"\xFF\xFE\x61\0\n\0", 6}, 1},
                 {"r,ccs=UTF-16", {"\xFE\xFF\0a\0\n", 6}, 1},
                 {"r,ccs=UTF-16LE", {"\xFF\xFE\x61\0\n\0", 6}, 1},
                 {"r,ccs=UTF-8", "\xEF\xBB\xBF\x61\n", 1},
                 {"r,ccs=UTF-16LE", {"a\0\n\0\xFF\xFE\n\0", 8}, 2}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        TestFile file(c.bytes);
        for (const int mode : {_IOFBF, _IONBF}) {
            ZTK::CBuffer<wchar_t> loaded, read;
            std::FILE*& stream = file.Open(c.mode);
            ASSERT_EQ(std::setvbuf(stream, nullptr, mode, 4096), 0);
            const bool skipped = mode == _IONBF && c.bytes[0] == '\xFE';  // without room for it
            EXPECT_EQ(loaded.Load(stream), skipped ? 0 : c.lines);
            EXPECT_EQ(Lines(loaded, 1), c.lines == 0 || skipped ? "(none)|" : "a|");
            read.ReAllocForFile(file.Open(c.mode));
            for (int line = 0; line < c.lines; ++line) {
                EXPECT_NE(read.GetNext(stream, 0), nullptr);
            }
            EXPECT_EQ(read.GetNext(stream, 0), nullptr);
            EXPECT_EQ(Lines(read, 1), c.lines == 0 ? "(none)|" : "a|");
        }
    }
}

TEST(PosixBuffer, AByteOrderMarkMayComeAloneThroughAPipe) {
    for (const char* mode : {"r,ccs=UNICODE", "r,ccs=UTF-16"}) {
        for (const std::string& text : {std::string(), std::string("a\0\n\0", 4)}) {
            int ends[2];
            ASSERT_EQ(::pipe(ends), 0);
            std::FILE* stream = [&] {
                const NoLeakCheck not_ours;  // the C library's, as in TestFile::Open
                return std::fopen(("/dev/fd/" + std::to_string(ends[0])).c_str(), mode);
            }();
            ASSERT_EQ(::write(ends[1], "\xFF\xFE", 2), 2);
            std::thread writer([&] {
                Sleep(20);  // the reader has found the mark, or finds all at once
                EXPECT_EQ(::write(ends[1], text.data(), text.size()),
                          static_cast<ssize_t>(text.size()));
                (void)::close(ends[1]);
            });
            ZTK::CBuffer<wchar_t> buffer;
            EXPECT_EQ(buffer.Load(stream), text.empty() ? 0 : 1);
            EXPECT_EQ(Lines(buffer, 1), text.empty() ? "(none)|" : "a|");
            writer.join();
            (void)std::fclose(stream);
            (void)::close(ends[0]);
        }
    }
}

TEST(PosixBuffer, AStreamOfTheOtherOrientationOrDirectionGivesNothing) {
    TestFile file("a\nb\n");
    ZTK::CBuffer<char> narrow;
    ZTK::CBuffer<wchar_t> wide;
    std::FILE* stream = file.Open("r");
    EXPECT_EQ(std::fgetc(stream), 'a');
    EXPECT_EQ(wide.Load(stream), 0);
    EXPECT_EQ(narrow.Load(stream), 2) << "the wide attempt took nothing";
    stream = file.Open("r,ccs=UTF-8");
    EXPECT_EQ(narrow.Load(stream), 0);
    EXPECT_EQ(wide.Load(stream), 2);
    EXPECT_EQ(narrow.Load(file.Open("ab")), 0);
}

// Files of these sizes, without their bytes on the disk.
TEST(PosixBuffer, AFileThatNoLengthCanTellIsNotSizedFor) {
    constexpr off_t kGiB = off_t{1} << 30;
    const std::pair<off_t, int> cases[] = {{2 * kGiB, -1}, {4 * kGiB + 5, -1}, {kGiB, 1 << 30}};
    for (const auto& [bytes, expected] : cases) {
        TestFile file("");
        std::FILE* const stream = file.Open("r+");
        ASSERT_EQ(::ftruncate(::fileno(stream), bytes), 0);
        ZTK::CBuffer<wchar_t> wide;
        EXPECT_EQ(wide.ReAllocForFile(stream), -2);
        EXPECT_EQ(wide.GetBuffer(), nullptr);
        EXPECT_EQ(ZTK::CBuffer<char>().ReAllocForFile(stream), expected);
    }
}

}  // namespace
