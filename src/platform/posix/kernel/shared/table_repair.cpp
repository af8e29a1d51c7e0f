// What ended processes and threads left in the table.
#include <algorithm>

#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/shared/object_word.h"
#include "platform/posix/kernel/shared/process_identity.h"
#include "platform/posix/kernel/shared/seat.h"
#include "platform/posix/kernel/shared/shared_futex.h"
#include "platform/posix/kernel/shared/step.h"
#include "platform/posix/kernel/shared/table.h"

namespace ZTKPosix::shared {

void Remove(ProcessSet& set, std::uint32_t process) noexcept {
    std::atomic<std::uint64_t>& word = set.words[process / 64];
    const std::uint64_t bit = std::uint64_t{1} << (process % 64);
    if ((word.load(std::memory_order_relaxed) & bit) != 0) {
        word.fetch_and(~bit);
    }
}

bool IsEmpty(const ProcessSet& set) noexcept {
    return std::all_of(std::begin(set.words), std::end(set.words),
                       [](const auto& word) { return word.load(std::memory_order_acquire) == 0; });
}

std::uint32_t SlotCount() noexcept {
    return std::min(table->slots_made.load(std::memory_order_relaxed), kMaxSlots);
}

void FreeIfUnused(std::uint32_t index, Slot& slot) noexcept {
    if (IsEmpty(slot.used_by)) {
        table->hashes[index].store(0, std::memory_order_release);
        Step();
    }
}

bool IsProcessAlive(std::uint32_t process) noexcept {
    const ProcessRecord& record = table->processes[process];
    const ProcessIdentity identity{record.pid.load(std::memory_order_acquire),
                                   record.start_time.load(std::memory_order_relaxed),
                                   record.start_stack.load(std::memory_order_relaxed)};
    return identity.pid != 0 && IsAlive(identity);
}

void RemoveProcess(std::uint32_t process) noexcept {
    const std::uint32_t count = SlotCount();
    for (std::uint32_t i = 0; i < count; ++i) {
        if (table->hashes[i].load(std::memory_order_relaxed) == 0) {
            continue;
        }
        if (Slot* const slot = SlotAt(i)) {
            Remove(slot->named_by, process);
            Remove(slot->used_by, process);
            Step();
            FreeIfUnused(i, *slot);
        }
    }
    // Last: if this process ends before, the record still says who is to be removed.
    table->processes[process].pid.store(0, std::memory_order_release);
    Step();
}

void RemoveGoneProcesses() noexcept {
    for (std::uint32_t i = 0; i < kMaxProcesses; ++i) {
        if (table->processes[i].pid.load(std::memory_order_relaxed) != 0 && !IsProcessAlive(i)) {
            RemoveProcess(i);
        }
    }
}

namespace {

// Ends a wait for all that did not come to its end: as if it had taken the object, or as if it had
// left it alone.
void SettleReservation(Slot& slot, bool taken) noexcept {
    const auto kind = static_cast<Kind>(slot.kind.load(std::memory_order_relaxed));
    std::uint32_t bits = kSignalled;
    if (taken && kind == Kind::kMutex) {
        bits |= kAbandoned;
    } else if (taken && kind == Kind::kAutoEvent) {
        bits = 0;
    }
    std::uint32_t word = slot.word.load(std::memory_order_acquire);
    while ((word & kReserved) != 0 &&
           !slot.word.compare_exchange_weak(word, (word & ~kReserved) | bits)) {
    }
}

// An owner who releases the mutex, and then leaves his seat, is not gone: the word tells.
bool IsOwnerGone(const Slot& slot) noexcept {
    const std::uint32_t word = slot.word.load(std::memory_order_acquire);
    return (word & (kSignalled | kReserved)) == 0 && !IsSeatTaken(SeatOf(word), nullptr) &&
           slot.word.load(std::memory_order_acquire) == word;
}

}  // namespace

void RepairTable() noexcept {
    const bool taken = table->taking.load(std::memory_order_acquire) != 0;
    const std::uint32_t count = SlotCount();
    for (std::uint32_t i = 0; i < count; ++i) {
        Slot* const slot =
            table->hashes[i].load(std::memory_order_acquire) != 0 ? SlotAt(i) : nullptr;
        if (slot == nullptr) {
            continue;
        }
        SettleReservation(*slot, taken);
        Step();
        if (slot->kind.load(std::memory_order_relaxed) ==
                static_cast<std::uint32_t>(Kind::kMutex) &&
            IsOwnerGone(*slot)) {
            SetAndWakeAll(slot->word, kSignalled | kAbandoned);
            Step();
        }
        FreeIfUnused(i, *slot);
    }
    table->taking.store(0, std::memory_order_release);
    Step();
    // No mutex names them any more, and the lock is the caller's.
    ReclaimSeats();
}

}  // namespace ZTKPosix::shared
