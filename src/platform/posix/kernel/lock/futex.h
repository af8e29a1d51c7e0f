// The two futex operations, and time-outs on the monotonic clock.
#pragma once

#include <ctime>

#include <atomic>
#include <cstdint>

#include "ztk/platform.h"

namespace ZTKPosix {

using FutexWord = std::atomic<std::uint32_t>;
static_assert(sizeof(FutexWord) == 4 && FutexWord::is_always_lock_free,
              "the kernel reads the word as a plain 32-bit integer");

// The moment milliseconds from now, for FutexWait. REQUIRES: milliseconds is not INFINITE.
timespec DeadlineAfter(DWORD milliseconds) noexcept;

// Sleeps while word holds expected, until a wake-up or deadline (null: none). Returns false only
// when the deadline has passed. May also return early for no reason: callers look at their
// condition again.
bool FutexWait(FutexWord& word, std::uint32_t expected, const timespec* deadline) noexcept;

// Wakes up to one sleeper on word. The word is only an address here: it may be gone already, when
// the waiter saw its new value and left. The worst that comes of it is an early wake-up elsewhere,
// which every user of a futex has to bear anyway.
void FutexWakeOne(FutexWord* word) noexcept;

}  // namespace ZTKPosix
