// Seats: how the end of a thread is announced to other processes.
//
// Each thread has a list of lock words, known to the kernel, that it is to release when the thread
// ends in any way: the list of robust mutexes, which the C library set up. The kernel compares each
// word's thread id with the ending thread's, marks the word, and wakes one sleeper on it. A seat
// is one such word in the table. Whoever owns shared mutexes or enters the table's lock does so in
// the name of his seat, so one word stands for all that a thread may leave behind.
//
// The kernel finds the word from its list node, which lies at a fixed distance, 32 bytes behind it.
// A node in the table could be overwritten by any process, and this one's C library would then
// follow a wild pointer. So each seat has a page of its own, which its thread maps a second time,
// with private memory behind it: the word is the table's, and the node, in the next page, is not.
#pragma once

#include <cstdint>

#include "platform/posix/kernel/lock/futex.h"

namespace ZTKPosix::shared {

inline constexpr std::uint32_t kNoSeat = ~0U;

// Whether the system and its C library have such a list, on this thread and so on all others.
bool CanTakeSeats() noexcept;

// The calling thread's seat, kNoSeat if it has none.
std::uint32_t CurrentSeat() noexcept;

// Takes a seat for the calling thread, unless it has one. False when memory or seats are short.
// REQUIRES: Attach has returned kShared.
bool TakeSeat() noexcept;

// Gives it back. REQUIRES: the thread owns no shared mutex and is not in the table's lock.
void LeaveSeat() noexcept;

// In a child of fork: the thread has none. The parent's thread keeps its own.
void ForgetSeatInChild() noexcept;

// Gives back the memory of seats that no thread has. For the unloading of the library. What a
// running thread has stays: the kernel and the C library still look at it.
void FreeSeats() noexcept;

// Whether the thread that took the seat is there. Marks the word, if watched is not null, as one
// that somebody sleeps on, so that the kernel wakes him, and gives its value (and nothing if there
// is no memory to look at it).
bool IsSeatTaken(std::uint32_t seat, std::uint32_t* watched) noexcept;

// Makes the seats free whose threads ended without leaving them. REQUIRES: the table's lock, and
// that nothing in the table names such a seat any more.
void ReclaimSeats() noexcept;

}  // namespace ZTKPosix::shared
