// The wide string's storage: construction, growth, assignment, appending.
#include "ztk/wide_string.h"

#include <cstring>
#include <functional>
#include <limits>

#include "platform/memory/allocation.h"
#include "strings/runtime_overloads.h"

namespace ZTK {
namespace {

constexpr std::uint64_t kInitialCapacity = 260;  // a path of the platform fits

// The buffer's bytes, or 0 for more than there can be.
std::size_t BytesFor(std::uint64_t capacity) noexcept {
    constexpr std::uint64_t kMost = std::numeric_limits<std::size_t>::max() / sizeof(wchar_t) - 1;
    return capacity > kMost ? 0 : (static_cast<std::size_t>(capacity) + 1) * sizeof(wchar_t);
}

std::uint64_t LengthOrNone(const wchar_t* s) noexcept {
    return s == nullptr ? 0 : strings::Length(s);
}

}  // namespace

const std::uint64_t String::npos;

// Does not release a buffer that the string may hold already.
void String::Construct() noexcept {
    capacity_ = kInitialCapacity;
    buffer_ = static_cast<wchar_t*>(allocation::RuntimeAlloc(BytesFor(kInitialCapacity)));
    if (buffer_ != nullptr) {
        *buffer_ = 0;
    }
}

String::String() noexcept {
    Construct();
}

String::String(const wchar_t* s) noexcept : String() {
    Store(s, LengthOrNone(s));
}

String::String(wchar_t c) noexcept : String() {
    Store(&c, c != 0 ? 1 : 0);
}

String::String(const String& other) noexcept : String(other.buffer_) {}

String::~String() {
    allocation::RuntimeFree(buffer_);
}

String& String::operator=(const String& other) noexcept {
    if (this != &other) {
        Assign(other.buffer_);
    }
    return *this;
}

String& String::operator=(const wchar_t* s) noexcept {
    if (s != buffer_) {
        Assign(s);
    }
    return *this;
}

String& String::operator=(wchar_t c) noexcept {
    Store(&c, c != 0 ? 1 : 0);
    return *this;
}

void String::Assign(const wchar_t* s) noexcept {
    Store(s, LengthOrNone(s));
}

void String::Append(const wchar_t* s) noexcept {
    if (s != nullptr && buffer_ != nullptr) {
        Concatenate(s, strings::Length(s));
    }
}

String& String::operator+=(const wchar_t* s) noexcept {
    Append(s);
    return *this;
}

String& String::operator+=(wchar_t c) noexcept {
    if (buffer_ != nullptr) {
        Concatenate(&c, c != 0 ? 1 : 0);
    }
    return *this;
}

String& String::operator+(String& other) noexcept {
    Append(other.buffer_);
    return *this;
}

void String::SetSize(std::uint64_t n) noexcept {
    if (n <= capacity_) {
        return;
    }
    const bool first = buffer_ == nullptr;
    if (Resize(n)) {
        *buffer_ = 0;  // a string that grows here becomes empty: callers fill it next
    } else if (first) {
        capacity_ = n;  // kept when the first block fails, unlike when a growth fails
    }
}

void String::Clear() noexcept {
    if (buffer_ != nullptr) {
        *buffer_ = 0;
    }
}

// Makes the buffer hold capacity characters and keeps its text. When memory is short there is
// neither a buffer nor a capacity afterwards.
bool String::Resize(std::uint64_t capacity) noexcept {
    const std::size_t bytes = BytesFor(capacity);
    void* block = nullptr;
    if (bytes != 0) {
        block = buffer_ == nullptr ? allocation::RuntimeAlloc(bytes)
                                   : allocation::RuntimeRealloc(buffer_, bytes);
    }
    if (block == nullptr) {
        allocation::RuntimeFree(buffer_);
    }
    buffer_ = static_cast<wchar_t*>(block);
    capacity_ = block != nullptr ? capacity : 0;
    return block != nullptr;
}

// Makes room for required characters; a text that points into the buffer moves along. False if
// there is no buffer to store into.
bool String::Reserve(std::uint64_t required, const wchar_t*& text) noexcept {
    if (required <= capacity_) {
        return buffer_ != nullptr;
    }
    const std::less_equal<const wchar_t*> is_up_to;
    if (buffer_ == nullptr || !is_up_to(buffer_, text) || !is_up_to(text, buffer_ + capacity_)) {
        return Resize(required);
    }
    const auto offset = text - buffer_;
    const bool resized = Resize(required);
    text = resized ? buffer_ + offset : nullptr;
    return resized;
}

// The room is for both texts, although the new one replaces the old: a string that is assigned to
// again and again soon stops growing.
void String::Store(const wchar_t* text, std::uint64_t count) noexcept {
    if (Reserve(count + GetLength(), text)) {
        if (count != 0) {
            std::memmove(buffer_, text, static_cast<std::size_t>(count) * sizeof(wchar_t));
        }
        buffer_[count] = 0;
    }
}

void String::Concatenate(const wchar_t* text, std::uint64_t count) noexcept {
    const std::uint64_t length = GetLength();
    if (Reserve(count + length, text)) {
        std::memcpy(buffer_ + length, text, static_cast<std::size_t>(count) * sizeof(wchar_t));
        buffer_[length + count] = 0;
    }
}

}  // namespace ZTK
