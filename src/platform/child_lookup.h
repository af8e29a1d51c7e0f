// A look for a child by its name that is left to the DOM, where the DOM offers that.
#pragma once

#include "ztk/platform/com.h"

#if !defined(_WIN32)
#include "platform/posix/dom/child_lookup.h"
#endif

namespace ZTK {

#if defined(_WIN32)
// The system's DOM has no such call for nodes of every kind.
inline HRESULT FindChildByName(MSXML2::IXMLDOMNode*, const wchar_t*,
                               MSXML2::IXMLDOMNode**) noexcept {
    return E_NOINTERFACE;
}
#else
using ZTKPosix::FindChildByName;
#endif

}  // namespace ZTK
