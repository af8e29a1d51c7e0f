// The values of nodes: their text, or what that text says in the type that an element declares.
#pragma once

#include "platform/posix/dom/tree.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix::dom {

// The value of a node or an attribute as the DOM hands it out, see IXMLDOMNode::get_nodeTypedValue.
// S_OK with a value for the caller to clear; S_FALSE with VT_NULL for documents and document types;
// DISP_E_TYPEMISMATCH, E_OUTOFMEMORY. REQUIRES: value is empty; it stays so on failure.
[[nodiscard]] HRESULT NodeValue(const Node& node, VARIANT& value) noexcept;
[[nodiscard]] HRESULT AttributeValue(const Attribute& attribute, VARIANT& value) noexcept;

}  // namespace ZTKPosix::dom
