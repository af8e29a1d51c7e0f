// Search forwards and backwards.
#include "strings/runtime_overloads.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

template <class Char>
bool IsBadOrEmpty(const Char* s) noexcept {
    return strings::IsBad(s) || *s == 0;
}

template <class Char>
const Char* Search(const Char* s, const Char* find, std::uint64_t limit) noexcept {
    // s is looked at first: in an empty string nothing is found, not even an empty text.
    if (s == nullptr || *s == 0) {
        return nullptr;
    }
    const std::uint64_t length = StrLength(s);
    if (IsBadOrEmpty(find)) {
        return EndOfString(s);
    }
    if (limit == 0 || limit > length) {
        limit = length;
    }
    return strings::FindText(s, s + limit, find, strings::Length(find));
}

template <class Char>
const Char* SearchElement(const Char* s, Char c) noexcept {
    return IsBadOrEmpty(s) ? nullptr : strings::FindElement(s, c, strings::Length(s));
}

// Whether find stands at p; reads no further than the terminator of p.
template <class Char>
bool StandsAt(const Char* p, const Char* find) noexcept {
    while (*find != 0 && *p == *find) {
        ++p;
        ++find;
    }
    return *find == 0;
}

// Steps from `from` down to begin and returns the first place that matches. The pointer never
// passes below begin, which may be the start of an object.
template <class Char, class Matches>
const Char* StepBack(const Char* begin, const Char* from, Matches matches) noexcept {
    if (from < begin) {
        return nullptr;
    }
    for (const Char* p = from;; --p) {
        if (matches(p)) {
            return p;
        }
        if (p == begin) {
            return nullptr;
        }
    }
}

template <class Char>
const Char* ReverseSearch(const Char* begin, const Char* from, const Char* find) noexcept {
    if (begin == nullptr || from == nullptr) {
        return nullptr;
    }
    if (IsBadOrEmpty(find)) {
        return EndOfString(from);
    }
    return StepBack(begin, from, [find](const Char* p) { return StandsAt(p, find); });
}

template <class Char>
const Char* ReverseSearchElement(const Char* begin, const Char* from, Char c) noexcept {
    if (begin == nullptr || from == nullptr) {
        return nullptr;
    }
    return StepBack(begin, from, [c](const Char* p) { return *p == c; });
}

}  // namespace

const char* StrSearch(const char* s, const char* find, std::uint64_t limit) noexcept {
    return Search(s, find, limit);
}
const wchar_t* StrSearch(const wchar_t* s, const wchar_t* find, std::uint64_t limit) noexcept {
    return Search(s, find, limit);
}

const char* StrFind(const char* s, const char* find) noexcept {
    return Search(s, find, 0);
}
const wchar_t* StrFind(const wchar_t* s, const wchar_t* find) noexcept {
    return Search(s, find, 0);
}

const char* StrFind(const char* s, char c) noexcept {
    return SearchElement(s, c);
}
const wchar_t* StrFind(const wchar_t* s, wchar_t c) noexcept {
    return SearchElement(s, c);
}

// The limit is ignored on purpose: callers rely on this form finding what StrFind finds.
const char* StrSearch(const char* s, char c, std::uint64_t) noexcept {
    return SearchElement(s, c);
}
const wchar_t* StrSearch(const wchar_t* s, wchar_t c, std::uint64_t) noexcept {
    return SearchElement(s, c);
}

const char* StrRevFind(const char* begin, const char* from, const char* find) noexcept {
    return ReverseSearch(begin, from, find);
}
const wchar_t* StrRevFind(const wchar_t* begin, const wchar_t* from, const wchar_t* find) noexcept {
    return ReverseSearch(begin, from, find);
}

const char* StrRevFind(const char* begin, const char* from, char c) noexcept {
    return ReverseSearchElement(begin, from, c);
}
const wchar_t* StrRevFind(const wchar_t* begin, const wchar_t* from, wchar_t c) noexcept {
    return ReverseSearchElement(begin, from, c);
}

}  // namespace ZTK
