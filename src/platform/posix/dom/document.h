// The DOM's documents.
#pragma once

#include "ztk/platform/posix/objbase.h"

namespace ZTKPosix::dom {

enum class DocumentVersion { k4, k6 };

// Makes an empty document of that version with one reference, which is the caller's. Null when
// memory is short.
[[nodiscard]] IUnknown* MakeDocument(DocumentVersion version) noexcept;

}  // namespace ZTKPosix::dom
