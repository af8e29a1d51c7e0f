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

// A slot whose requester learns only while it writes how much room it needs.
template <typename Char>
struct TmpSlot {
    Char* text;
    std::uint32_t room;  // characters that it holds now, at least as many as were asked for
    std::int32_t index;
};

// As RequestTmpString does. REQUIRES: 1 <= count <= kMaxRingText.
template <typename Char>
[[nodiscard]] TmpSlot<Char> RequestTmpSlot(std::uint32_t count) noexcept;

// The text of a slot that was just requested, with room for count characters; what it held is
// there, too. REQUIRES: as above.
template <typename Char>
[[nodiscard]] Char* GrowTmpSlot(const TmpSlot<Char>& slot, std::uint32_t count) noexcept;

// Attach and detach work; no other thread uses the rings then. FreeRings leaves the slots dangling:
// nothing may be requested afterwards.
void ClearRings() noexcept;
void FreeRings() noexcept;

// In a child of fork: lets go on what waits for a thread that was about to turn a ring round, and
// did not come along.
void UnblockRingsInChild() noexcept;

}  // namespace ZTK::frame
