// Base64 between buffers. See ztk/base64.h for what is special about it.
#pragma once

#include <cstddef>

#include "platform/processor/base64_lanes.h"

namespace ZTK::base64 {

// Writes EncodedSize(n) characters.
void Encode(Lanes lanes, const unsigned char* in, std::size_t n, unsigned char* out) noexcept;

constexpr std::size_t EncodedSize(std::size_t n) noexcept {
    return (n + 2) / 3 * 4;
}

// Returns the number of bytes written, at most MostDecoded(n). out may be in.
std::size_t Decode(Lanes lanes, const unsigned char* in, std::size_t n,
                   unsigned char* out) noexcept;

constexpr std::size_t MostDecoded(std::size_t n) noexcept {
    return (n + 3) / 4 * 3;
}

}  // namespace ZTK::base64
