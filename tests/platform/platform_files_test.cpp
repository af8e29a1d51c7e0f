// Files by handle, as hosts open and read them.
#include <gtest/gtest.h>

#include <array>

#include "support/buffer_text.h"

namespace {

using namespace ztk_test;

// Reads up to count bytes; "error" and its code if that fails.
std::string Read(HANDLE file, DWORD count) {
    std::array<char, 100> bytes{};
    DWORD read = 77;
    if (ReadFile(file, bytes.data(), count, &read, nullptr) == 0) {
        EXPECT_EQ(read, 0U);
        return "error " + std::to_string(GetLastError());
    }
    return {bytes.data(), read};
}

TEST(Files, WhatCannotBeOpenedSaysWhy) {
    const std::pair<const char*, DWORD> cases[] = {{"no-such-file", ERROR_FILE_NOT_FOUND},
                                                   {"./no-such-file", ERROR_FILE_NOT_FOUND},
                                                   {"no-such-folder/file", ERROR_PATH_NOT_FOUND},
                                                   {"", ERROR_PATH_NOT_FOUND},
                                                   {".", ERROR_ACCESS_DENIED},
                                                   {"..", ERROR_ACCESS_DENIED}};
    for (const auto& [path, error] : cases) {
        EXPECT_EQ(OpenToRead(path), INVALID_HANDLE_VALUE) << path;
        EXPECT_EQ(GetLastError(), error) << path;
    }
}

TEST(Files, AreReadFromFrontToEnd) {
    TestFile file("0123456789");
    SetLastError(77);
    HANDLE const handle = OpenToRead(file.Name());
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    DWORD high = 42;
    EXPECT_EQ(GetFileSize(handle, &high), 10U);
    EXPECT_EQ(high, 0U);
    EXPECT_EQ(Read(handle, 4), "0123");
    HANDLE second = nullptr;  // of the same opened file, so it reads on
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &second, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    HANDLE const again = OpenToRead(file.Name());
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(Read(second, 3), "456");
    EXPECT_EQ(Read(again, 3), "012");
    EXPECT_EQ(Read(second, 0), "");
    EXPECT_EQ(Read(second, 50), "789");
    EXPECT_EQ(Read(second, 50), "");
    EXPECT_EQ(GetFileSize(second, nullptr), 10U);
    EXPECT_TRUE(CloseHandle(second));
    EXPECT_TRUE(CloseHandle(again));
}

TEST(Files, OnlyOpenFileHandlesServe) {
    TestFile file("x");
    HANDLE const closed = OpenToRead(file.Name());
    EXPECT_TRUE(CloseHandle(closed));
    for (HANDLE handle : {closed, HANDLE{}, INVALID_HANDLE_VALUE}) {
        EXPECT_EQ(GetFileSize(handle, nullptr), INVALID_FILE_SIZE);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
        EXPECT_EQ(Read(handle, 1), "error 6");
    }
    HANDLE const open = OpenToRead(file.Name());
    EXPECT_FALSE(SetEvent(open));
    EXPECT_FALSE(ReleaseMutex(open));
    EXPECT_TRUE(CloseHandle(open));
}

TEST(Files, TellSizesBeyond32Bits) {
    TestFile file("");
    std::FILE* const stream = file.Open("r+b");
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(std::fseek(stream, 0x7FFFFFFF, SEEK_CUR), 0);
    }
    std::fputc('x', stream);
    std::fflush(stream);
    HANDLE const handle = OpenToRead(file.Name());
    DWORD high = 0;
    EXPECT_EQ(GetFileSize(handle, &high), 0x7FFFFFFEU);
    EXPECT_EQ(high, 1U);
    EXPECT_TRUE(CloseHandle(handle));
}

}  // namespace
