// The table of names that the processes of one user share: what lies where in it.
//
// The table is one file in /dev/shm, mapped by every process from front to end. It has its full
// size from the beginning but takes memory only where it was written. All zeros is the empty table,
// so there is no moment at which a half-made one could be seen. Nothing in it is a pointer, and an
// index that is read from it is checked before it is used: another process may have written
// anything.
//
// What dies with a process at any instruction, and who clears up:
//
//   - Signals, takes and resets of one object are one atomic instruction on its word, or one system
//     call where somebody sleeps, which sets the bits and wakes: nothing is ever half done.
//   - What takes several steps is done under the table's lock: making a name, dropping it, and
//     taking several objects at once. Each step leaves the table usable. The next holder of the
//     lock finds that the last one died in it, and completes or undoes what it began
//     (RepairTable).
//   - The kernel announces the end of a thread by its seat (seat.h): whoever waits for a mutex of
//     that thread wakes, and marks the mutex as abandoned.
//   - A process that is gone leaves its bits in the slots. Who finds a name asks whether those who
//     hold it live; who enters the table, or finds no room in it, clears up after all that do not.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/posix/kernel/lock/futex.h"

namespace ZTKPosix::shared {

// Part of the file's name: versions of the library with different layouts never share a table.
inline constexpr unsigned kLayoutVersion = 1;

inline constexpr std::uint32_t kPageBytes = 4096;
inline constexpr std::uint32_t kMaxProcesses = 512;
inline constexpr std::uint32_t kMaxSlots = 8192;
inline constexpr std::uint32_t kMaxSeats = 4096;
// 260, and "Global\" in front.
inline constexpr std::uint32_t kMaxNameLength = 267;

enum class Kind : std::uint32_t { kAutoEvent = 1, kManualEvent = 2, kMutex = 3 };

// A set of processes, by their places in Table::processes.
struct ProcessSet {
    std::atomic<std::uint64_t> words[kMaxProcesses / 64];
};

// One named object.
struct alignas(64) Slot {
    FutexWord word;  // its state: see object_word.h
    std::atomic<std::uint32_t> kind;
    // Counts the objects that the slot has been, so that a process whose object was taken away from
    // it notices.
    std::atomic<std::uint32_t> generation;
    std::atomic<std::uint32_t> name_length;
    // The processes with a handle, who keep the name, and those that still use the object, with or
    // without one. The slot is free when nobody uses it.
    ProcessSet named_by;
    ProcessSet used_by;
    wchar_t name[kMaxNameLength];
};
inline constexpr std::uint32_t kSlotsPerBlock = 64;
static_assert(sizeof(Slot) * kSlotsPerBlock % kPageBytes == 0, "blocks begin with a page");

// What tells a process from all others, past ones included. pid is 0 in a free record, and written
// last.
struct ProcessRecord {
    std::atomic<std::uint64_t> pid;
    std::atomic<std::uint64_t> start_time;
    std::atomic<std::uint64_t> start_stack;
};

// The page of a thread's seat, with the word that the kernel marks when the thread ends. It stands
// where a list node that is 32 bytes further lies in the next page: see seat.h.
struct SeatPage {
    std::byte unused[kPageBytes - 24];
    FutexWord life;
    std::byte unused_too[20];
};
static_assert(sizeof(SeatPage) == kPageBytes);

struct Table {
    std::atomic<std::uint32_t> layout;
    FutexWord lock;  // see table_lock.h
    // A wait for all has reserved its objects and is taking them: finish it, do not undo it.
    std::atomic<std::uint32_t> taking;
    // All slots, and all seats, from here on have never been used.
    std::atomic<std::uint32_t> slots_made;
    std::atomic<std::uint32_t> seats_made;
    ProcessRecord processes[kMaxProcesses];
    // Of each slot's name, never 0 for one in use: a slot comes to life when its hash is written.
    std::atomic<std::uint32_t> hashes[kMaxSlots];
    alignas(kPageBytes) Slot slots[kMaxSlots];
    alignas(kPageBytes) SeatPage seats[kMaxSeats];
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free && sizeof(std::size_t) == 8,
              "processes share these words without a lock");
inline constexpr std::uint32_t kLayoutMark = 0x5A544B00 + kLayoutVersion;

}  // namespace ZTKPosix::shared
