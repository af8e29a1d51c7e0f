// A look for a child by its name within the DOM. Through the interfaces of the platform each child
// that is passed takes an object and a copy of its name.
#pragma once

#include "ztk/platform/posix/msxml.h"

namespace ZTKPosix {

// The first child of node, of any kind, whose name is this one but for the case of ASCII letters.
// S_OK; S_FALSE with null when there is none; E_OUTOFMEMORY; E_NOINTERFACE when node is not an
// element's or another node's object of the layer's own DOM, and the caller has to look itself.
// REQUIRES: node and child are not null. No child has a null name.
[[nodiscard]] HRESULT FindChildByName(MSXML2::IXMLDOMNode* node, const wchar_t* name,
                                      MSXML2::IXMLDOMNode** child) noexcept;

namespace dom {

// What tells the layer's own nodes from those of a class that a host brought, for use by
// FindChildByName alone.
struct IChildLookup : IUnknown {
    virtual HRESULT FindChild(const wchar_t* name, MSXML2::IXMLDOMNode** child) noexcept = 0;

  protected:
    ~IChildLookup() = default;
};

inline constexpr IID IID_IChildLookup{
    0x6C0E1D5B, 0x7A39, 0x4F0E, {0x9D, 0x52, 0x1B, 0x8A, 0xE3, 0x47, 0x60, 0xC4}};

}  // namespace dom

template <>
struct InterfaceIdOf<dom::IChildLookup> {
    static constexpr const IID& value = dom::IID_IChildLookup;
};

}  // namespace ZTKPosix
