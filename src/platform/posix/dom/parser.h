// Loads text into a tree.
#pragma once

#include <cstddef>

#include "platform/posix/dom/tree.h"

namespace ZTKPosix::dom {

struct LoadOptions {
    bool prohibit_dtd;
    bool resolve_externals;
};

// Why a text was refused, and where.
struct Refusal {
    const char* reason;  // static; null for none
    std::size_t line;    // both from 1
    std::size_t column;  // a pair of surrogates is one
};

enum class LoadResult {
    kLoaded,
    kRefused,  // not well-formed, or not accepted; see IXMLDOMDocument::loadXML
    kNoMemory,
};

// Fills a tree from length characters. After a failure the tree is only fit to be released.
// refusal is filled if the result is kRefused. REQUIRES: the tree is empty.
[[nodiscard]] LoadResult LoadTree(Tree& tree, const wchar_t* text, std::size_t length,
                                  const LoadOptions& options, Refusal& refusal) noexcept;

}  // namespace ZTKPosix::dom
