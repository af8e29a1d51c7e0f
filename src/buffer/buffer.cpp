// The text buffer: construction and destruction, appending, comparison, character tests. The other
// members' bodies are in headers by topic; both instantiations are made here, whole and only once.
#include "ztk/buffer.h"

#include <cstdint>
#include <cstring>

#include "buffer/buffer_hits-inl.h"
#include "buffer/buffer_lines-inl.h"
#include "buffer/buffer_search-inl.h"
#include "buffer/buffer_storage-inl.h"
#include "buffer/char_tests.h"
#include "buffer/ptr_array-inl.h"
#include "platform/memory/allocation.h"
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"

namespace ZTK {

// --- Construction and destruction

template <class T>
CBuffer<T>::CBuffer() noexcept : lines_(100) {}

template <class T>
CBuffer<T>::CBuffer(T* s) noexcept : CBuffer() {
    Add(s);
}

template <class T>
CBuffer<T>& CBuffer<T>::operator=(const CBuffer& other) noexcept = default;

template <class T>
CBuffer<T>::~CBuffer() {
    Free();
    lines_.Empty();
}

template <class T>
CBuffer<T>& CBuffer<T>::operator=(const T* s) noexcept {
    Reset();
    Add(s);
    return *this;
}

template <class T>
void CBuffer<T>::Reset() noexcept {
    length_ = 0;
    lines_.Rewind();
    if (hits_ != nullptr) {
        hits_->Rewind();
    }
}

template <class T>
void CBuffer<T>::Free() noexcept {
    // The capacity stays as it was: it counts for nothing while there is no text.
    allocation::RuntimeFree(text_);
    text_ = nullptr;
    length_ = 0;
    lines_.Rewind();
    DropHits();
}

template <class T>
void CBuffer<T>::DropHits() noexcept {
    if (hits_ != nullptr) {
        hits_->Empty();
        allocation::RuntimeFree(hits_);
        hits_ = nullptr;
    }
}

// --- Appending and comparing

// Appends n characters, if there is or can be made room for them; otherwise the buffer is empty
// afterwards, which is how callers of Add learn of it.
template <class T>
bool CBuffer<T>::Append(const T* s, std::int64_t n) noexcept {
    if (s == nullptr || n <= 0) {
        return true;
    }
    // A piece of the buffer's own text moves along when the text moves.
    const auto address = reinterpret_cast<std::uintptr_t>(s);
    const auto own = reinterpret_cast<std::uintptr_t>(text_);
    const bool is_own = text_ != nullptr && address >= own &&
                        address - own < static_cast<std::uintptr_t>(capacity_) + sizeof(T);
    // Far from a wrap in 64 bits, because the n characters are in memory.
    const std::int64_t room = length_ + n;
    if (!EnsureRoom(room * static_cast<std::int64_t>(sizeof(T)))) {
        return false;
    }
    const T* const from = is_own ? text_ + (address - own) / sizeof(T) : s;
    std::memmove(text_ + length_, from, static_cast<std::size_t>(n) * sizeof(T));
    length_ = static_cast<int>(room);
    return true;
}

template <class T>
void CBuffer<T>::Add(T c) noexcept {
    (void)Append(&c, 1);  // an empty buffer tells of a failure, here and below
}

template <class T>
void CBuffer<T>::Add(const T* s) noexcept {
    if (s != nullptr) {
        (void)Append(s, static_cast<std::int64_t>(strings::Length(s)));
    }
}

template <class T>
void CBuffer<T>::Add(const T* s, int n) noexcept {
    (void)Append(s, n);  // as above
}

template <class T>
CBuffer<T>& CBuffer<T>::operator+=(T c) noexcept {
    Add(c);
    return *this;
}

template <class T>
CBuffer<T>& CBuffer<T>::operator+=(const T* s) noexcept {
    Add(s);
    return *this;
}

template <class T>
int CBuffer<T>::operator==(const T* s) const noexcept {
    return StrCompare(text_, s, true) == 0 ? 1 : 0;
}

template <class T>
int CBuffer<T>::Compare(const CBuffer& other) const noexcept {
    return StrCompare(text_, other.text_, true);
}

// --- Character tests

template <class T>
int CBuffer<T>::CharEqual(const char* a, const char* b, bool ignore_case) noexcept {
    return buffer::CharEqual(a, b, ignore_case);
}
template <class T>
int CBuffer<T>::CharEqual(const wchar_t* a, const wchar_t* b, bool ignore_case) noexcept {
    return buffer::CharEqual(a, b, ignore_case);
}
template <class T>
bool CBuffer<T>::IsPrintable(const char* ch) noexcept {
    return ch != nullptr && buffer::IsPrintable(*ch);
}
template <class T>
bool CBuffer<T>::IsPrintable(const wchar_t* ch) noexcept {
    return ch != nullptr && buffer::IsPrintable(*ch);
}
template <class T>
int CBuffer<T>::IsWordDelimeter(char ch) noexcept {
    return buffer::IsWordPart(ch) ? 0 : 1;
}
template <class T>
int CBuffer<T>::IsWordDelimeter(wchar_t ch) noexcept {
    return buffer::IsWordPart(ch) ? 0 : 1;
}

template class CBuffer<char>;
template class CBuffer<wchar_t>;

}  // namespace ZTK
