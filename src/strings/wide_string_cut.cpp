// Sub-strings and tokens of wide strings.
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"
#include "ztk/wide_string.h"

namespace ZTK {
namespace {

// The first of the delimiters in [text, end), or end.
const wchar_t* FindDelimiter(const wchar_t* text, const wchar_t* end, const wchar_t* delimiters,
                             std::size_t count) noexcept {
    if (count == 1) {
        const auto size = static_cast<std::size_t>(end - text);
        const wchar_t* const found = strings::FindElement(text, *delimiters, size);
        return found != nullptr ? found : end;
    }
    while (text < end && strings::FindElement(delimiters, *text, count) == nullptr) {
        ++text;
    }
    return text;
}

}  // namespace

String String::SubStr(std::uint64_t pos, std::uint64_t count) const noexcept {
    String result;
    const std::uint64_t length = GetLength();
    // A negative position of 32 bits, however it was widened, is no position.
    if (static_cast<std::int32_t>(pos) < 0 || pos >= length) {
        return result;
    }
    if (count == npos) {
        count = length - pos;
    }
    if (count > length - pos) {
        return result;  // refused, not clipped: callers test for the empty result
    }
    result.SetSize(count + 1);
    result.Store(buffer_ + pos, count);
    return result;
}

String String::Tokenize(const wchar_t* delimiters, int& cursor) const noexcept {
    String result;
    const auto length = static_cast<std::int32_t>(GetLength());
    if (cursor < 0 || cursor >= length) {
        return result;  // with the cursor as it was, also behind a delimiter at the very end
    }
    const wchar_t* const start = buffer_ + cursor;
    const wchar_t* const end = buffer_ + length;
    const auto delimiter_count = static_cast<std::size_t>(StrLength(delimiters));
    const wchar_t* const cut =
        delimiter_count == 0 ? end : FindDelimiter(start, end, delimiters, delimiter_count);
    result.Store(start, static_cast<std::uint64_t>(cut - start));
    cursor = cut == end ? -1 : static_cast<int>(cut - buffer_) + 1;
    return result;
}

String String::Tokenize(wchar_t delimiter, int& cursor) const noexcept {
    const wchar_t delimiters[] = {delimiter, 0};
    return Tokenize(delimiters, cursor);
}

}  // namespace ZTK
