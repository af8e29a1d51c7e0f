// How a process comes to the table.
#pragma once

#include "platform/posix/kernel/lock/lock.h"
#include "platform/posix/kernel/shared/layout.h"

namespace ZTKPosix::shared {

// Held while a process maps the table, so a fork takes it.
inline constinit Lock attach_lock;

// Whether this process shares its names. Once kShared or kLocal, it stays so.
enum class Sharing {
    kUndecided,
    kShared,
    kLocal,   // the system lacks something, or what stands in the table's place is none of ours
    kFailed,  // it cannot be told now: memory or descriptors are short
};

// Maps the table if that was not tried yet. Returns kShared, kLocal, or kFailed, after which it is
// tried again.
Sharing Attach() noexcept ZTK_EXCLUDES(attach_lock);

// REQUIRES of all below: Attach has returned kShared.
extern constinit Table* table;

// The slot or seat of that index; null if there is no such index, or no memory for it. What these
// return may be touched: without memory behind it, the touch would end the process.
Slot* SlotAt(std::uint32_t index) noexcept;
SeatPage* SeatAt(std::uint32_t index) noexcept;

// Unmaps the table. For the unloading of the library.
void Detach() noexcept ZTK_EXCLUDES(attach_lock);

}  // namespace ZTKPosix::shared
