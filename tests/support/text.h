// Comparisons of null-terminated narrow and 16-bit wide texts that print both sides readably. The
// test framework's own wide comparisons assume the C library's width of wide characters, so tests
// use these.
//
//     EXPECT_TEXT(L"abc", ZTK::StrDupW(L"abc"));
//     EXPECT_TEXT(nullptr, ZTK::StrDupW(static_cast<const char*>(nullptr)));
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace ztk_test {

// text in double quotes, with escapes for everything that is not printable ASCII; "(null)" without
// quotes for null. A long text is cut and its length added.
std::string Show(const char* text);
std::string Show(const wchar_t* text);

// The same for length characters, which may include null characters.
std::string Show(const char* text, std::size_t length);
std::string Show(const wchar_t* text, std::size_t length);

// What a file of the trace log holds, which is ASCII; without carriage returns. Removes the file.
std::string TakeTraceLog(const char* name);

testing::AssertionResult SameText(const char* expected_source, const char* actual_source,
                                  const char* expected, const char* actual);
testing::AssertionResult SameText(const char* expected_source, const char* actual_source,
                                  const wchar_t* expected, const wchar_t* actual);

}  // namespace ztk_test

// Both sides null, or both texts of the same characters. Each side may be const or not, or nullptr.
#define EXPECT_TEXT(expected, actual) EXPECT_PRED_FORMAT2(::ztk_test::SameText, expected, actual)
#define ASSERT_TEXT(expected, actual) ASSERT_PRED_FORMAT2(::ztk_test::SameText, expected, actual)
