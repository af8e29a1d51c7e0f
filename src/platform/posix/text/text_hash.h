// A hash of 16-bit text that a sender of documents cannot foresee.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ZTKPosix {

// The same for the life of the process, different in another.
[[nodiscard]] std::uint64_t HashText(const wchar_t* text, std::size_t length) noexcept;

}  // namespace ZTKPosix
