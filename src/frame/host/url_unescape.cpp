// Unescaped URLs.
#include "platform/url_unescape.h"

#include "ztk/host.h"
#include "ztk/memory.h"

namespace ZTK {

const wchar_t* ZTKUrlUnescape(const wchar_t* url) noexcept {
    if (url == nullptr || *url == 0) {
        return nullptr;
    }
    String copy(url);  // the platform's call may write to its input
    DWORD capacity = static_cast<DWORD>(copy.GetLength()) + 1;
    wchar_t* text = nullptr;
    if (ZTKGetTmpString(text, capacity) == 0) {
        return nullptr;
    }
    // Of all failures only a want of room is acted on. After any other the slot is as the platform
    // left it, empty at first.
    if (UrlUnescapeW(copy, text, &capacity, 0) == E_POINTER && capacity != 0) {
        ++capacity;
        if (ZTKGetTmpString(text, capacity) != 0) {
            (void)UrlUnescapeW(copy, text, &capacity, 0);
        }
    }
    return text;
}

}  // namespace ZTK
