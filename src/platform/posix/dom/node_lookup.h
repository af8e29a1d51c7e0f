// Looks for a child and for an attribute by name within the DOM. Through the interfaces of the
// platform each child that is passed takes an object and a copy of its name, and an attribute takes
// a map and a copy of the wanted name.
#pragma once

#include "ztk/platform/posix/msxml.h"

namespace ZTKPosix {

// The first child of node, of any kind, whose name is this one but for the case of ASCII letters.
// S_OK; S_FALSE with null when there is none; E_OUTOFMEMORY; E_NOINTERFACE when node is not an
// element's or another node's object of the layer's own DOM, and the caller has to look itself.
// REQUIRES: node and child are not null. No child has a null name.
[[nodiscard]] HRESULT FindChildByName(MSXML2::IXMLDOMNode* node, const wchar_t* name,
                                      MSXML2::IXMLDOMNode** child) noexcept;

// The attribute of exactly that name. The results are those of FindChildByName, and E_INVALIDARG
// for a null name where there can be attributes. REQUIRES: node and attribute are not null.
[[nodiscard]] HRESULT FindAttributeByName(MSXML2::IXMLDOMNode* node, const wchar_t* name,
                                          MSXML2::IXMLDOMNode** attribute) noexcept;

namespace dom {

// What tells the layer's own nodes from those of a class that a host brought, for use by the calls
// above alone. A node gives it out without a reference: the caller has one on the node.
struct NodeLookup {
    virtual HRESULT FindChild(const wchar_t* name, MSXML2::IXMLDOMNode** child) noexcept = 0;
    virtual HRESULT FindAttribute(const wchar_t* name,
                                  MSXML2::IXMLDOMNode** attribute) noexcept = 0;

  protected:
    ~NodeLookup() = default;
};

inline constexpr IID kNodeLookupId{
    0x6C0E1D5B, 0x7A39, 0x4F0E, {0x9D, 0x52, 0x1B, 0x8A, 0xE3, 0x47, 0x60, 0xC4}};

}  // namespace dom

}  // namespace ZTKPosix
