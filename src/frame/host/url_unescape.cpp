// Unescaped URLs.
#include "platform/url_unescape.h"

#include "frame/base/tmp_ring.h"
#include "ztk/host.h"
#include "ztk/strings.h"

namespace ZTK {

const wchar_t* ZTKUrlUnescape(const wchar_t* url) noexcept {
    if (url == nullptr || *url == 0 || StrLength(url) >= frame::kMaxRingText) {
        return nullptr;  // what no slot takes is not copied first
    }
    String copy(url);  // the platform's call may write to its input
    DWORD capacity = static_cast<DWORD>(copy.GetLength()) + 1;
    wchar_t* text = frame::RequestTmpString<wchar_t>(capacity);
    if (text == nullptr) {
        return nullptr;
    }
    // Only a slot that is too small is replaced by a larger one, where the ring has one. After any
    // other failure the slot is as the platform left it: empty if nothing was written.
    if (UrlUnescapeW(copy, text, &capacity, 0) == E_POINTER && capacity != 0) {
        ++capacity;
        if (wchar_t* const larger = frame::RequestTmpString<wchar_t>(capacity)) {
            text = larger;
            // The slot is the result, whatever the call says.
            (void)UrlUnescapeW(copy, text, &capacity, 0);
        }
    }
    return text;
}

}  // namespace ZTK
