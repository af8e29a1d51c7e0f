// Comparison of wide strings. StrCompare's rule for null is that of strings without a buffer.
#include "ztk/strings.h"
#include "ztk/wide_string.h"

namespace ZTK {

bool String::operator==(const String& other) const noexcept {
    return StrCompare(buffer_, other.buffer_, true) == 0;
}

bool String::operator==(const wchar_t* s) const noexcept {
    return StrCompare(buffer_, s, true) == 0;
}

bool String::operator!=(const wchar_t* s) const noexcept {
    return StrCompare(buffer_, s, true) != 0;
}

bool String::operator<(const String& other) const noexcept {
    return StrCompare(buffer_, other.buffer_, true) < 0;
}

bool String::operator<(const wchar_t* s) const noexcept {
    return StrCompare(buffer_, s, true) < 0;
}

bool String::operator>(const wchar_t* s) const noexcept {
    return StrCompare(buffer_, s, true) > 0;
}

int String::Compare(const String& other, bool case_sensitive) const noexcept {
    return this == &other ? 0 : StrCompare(buffer_, other.buffer_, case_sensitive);
}

bool String::Equal(const wchar_t* s, bool case_sensitive) const noexcept {
    return StrEqual(buffer_, s, case_sensitive);
}

}  // namespace ZTK
