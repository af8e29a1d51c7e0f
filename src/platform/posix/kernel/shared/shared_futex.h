// Futex operations on words that processes share.
#pragma once

#include <ctime>

#include <cstddef>

#include "platform/posix/kernel/lock/futex.h"

namespace ZTKPosix::shared {

// A word that a thread sleeps on as long as it holds this value.
struct Watch {
    FutexWord* word;
    std::uint32_t value;
    bool is_private;  // no other process maps the word
};
// The most that one sleep can watch.
inline constexpr std::size_t kMaxWatches = 128;

// Whether the system has the calls below.
bool HasSharedFutexes() noexcept;

// Sleeps until one of the words is woken or holds another value. Returns false only when deadline
// (null: none) has passed; may also return early. REQUIRES: 0 < count <= kMaxWatches.
bool SleepOn(const Watch* watches, std::size_t count, const timespec* deadline) noexcept;

// Sets bits in word and wakes all who sleep on it, in one step: a process that is killed has done
// both or nothing.
void SetAndWakeAll(FutexWord& word, std::uint32_t bits) noexcept;

// Wakes one sleeper on a word that processes share.
void WakeOneShared(FutexWord& word) noexcept;

}  // namespace ZTKPosix::shared
