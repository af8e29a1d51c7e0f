#include "platform/posix/dom/node_lookup.h"

namespace ZTKPosix {

namespace {

// Null for a node that is not the layer's own.
dom::NodeLookup* LookupOf(MSXML2::IXMLDOMNode* node) noexcept {
    void* own = nullptr;
    const HRESULT result = node->QueryInterface(dom::kNodeLookupId, &own);
    return SUCCEEDED(result) ? static_cast<dom::NodeLookup*>(own) : nullptr;
}

}  // namespace

HRESULT FindChildByName(MSXML2::IXMLDOMNode* node, const wchar_t* name,
                        MSXML2::IXMLDOMNode** child) noexcept {
    *child = nullptr;
    dom::NodeLookup* const lookup = LookupOf(node);
    return lookup != nullptr ? lookup->FindChild(name, child) : E_NOINTERFACE;
}

HRESULT FindAttributeByName(MSXML2::IXMLDOMNode* node, const wchar_t* name,
                            MSXML2::IXMLDOMNode** attribute) noexcept {
    *attribute = nullptr;
    dom::NodeLookup* const lookup = LookupOf(node);
    return lookup != nullptr ? lookup->FindAttribute(name, attribute) : E_NOINTERFACE;
}

}  // namespace ZTKPosix
