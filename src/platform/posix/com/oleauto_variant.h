// Byte arrays in variants.
#pragma once

#include <cstddef>

#include "ztk/platform/posix/oleauto.h"

namespace ZTKPosix {

// An array of count bytes for the caller to fill in. Null when memory is short. It goes with
// VariantClear on a variant of type VT_ARRAY | VT_UI1 that holds it.
[[nodiscard]] SAFEARRAY* MakeByteArray(std::size_t count) noexcept;

}  // namespace ZTKPosix
