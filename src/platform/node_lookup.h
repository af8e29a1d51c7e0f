// Looks for a child and for an attribute by name that are left to the DOM, where it offers that.
#pragma once

#include "ztk/platform/com.h"

#if !defined(_WIN32)
#include "platform/posix/dom/node_lookup.h"
#endif

namespace ZTK {

#if defined(_WIN32)
// The system's DOM has no such calls for nodes of every kind.
inline HRESULT FindChildByName(MSXML2::IXMLDOMNode*, const wchar_t*,
                               MSXML2::IXMLDOMNode**) noexcept {
    return E_NOINTERFACE;
}
inline HRESULT FindAttributeByName(MSXML2::IXMLDOMNode*, const wchar_t*,
                                   MSXML2::IXMLDOMNode**) noexcept {
    return E_NOINTERFACE;
}
#else
using ZTKPosix::FindAttributeByName;
using ZTKPosix::FindChildByName;
#endif

}  // namespace ZTK
