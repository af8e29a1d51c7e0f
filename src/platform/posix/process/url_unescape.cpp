// The decoding of escapes in URLs.
#include <cstddef>

#include "text/ascii.h"
#include "ztk/platform.h"

namespace ZTKPosix {

namespace {

// Takes one character from p, which is not at its end, or the escape for one.
wchar_t TakeDecoded(const wchar_t*& p) noexcept {
    const wchar_t c = *p++;
    if (c == L'%') {
        const int high = ZTK::ascii::HexDigitValue(p[0]);
        const int low = high < 0 ? -1 : ZTK::ascii::HexDigitValue(p[1]);
        if (low >= 0) {
            p += 2;
            return static_cast<wchar_t>(high * 16 + low);
        }
    }
    return c;
}

}  // namespace

HRESULT UrlUnescapeW(LPWSTR url, LPWSTR unescaped, LPDWORD length, DWORD flags) noexcept {
    if (url == nullptr || unescaped == nullptr || length == nullptr || flags != 0) {
        return E_INVALIDARG;
    }
    const std::size_t room = *length;
    std::size_t used = 0;
    for (const wchar_t* p = url; *p != 0; ++used) {
        const wchar_t c = TakeDecoded(p);
        if (used < room) {
            unescaped[used] = c;
        }
    }
    if (used >= room) {
        *length = static_cast<DWORD>(used + 1);
        return E_POINTER;
    }
    unescaped[used] = 0;
    *length = static_cast<DWORD>(used);
    return S_OK;
}

}  // namespace ZTKPosix
