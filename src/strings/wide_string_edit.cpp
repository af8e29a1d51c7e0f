// Replacing, folding and trimming wide strings in place.
#include "strings/runtime_overloads.h"
#include "text/ascii.h"
#include "ztk/memory.h"
#include "ztk/strings.h"
#include "ztk/wide_string.h"

namespace ZTK {

// Returns the length, unlike the replacement of characters: callers go on with the new text.
std::uint64_t String::Replace(const wchar_t* find, const wchar_t* repl) noexcept {
    if (StrSearch(buffer_, find, 0) != nullptr) {
        if (const wchar_t* const replaced = StrReplace(buffer_, find, repl)) {
            Assign(replaced);
            StrFree(replaced);
        }
    }
    return GetLength();
}

std::uint64_t String::Replace(wchar_t from, wchar_t to) noexcept {
    return StrReplace(buffer_, from, to);
}

void String::MakeLower() noexcept {
    const std::uint64_t length = GetLength();
    for (std::uint64_t i = 0; i < length; ++i) {
        buffer_[i] = ascii::ToLower(buffer_[i]);
    }
}

std::uint64_t String::Trim(const wchar_t* set) noexcept {
    if (buffer_ == nullptr) {
        return 0;
    }
    const auto set_size = static_cast<std::size_t>(StrLength(set));
    const auto is_in_set = [set, set_size](wchar_t c) {
        return set_size != 0 && strings::FindElement(set, c, set_size) != nullptr;
    };
    const std::uint64_t length = GetLength();
    const wchar_t* begin = buffer_;
    const wchar_t* end = buffer_ + length;
    while (begin < end && is_in_set(*begin)) {
        ++begin;
    }
    while (begin < end && is_in_set(end[-1])) {
        --end;
    }
    Store(begin, static_cast<std::uint64_t>(end - begin));
    return length - GetLength();
}

}  // namespace ZTK
