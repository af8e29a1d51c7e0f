// The DOM's interfaces over a tree.
#pragma once

#include "platform/posix/dom/tree.h"
#include "ztk/platform/posix/msxml.h"

namespace ZTKPosix::dom {

// Make a new object for a node, whose only reference is the caller's and which keeps the tree:
// S_OK; S_FALSE with null for a null node; E_OUTOFMEMORY with null; E_INVALIDARG for a null target.
// REQUIRES: the node belongs to the tree.
[[nodiscard]] HRESULT HandOutNode(Tree& tree, const Node* node,
                                  MSXML2::IXMLDOMNode** target) noexcept;
[[nodiscard]] HRESULT HandOutElement(Tree& tree, const Node* element,
                                     MSXML2::IXMLDOMElement** target) noexcept;

}  // namespace ZTKPosix::dom
