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
    kRefused,  // not well-formed, or not accepted
    kNoMemory,
};

// Fills an empty tree from length characters. What the tree holds after a failure is of no use.
[[nodiscard]] LoadResult LoadTree(Tree& tree, const wchar_t* text, std::size_t length,
                                  const LoadOptions& options) noexcept;

}  // namespace ZTKPosix::dom
