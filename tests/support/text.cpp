// Comparison and display of narrow and 16-bit wide texts. The C library's own functions take wide
// characters of another width here.
#include "support/text.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <type_traits>

namespace ztk_test {

namespace {

constexpr std::size_t kShown = 160;  // characters of a long text that a failure shows

template <typename Char>
std::size_t Length(const Char* text) {
    std::size_t n = 0;
    while (text != nullptr && text[n] != 0) {
        ++n;
    }
    return n;
}

template <typename Char>
std::string ShowRange(const Char* text, std::size_t begin, std::size_t length) {
    if (text == nullptr) {
        return "(null)";
    }
    std::string shown = sizeof(Char) == 1 ? "\"" : "L\"";
    const std::size_t end = std::min(length, begin + kShown);
    for (std::size_t i = begin; i < end; ++i) {
        const unsigned code = static_cast<std::make_unsigned_t<Char>>(text[i]);
        char escaped[8] = {'\\', code == '\n' ? 'n' : static_cast<char>(code)};
        if (code != '\n' && code != '"' && code != '\\') {
            const bool plain = code >= 0x20 && code < 0x7F;
            const char* const format = plain ? "%c" : sizeof(Char) == 1 ? "\\x%02X" : "\\u%04X";
            std::snprintf(escaped, sizeof escaped, format, code);
        }
        shown += escaped;
    }
    const bool whole = begin == 0 && end == length;
    return shown + (whole ? "\"" : "\"... of " + std::to_string(length) + " characters");
}

template <typename Char>
testing::AssertionResult Compare(const char* expected_source, const char* actual_source,
                                 const Char* expected, const Char* actual) {
    const std::size_t lengths[] = {Length(expected), Length(actual)};
    const std::size_t shorter = std::min(lengths[0], lengths[1]);
    const std::size_t same =
        shorter == 0 ? 0 : std::mismatch(expected, expected + shorter, actual).first - expected;
    if ((expected == nullptr) == (actual == nullptr) && same == lengths[0] && same == lengths[1]) {
        return testing::AssertionSuccess();
    }
    const std::size_t begin = same > kShown / 2 ? same - kShown / 2 : 0;
    return testing::AssertionFailure()
           << expected_source << "\n    is " << ShowRange(expected, begin, lengths[0]) << "\n  "
           << actual_source << "\n    is " << ShowRange(actual, begin, lengths[1])
           << "\n  first difference at character " << same;
}

}  // namespace

std::string Show(const char* text) {
    return ShowRange(text, 0, Length(text));
}

std::string Show(const wchar_t* text) {
    return ShowRange(text, 0, Length(text));
}

std::string Show(const char* text, std::size_t length) {
    return ShowRange(text, 0, length);
}

std::string Show(const wchar_t* text, std::size_t length) {
    return ShowRange(text, 0, length);
}

std::string TakeTraceLog(const char* name) {
    std::ifstream file(name, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    std::erase_if(text, [](char c) { return c == 0 || c == '\r' || (c & 0x80) != 0; });
    file.close();
    std::remove(name);
    return text;
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
