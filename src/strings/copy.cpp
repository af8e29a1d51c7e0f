// Unbounded and bounded copy.
#include <algorithm>

#include "strings/runtime_overloads.h"
#include "ztk/strings.h"

namespace ZTK {
namespace {

template <class Char>
void Copy(Char* dst, const Char* src) noexcept {
    if (!strings::IsBad(dst) && !strings::IsBad(src)) {
        std::memcpy(dst, src, (strings::Length(src) + 1) * sizeof(Char));
    }
}

// Whether there is a source and a destination. A destination without a source is emptied.
template <class Char>
bool CanCopy(Char* dst, const Char* src) noexcept {
    if (dst != nullptr && src == nullptr) {
        dst[0] = 0;
    }
    return dst != nullptr && src != nullptr;
}

// What a bounded copy did.
struct Copied {
    std::uint64_t count;  // elements before the terminator
    bool cut;             // the source went on
};

// Copies at most n elements and a terminator. n = 0 is no limit: the count is compared when it is
// at least 1.
template <class Char>
Copied CopyBounded(Char* dst, const Char* src, std::uint64_t n) noexcept {
    std::uint64_t count = 0;
    while (src[count] != 0) {
        dst[count] = src[count];
        ++count;
        if (count == n) {
            break;
        }
    }
    const bool cut = src[count] != 0;
    dst[count] = 0;
    return {count, cut};
}

}  // namespace

void StrCopy(char* dst, const char* src) noexcept {
    Copy(dst, src);
}
void StrCopy(wchar_t* dst, const wchar_t* src) noexcept {
    Copy(dst, src);
}

bool StrSafeCopy(char* dst, const char* src, std::uint64_t n) noexcept {
    if (!CanCopy(dst, src)) {
        return false;
    }
    const Copied copied = CopyBounded(dst, src, n);
    if (n == 0 && copied.count <= 1) {
        // Callers rely on it: without a limit, a source of at most one element counts as cut.
        dst[0] = 0;
        return false;
    }
    if (copied.cut) {
        // The index is counted from behind the copied text and not from dst. Narrow callers that
        // allow truncation provide 2n elements for it.
        dst[copied.count + n - 1] = 0;
    }
    return !copied.cut;
}

bool StrSafeCopy(wchar_t* dst, const wchar_t* src, std::uint64_t n) noexcept {
    if (!CanCopy(dst, src)) {
        return false;
    }
    (void)CopyBounded(dst, src, n);  // wide callers are not told whether the text was cut
    return true;
}

}  // namespace ZTK
