// The length of 16-bit text. Looks at the instruction set.
#pragma once

#include <cstddef>

namespace ZTKPosix {

// REQUIRES: text is terminated.
std::size_t WideLength(const wchar_t* text) noexcept;

}  // namespace ZTKPosix
