// Comparison and display of narrow and 16-bit wide texts.
#include "support/text.h"

#include <algorithm>
#include <cstdio>
#include <type_traits>

namespace ztk_test {
namespace {

constexpr std::size_t kShown = 160;  // characters of a long text that a failure shows

// The C library's own functions take wide characters of another width here.
template <typename Char>
std::size_t Length(const Char* text) {
    std::size_t n = 0;
    while (text[n] != 0) {
        ++n;
    }
    return n;
}

template <typename Char>
std::string Escape(Char c) {
    const auto code = static_cast<unsigned>(static_cast<std::make_unsigned_t<Char>>(c));
    switch (code) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        case '\\':
            return "\\\\";
        case '"':
            return "\\\"";
        default:
            break;
    }
    if (code >= 0x20 && code < 0x7F) {
        return std::string(1, static_cast<char>(code));
    }
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, sizeof(Char) == 1 ? "\\x%02X" : "\\u%04X", code);
    return buffer;
}

template <typename Char>
std::string ShowRange(const Char* text, std::size_t begin, std::size_t length) {
    std::string shown = sizeof(Char) == 1 ? "\"" : "L\"";
    const std::size_t end = std::min(length, begin + kShown);
    for (std::size_t i = begin; i < end; ++i) {
        shown += Escape(text[i]);
    }
    shown += '"';
    if (begin > 0 || end < length) {
        shown +=
            "... (" + std::to_string(length) + " characters, from " + std::to_string(begin) + ")";
    }
    return shown;
}

template <typename Char>
std::string ShowFrom(const Char* text, std::size_t begin) {
    return text == nullptr ? "(null)" : ShowRange(text, begin, Length(text));
}

template <typename Char>
testing::AssertionResult Compare(const char* expected_source, const char* actual_source,
                                 const Char* expected, const Char* actual) {
    std::size_t same = 0;
    if (expected == actual) {
        return testing::AssertionSuccess();
    }
    if (expected != nullptr && actual != nullptr) {
        while (expected[same] != 0 && expected[same] == actual[same]) {
            ++same;
        }
        if (expected[same] == actual[same]) {
            return testing::AssertionSuccess();
        }
    }
    const std::size_t begin = same > kShown / 2 ? same - kShown / 2 : 0;
    return testing::AssertionFailure()
           << "  " << expected_source << "\n    is " << ShowFrom(expected, begin) << "\n  "
           << actual_source << "\n    is " << ShowFrom(actual, begin)
           << "\n  first difference at character " << same;
}

}  // namespace

std::string Show(const char* text) {
    return ShowFrom(text, 0);
}

std::string Show(const wchar_t* text) {
    return ShowFrom(text, 0);
}

std::string Show(const char* text, std::size_t length) {
    return ShowRange(text, 0, length);
}

std::string Show(const wchar_t* text, std::size_t length) {
    return ShowRange(text, 0, length);
}

testing::AssertionResult SameText(const char* expected_source, const char* actual_source,
                                  const char* expected, const char* actual) {
    return Compare(expected_source, actual_source, expected, actual);
}

testing::AssertionResult SameText(const char* expected_source, const char* actual_source,
                                  const wchar_t* expected, const wchar_t* actual) {
    return Compare(expected_source, actual_source, expected, actual);
}

}  // namespace ztk_test
