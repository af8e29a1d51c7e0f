// The two rings of temporary strings, one for narrow and one for wide text. Picking and growing a
// slot take no lock.
#pragma once

#include <cstdint>

namespace ZTK::frame {

inline constexpr std::uint32_t kMaxRingText = 512000;  // characters, terminator included

// The one way to a ring slot, for the library and, through ZTKGetTmpString, for its callers: a slot
// for count characters, the first of which is 0. Null for a count of 0 or above kMaxRingText, which
// takes no slot. Memory that runs out ends the process.
template <typename Char>
[[nodiscard]] Char* RequestTmpString(std::uint32_t count) noexcept;

// Attach and detach work; no other thread uses the rings then. FreeRings leaves the slots dangling:
// nothing may be requested afterwards.
void ClearRings() noexcept;
void FreeRings() noexcept;

// In a child of fork: lets go on what waits for a thread that was about to turn a ring round, and
// did not come along.
void UnblockRingsInChild() noexcept;

}  // namespace ZTK::frame
