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

// --- The standard's text.

inline constexpr std::size_t kNoneBad = static_cast<std::size_t>(-1);

// Writes EncodedSize(n) characters.
void EncodeStandard(Lanes lanes, const unsigned char* in, std::size_t n,
                    unsigned char* out) noexcept;

struct StandardText {
    std::size_t size;       // bytes that were decoded
    std::size_t first_bad;  // the first wrong character, n where one is missing, or kNoneBad
};

// Whatever the text is, no more bytes are written than Base64StandardDecodedSize tells. out may be
// in.
StandardText DecodeStandard(Lanes lanes, const unsigned char* in, std::size_t n,
                            unsigned char* out) noexcept;

}  // namespace ZTK::base64
