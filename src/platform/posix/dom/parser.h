// Loads text into a tree.
#pragma once

#include <cstddef>

#include "platform/posix/dom/tree.h"

namespace ZTKPosix::dom {

struct LoadOptions {
    bool prohibit_dtd;
    bool resolve_externals;
};

enum class LoadResult {
    kLoaded,
    kRefused,  // not well-formed, or not accepted; see IXMLDOMDocument::loadXML
    kNoMemory,
};

// Fills a tree from length characters. After a failure the tree is only fit to be released.
// REQUIRES: the tree is empty.
[[nodiscard]] LoadResult LoadTree(Tree& tree, const wchar_t* text, std::size_t length,
                                  const LoadOptions& options) noexcept;

}  // namespace ZTKPosix::dom
