// Search in wide strings: the C-string functions find places, which are returned as positions.
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"
#include "ztk/wide_string.h"

namespace ZTK {
namespace {

std::uint64_t PositionOf(const wchar_t* found, const wchar_t* start) noexcept {
    return found == nullptr ? String::npos : static_cast<std::uint64_t>(found - start);
}

}  // namespace

std::uint64_t String::Find(const wchar_t* s, std::uint64_t pos) const noexcept {
    return pos > GetLength() || buffer_ == nullptr
               ? npos
               : PositionOf(StrSearch(buffer_ + pos, s, 0), buffer_);
}

std::uint64_t String::Find(wchar_t c, std::uint64_t pos) const noexcept {
    return pos > GetLength() || buffer_ == nullptr ? npos
                                                   : PositionOf(StrFind(buffer_ + pos, c), buffer_);
}

// Both reverse searches count pos from the end: callers pass how much of the tail to leave out. The
// scan starts one character later than that count suggests, on the terminator for pos = 0, so that
// 0 and 1 find the same.
std::uint64_t String::RFind(const wchar_t* s, std::uint64_t pos) const noexcept {
    const std::uint64_t length = GetLength();
    return pos >= length ? npos
                         : PositionOf(StrRevFind(buffer_, buffer_ + (length - pos), s), buffer_);
}

std::uint64_t String::RFind(wchar_t c, std::uint64_t pos) const noexcept {
    const std::uint64_t length = GetLength();
    return pos >= length ? npos
                         : PositionOf(StrRevFind(buffer_, buffer_ + (length - pos), c), buffer_);
}

// The search is limited to as many characters as s has, so that s can only match at the start.
// Without a buffer the search gives null, which is what the buffer is then: callers get true.
bool String::Beginswith(const wchar_t* s) const noexcept {
    return StrSearch(buffer_, s, StrLength(s)) == buffer_;
}

bool String::Contains(const wchar_t* s) const noexcept {
    return StrSearch(buffer_, s, 0) != nullptr;
}

// Callers rely on what is looked at: all but the first character, and the terminator.
int String::CountOf(wchar_t c) const noexcept {
    if (IsEmpty()) {
        return 0;
    }
    int count = 0;
    const wchar_t* p = buffer_ + 1;
    const wchar_t* const end = buffer_ + GetLength() + 1;
    while ((p = strings::FindElement(p, c, static_cast<std::size_t>(end - p))) != nullptr) {
        ++count;
        ++p;
    }
    return count;
}

}  // namespace ZTK
