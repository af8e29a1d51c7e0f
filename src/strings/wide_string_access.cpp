// The wide string's length and characters.
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"
#include "ztk/wide_string.h"

namespace ZTK {

std::uint64_t String::GetLength() const noexcept {
    return StrLength(buffer_);
}

bool String::IsEmpty() const noexcept {
    return buffer_ == nullptr || *buffer_ == 0;
}

const wchar_t* String::GetBuffer() const noexcept {
    return buffer_;
}

String::operator wchar_t*() noexcept {
    return buffer_;
}

// Whether i is below the length. Looks no further than i, so that a walk from the front costs less
// than to measure the text at each step.
bool String::Holds(std::uint64_t i) const noexcept {
    return buffer_ != nullptr && i < capacity_ &&
           strings::FindElement(buffer_, 0, static_cast<std::size_t>(i) + 1) == nullptr;
}

wchar_t String::GetAt(std::uint64_t i) const noexcept {
    return Holds(i) ? buffer_[i] : wchar_t{0};
}

wchar_t String::operator[](std::uint64_t i) const noexcept {
    return GetAt(i);
}

void String::SetAt(std::uint64_t i, wchar_t c) noexcept {
    if (Holds(i)) {
        buffer_[i] = c;
    }
}

}  // namespace ZTK
