// Comparison with and without case.
#include <algorithm>
#include <limits>

#include "strings/runtime_overloads.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

int CompareTexts(const char* a, const char* b, bool case_sensitive) noexcept {
    return case_sensitive ? std::strcmp(a, b) : _stricmp(a, b);
}
int CompareTexts(const wchar_t* a, const wchar_t* b, bool case_sensitive) noexcept {
    return case_sensitive ? wcscmp(a, b) : _wcsicmp(a, b);
}

int CompareTexts(const char* a, const char* b, std::size_t n, bool case_sensitive) noexcept {
    return case_sensitive ? std::strncmp(a, b, n) : _strnicmp(a, b, n);
}
int CompareTexts(const wchar_t* a, const wchar_t* b, std::size_t n, bool case_sensitive) noexcept {
    return case_sensitive ? wcsncmp(a, b, n) : _wcsnicmp(a, b, n);
}

// A null sorts before every text and equals null.
int CompareNulls(const void* a, const void* b) noexcept {
    return (a != nullptr ? 1 : 0) - (b != nullptr ? 1 : 0);
}

template <class Char>
int Compare(const Char* a, const Char* b, bool case_sensitive) noexcept {
    return a == nullptr || b == nullptr ? CompareNulls(a, b) : CompareTexts(a, b, case_sensitive);
}

template <class Char>
int CompareN(const Char* a, const Char* b, std::uint64_t n, bool case_sensitive) noexcept {
    if (a == nullptr || b == nullptr) {
        return CompareNulls(a, b);
    }
    // No text is longer than the address space of a 32-bit build; there a larger n is no limit.
    const std::uint64_t most = std::numeric_limits<std::size_t>::max();
    return CompareTexts(a, b, static_cast<std::size_t>(std::min(n, most)), case_sensitive);
}

}  // namespace

int StrCompare(const char* a, const char* b, bool case_sensitive) noexcept {
    return Compare(a, b, case_sensitive);
}
int StrCompare(const wchar_t* a, const wchar_t* b, bool case_sensitive) noexcept {
    return Compare(a, b, case_sensitive);
}

int StrCompareN(const char* a, const char* b, std::uint64_t n, bool case_sensitive) noexcept {
    return CompareN(a, b, n, case_sensitive);
}
int StrCompareN(const wchar_t* a, const wchar_t* b, std::uint64_t n, bool case_sensitive) noexcept {
    return CompareN(a, b, n, case_sensitive);
}

bool StrEqual(const char* a, const char* b, bool case_sensitive) noexcept {
    return Compare(a, b, case_sensitive) == 0;
}
bool StrEqual(const wchar_t* a, const wchar_t* b, bool case_sensitive) noexcept {
    return Compare(a, b, case_sensitive) == 0;
}

}  // namespace ZTK
