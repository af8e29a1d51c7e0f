// What is done with the table as a whole: names are found, made and dropped, and what ended
// processes left is put right.
#pragma once

#include <cstddef>

#include "platform/posix/kernel/shared/layout.h"
#include "platform/posix/kernel/shared/table_lock.h"

namespace ZTKPosix::shared {

// All calls here: REQUIRES a TableSection that is entered, except where another thing is said.

// A name and what to make if it does not exist.
struct Wanted {
    const wchar_t* name;
    std::size_t length;
    std::uint32_t hash;
    Kind kind;
    // A new event's initial state. A new mutex belongs to the caller's seat if it is false.
    bool signalled;
};

enum class Found { kExisting, kMade, kOtherKind, kNoRoom };

struct Opened {
    Found found;
    std::uint32_t index;       // for the first two, as what follows
    std::uint32_t generation;  // of the slot
    Kind kind;                 // of an existing event: which one it is
};

// Finds the name, held by processes that live, or makes it. From then on this process keeps the
// name and uses the object.
Opened OpenName(const Wanted& wanted) noexcept;

// This process keeps the name no more; nor does it use the object, if that is asked for. Needs no
// TableSection, but then the slot stays used until somebody repairs the table. Returns whether no
// other process uses the object.
bool DropName(std::uint32_t index, std::uint32_t generation, bool use_too,
              bool in_section) noexcept;

// This process uses nothing any more.
void DropAll() noexcept;

// In a child of fork, without a TableSection: it has none of what its parent has.
void ForgetAllInChild() noexcept;

// Completes or undoes what a holder of the lock left half done, abandons the mutexes of ended
// threads, and frees their seats and slots that nobody uses. Repeating it does no harm.
void RepairTable() noexcept;

// --- For table.cpp and table_repair.cpp

inline bool Contains(const ProcessSet& set, std::uint32_t process) noexcept {
    return (set.words[process / 64].load(std::memory_order_acquire) >> (process % 64) & 1) != 0;
}
void Remove(ProcessSet& set, std::uint32_t process) noexcept;
bool IsEmpty(const ProcessSet& set) noexcept;
// How many slots there are to look at.
std::uint32_t SlotCount() noexcept;
// Frees the slot if nobody uses it.
void FreeIfUnused(std::uint32_t index, Slot& slot) noexcept;
// Takes a process that is gone out of all slots and frees its record.
void RemoveProcess(std::uint32_t process) noexcept;
// That of all processes that are gone.
void RemoveGoneProcesses() noexcept;
bool IsProcessAlive(std::uint32_t process) noexcept;

}  // namespace ZTKPosix::shared
