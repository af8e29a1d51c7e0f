// Text functions of the platform's C runtime over 16-bit wide characters, in the "C" locale.
#include "platform/posix/text/runtime_text.h"

#include <limits>

#include "platform/posix/text/vector_text.h"
#include "platform/posix/text/wide_length.h"
#include "text/ascii.h"

namespace ZTKPosix {
namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

struct AsItIs {
    int operator()(wchar_t c) const noexcept { return static_cast<char16_t>(c); }
};

struct Folded {
    int operator()(char c) const noexcept {
        return static_cast<unsigned char>(ZTK::ascii::ToLower(c));
    }
    int operator()(wchar_t c) const noexcept {
        return static_cast<char16_t>(ZTK::ascii::ToLower(c));
    }
};

// The difference of the first two elements that differ among the first n, 0 if none do.
template <class Char, class View>
int Compare(const Char* a, const Char* b, std::size_t n, View view) noexcept {
    for (std::size_t i = 0; i < n; ++i) {
        const int left = view(a[i]);
        const int right = view(b[i]);
        if (left != right) {
            return left - right;
        }
        if (left == 0) {
            break;
        }
    }
    return 0;
}

bool IsBadPointer(const void* s, UINT_PTR limit) noexcept {
    constexpr std::uintptr_t kUnmapped = 4096;
    return limit != 0 && reinterpret_cast<std::uintptr_t>(s) < kUnmapped;
}

}  // namespace

std::size_t wcslen(const wchar_t* s) noexcept {
    return WideLength(s);
}

std::size_t wcsnlen(const wchar_t* s, std::size_t n) noexcept {
    return FindUnit(s, n, OneUnit(0));
}

const wchar_t* wmemchr(const wchar_t* s, wchar_t c, std::size_t n) noexcept {
    const std::size_t index = FindUnit(s, n, OneUnit(c));
    return index < n ? s + index : nullptr;
}

const wchar_t* wcschr(const wchar_t* s, wchar_t c) noexcept {
    const wchar_t* const found = s + FindUnit(s, kNoLimit, EitherUnit(c, 0));
    return *found == c ? found : nullptr;
}

int wmemcmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept {
    for (std::size_t i = 0; i < n; ++i) {
        if (a[i] != b[i]) {
            return AsItIs()(a[i]) - AsItIs()(b[i]);
        }
    }
    return 0;
}

int wcscmp(const wchar_t* a, const wchar_t* b) noexcept {
    return Compare(a, b, kNoLimit, AsItIs());
}

int wcsncmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept {
    return Compare(a, b, n, AsItIs());
}

int _stricmp(const char* a, const char* b) noexcept {
    return Compare(a, b, kNoLimit, Folded());
}

int _strnicmp(const char* a, const char* b, std::size_t n) noexcept {
    return Compare(a, b, n, Folded());
}

int _wcsicmp(const wchar_t* a, const wchar_t* b) noexcept {
    return Compare(a, b, kNoLimit, Folded());
}

int _wcsnicmp(const wchar_t* a, const wchar_t* b, std::size_t n) noexcept {
    return Compare(a, b, n, Folded());
}

BOOL IsBadStringPtrA(LPCSTR s, UINT_PTR limit) noexcept {
    return IsBadPointer(s, limit) ? TRUE : FALSE;
}

BOOL IsBadStringPtrW(LPCWSTR s, UINT_PTR limit) noexcept {
    return IsBadPointer(s, limit) ? TRUE : FALSE;
}

}  // namespace ZTKPosix
