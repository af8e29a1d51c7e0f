// Base64 over many characters at a time. Looks at the instruction set, when it was built and when
// it runs; serves both targets.
#pragma once

#include <cstddef>

namespace ZTK::base64 {

// How many characters are worked on at once.
enum class Lanes { kNone, k16, k32 };

// The most that this processor can do.
Lanes BestLanes() noexcept;

// Encodes whole groups of three bytes from the front of in and returns how many bytes that were; up
// to 27 stay for the caller. Reads no byte behind in + n, writes four characters for each group.
std::size_t EncodeLanes(Lanes lanes, const unsigned char* in, std::size_t n,
                        unsigned char* out) noexcept;

// Decodes whole groups of four characters from the front of in and returns how many characters that
// were. Stops at a block of 16 with a character outside the alphabet, and when fewer than 16 are
// left. Reads no character behind in + n, writes three bytes for each group. out may be in.
std::size_t DecodeLanes(Lanes lanes, const unsigned char* in, std::size_t n,
                        unsigned char* out) noexcept;

}  // namespace ZTK::base64
