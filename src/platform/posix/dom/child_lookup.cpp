#include "platform/posix/dom/child_lookup.h"

namespace ZTKPosix {

HRESULT FindChildByName(MSXML2::IXMLDOMNode* node, const wchar_t* name,
                        MSXML2::IXMLDOMNode** child) noexcept {
    *child = nullptr;
    void* own = nullptr;
    if (FAILED(node->QueryInterface(dom::IID_IChildLookup, &own)) || own == nullptr) {
        return E_NOINTERFACE;
    }
    auto* const lookup = static_cast<dom::IChildLookup*>(own);
    const HRESULT result = lookup->FindChild(name, child);
    lookup->Release();
    return result;
}

}  // namespace ZTKPosix
