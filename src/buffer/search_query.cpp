// Search terms.
#include "ztk/search.h"

#include <limits>
#include <new>

#include "buffer/skip_table.h"
#include "platform/memory/allocation.h"
#include "strings/runtime_overloads.h"
#include "text/ascii.h"

namespace ZTK {
namespace {

template <class Char>
std::uint64_t Length(const Char* s) noexcept {
    return s == nullptr ? 0 : strings::Length(s);
}

// An array for the caller to delete, and so the one kind of block that does not come from the
// library's own seam.
template <class Char>
Char* Mapped(const Char* s, Char (*map)(Char) noexcept) noexcept {
    const auto length = static_cast<std::size_t>(Length(s));
    Char* const copy = new (std::nothrow) Char[length + 1];
    if (copy != nullptr) {
        for (std::size_t i = 0; i < length; ++i) {
            copy[i] = map(s[i]);
        }
        copy[length] = 0;
    }
    return copy;
}

template <class Item>
Item* NewItems(std::size_t count) noexcept {
    return static_cast<Item*>(allocation::RuntimeAlloc(count * sizeof(Item)));
}

}  // namespace

template <class T>
CSearchQuery<T>& CSearchQuery<T>::operator=(const CSearchQuery& other) noexcept = default;

template <class T>
CSearchQuery<T>::~CSearchQuery() {
    Clear();
}

template <class T>
void CSearchQuery<T>::Clear() noexcept {
    allocation::RuntimeFree(term_);
    allocation::RuntimeFree(skip_);
    term_ = nullptr;
    length_ = 0;
    skip_ = nullptr;
    skip_size_ = 0;
}

template <class T>
void CSearchQuery<T>::SetTerm(const T* term, unsigned int, bool fold) noexcept {
    Clear();
    const auto length = static_cast<std::size_t>(Length(term));
    const std::uint16_t size = buffer::SkipTableSize(term, length, fold);
    term_ = NewItems<T>(length + 1);
    skip_ = size == 0 ? nullptr : NewItems<std::uint16_t>(size);
    if (term_ == nullptr || (skip_ == nullptr && size != 0)) {
        Clear();
        return;
    }
    std::copy_n(term, length, term_);
    term_[length] = 0;
    length_ = length;
    skip_size_ = size;
    folded_ = fold;
    buffer::FillSkipTable(skip_, size, term_, length, fold);
}

template <class T>
unsigned short CSearchQuery<T>::ToBase(T c) noexcept {
    return buffer::SkipKey(c);
}

template <class T>
char* CSearchQuery<T>::MakeLower(const char* s) noexcept {
    return Mapped<char>(s, ascii::ToLower);
}
template <class T>
wchar_t* CSearchQuery<T>::MakeLower(const wchar_t* s) noexcept {
    return Mapped<wchar_t>(s, ascii::ToLower);
}
template <class T>
char* CSearchQuery<T>::MakeUpper(const char* s) noexcept {
    return Mapped<char>(s, ascii::ToUpper<char>);
}
template <class T>
wchar_t* CSearchQuery<T>::MakeUpper(const wchar_t* s) noexcept {
    return Mapped<wchar_t>(s, ascii::ToUpper<wchar_t>);
}
template <class T>
std::uint64_t CSearchQuery<T>::StringLength(const char* s) noexcept {
    return Length(s);
}
template <class T>
std::uint64_t CSearchQuery<T>::StringLength(const wchar_t* s) noexcept {
    return Length(s);
}

template class CSearchQuery<char>;
template class CSearchQuery<wchar_t>;

}  // namespace ZTK
