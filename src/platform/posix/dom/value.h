// What nodes are worth: their text, and their typed values.
#pragma once

#include "platform/posix/dom/tree.h"
#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix::dom {

// The value of a node or an attribute as the DOM hands it out, see IXMLDOMNode::get_nodeTypedValue.
// REQUIRES: value is empty; it stays so on failure.
[[nodiscard]] HRESULT NodeValue(const Node& node, VARIANT& value) noexcept;
[[nodiscard]] HRESULT AttributeValue(const Attribute& attribute, VARIANT& value) noexcept;

}  // namespace ZTKPosix::dom
