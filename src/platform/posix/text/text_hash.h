// A hash of 16-bit text that a sender of documents cannot foresee.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ZTKPosix {

// The same for the same text as long as the process lives, different in another process. Never
// fails: where the system has no randomness yet, a weaker source serves.
[[nodiscard]] std::uint64_t HashText(const wchar_t* text, std::size_t length) noexcept;

}  // namespace ZTKPosix
