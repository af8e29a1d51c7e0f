#include "platform/posix/kernel/shared/table.h"

#include <cstring>

#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/shared/object_word.h"
#include "platform/posix/kernel/shared/process_identity.h"
#include "platform/posix/kernel/shared/seat.h"
#include "platform/posix/kernel/shared/step.h"

namespace ZTKPosix::shared {

namespace {

constexpr std::uint32_t kNoProcess = ~0U;
constexpr std::uint32_t kNoSlot = ~0U;

// The place of this process in Table::processes. Changed in the table's lock, or while a child of
// fork has one thread.
constinit std::atomic<std::uint32_t> own_process{kNoProcess};
// What it is known by there. Touched in the table's lock.
constinit ProcessIdentity own_identity;

void Add(ProcessSet& set, std::uint32_t process) noexcept {
    set.words[process / 64].fetch_or(std::uint64_t{1} << (process % 64));
}

void Clear(ProcessSet& set) noexcept {
    for (auto& word : set.words) {
        word.store(0, std::memory_order_relaxed);
    }
}

// Enters this process into the table. False when there is no place, or the system does not tell
// what a process is known by.
bool EnterProcess() noexcept {
    const std::uint32_t own = own_process.load(std::memory_order_relaxed);
    if (own != kNoProcess &&
        table->processes[own].pid.load(std::memory_order_relaxed) == own_identity.pid &&
        table->processes[own].start_time.load(std::memory_order_relaxed) ==
            own_identity.start_time) {
        return true;
    }
    ProcessIdentity self;
    if (!ReadOwnIdentity(&self)) {
        return false;
    }
    own_identity = self;
    RemoveGoneProcesses();
    RepairTable();
    for (std::uint32_t i = 0; i < kMaxProcesses; ++i) {
        ProcessRecord& record = table->processes[i];
        if (record.pid.load(std::memory_order_relaxed) != 0) {
            continue;
        }
        RemoveProcess(i);  // nothing is left of the one before
        record.start_time.store(self.start_time, std::memory_order_relaxed);
        record.start_stack.store(self.start_stack, std::memory_order_relaxed);
        Step();
        record.pid.store(self.pid, std::memory_order_release);
        Step();
        own_process.store(i, std::memory_order_relaxed);
        return true;
    }
    return false;
}

bool HasName(const Slot& slot, const Wanted& wanted) noexcept {
    return slot.name_length.load(std::memory_order_relaxed) == wanted.length &&
           std::memcmp(slot.name, wanted.name, wanted.length * sizeof *wanted.name) == 0;
}

// Whether a process that lives keeps the name. Those that do not are removed on the way.
bool IsNamed(Slot& slot) noexcept {
    if (Contains(slot.named_by, own_process.load(std::memory_order_relaxed))) {
        return true;
    }
    for (std::uint32_t i = 0; i < kMaxProcesses; ++i) {
        if (slot.named_by.words[i / 64].load(std::memory_order_relaxed) == 0) {
            i |= 63;
        } else if (Contains(slot.named_by, i)) {
            if (IsProcessAlive(i)) {
                return true;
            }
            RemoveProcess(i);
        }
    }
    return false;
}

std::uint32_t FindSlot(const Wanted& wanted) noexcept {
    const std::uint32_t count = SlotCount();
    for (std::uint32_t i = 0; i < count; ++i) {
        if (table->hashes[i].load(std::memory_order_relaxed) != wanted.hash) {
            continue;
        }
        Slot* const slot = SlotAt(i);
        if (slot != nullptr && HasName(*slot, wanted) && IsNamed(*slot)) {
            return i;
        }
    }
    return kNoSlot;
}

// A slot that nobody uses; kNoSlot if there is none or no memory for it.
std::uint32_t FindRoom() noexcept {
    const std::uint32_t count = SlotCount();
    for (std::uint32_t i = 0; i < count; ++i) {
        if (table->hashes[i].load(std::memory_order_relaxed) == 0 && SlotAt(i) != nullptr) {
            return i;
        }
    }
    return count < kMaxSlots && SlotAt(count) != nullptr ? count : kNoSlot;
}

bool IsUsedOnlyBy(const Slot& slot, std::uint32_t process) noexcept {
    for (std::uint32_t i = 0; i < kMaxProcesses / 64; ++i) {
        const std::uint64_t own = i == process / 64 ? std::uint64_t{1} << (process % 64) : 0;
        if ((slot.used_by.words[i].load(std::memory_order_relaxed) & ~own) != 0) {
            return false;
        }
    }
    return true;
}

std::uint32_t InitialWord(const Wanted& wanted) noexcept {
    if (wanted.signalled) {
        return kSignalled;
    }
    return wanted.kind == Kind::kMutex ? NextRound(0, CurrentSeat()) : 0;
}

void FillSlot(std::uint32_t index, Slot& slot, const Wanted& wanted) noexcept {
    const std::uint32_t process = own_process.load(std::memory_order_relaxed);
    slot.generation.fetch_add(1, std::memory_order_relaxed);
    slot.word.store(InitialWord(wanted), std::memory_order_relaxed);
    slot.kind.store(static_cast<std::uint32_t>(wanted.kind), std::memory_order_relaxed);
    std::memcpy(slot.name, wanted.name, wanted.length * sizeof *wanted.name);
    slot.name_length.store(static_cast<std::uint32_t>(wanted.length), std::memory_order_relaxed);
    Clear(slot.named_by);
    Clear(slot.used_by);
    Step();
    Add(slot.used_by, process);
    Add(slot.named_by, process);
    if (index >= table->slots_made.load(std::memory_order_relaxed)) {
        table->slots_made.store(index + 1, std::memory_order_relaxed);
    }
    Step();
    // From here on it exists.
    table->hashes[index].store(wanted.hash, std::memory_order_release);
    Step();
}

Opened OpenExisting(std::uint32_t index, const Wanted& wanted) noexcept {
    Slot& slot = *SlotAt(index);
    const auto kind = static_cast<Kind>(slot.kind.load(std::memory_order_relaxed));
    if ((kind == Kind::kMutex) != (wanted.kind == Kind::kMutex)) {
        return {Found::kOtherKind, 0, 0, kind};
    }
    const std::uint32_t process = own_process.load(std::memory_order_relaxed);
    Add(slot.used_by, process);
    Step();
    Add(slot.named_by, process);
    Step();
    return {Found::kExisting, index, slot.generation.load(std::memory_order_relaxed), kind};
}

}  // namespace

Opened OpenName(const Wanted& wanted) noexcept {
    if (!EnterProcess()) {
        return {Found::kNoRoom, 0, 0, wanted.kind};
    }
    std::uint32_t index = FindSlot(wanted);
    if (index != kNoSlot) {
        return OpenExisting(index, wanted);
    }
    index = FindRoom();
    if (index == kNoSlot) {
        RemoveGoneProcesses();
        RepairTable();
        index = FindRoom();
    }
    if (index == kNoSlot) {
        return {Found::kNoRoom, 0, 0, wanted.kind};
    }
    Slot& slot = *SlotAt(index);
    FillSlot(index, slot, wanted);
    return {Found::kMade, index, slot.generation.load(std::memory_order_relaxed), wanted.kind};
}

bool DropName(std::uint32_t index, std::uint32_t generation, bool use_too,
              bool in_section) noexcept {
    Slot* const slot = SlotAt(index);
    const std::uint32_t process = own_process.load(std::memory_order_relaxed);
    if (slot == nullptr || process == kNoProcess ||
        slot->generation.load(std::memory_order_relaxed) != generation) {
        return true;
    }
    Remove(slot->named_by, process);
    Step();
    if (!use_too) {
        return IsUsedOnlyBy(*slot, process);
    }
    Remove(slot->used_by, process);
    Step();
    if (in_section) {
        FreeIfUnused(index, *slot);
    }
    return IsEmpty(slot->used_by);
}

void DropAll() noexcept {
    const std::uint32_t process = own_process.load(std::memory_order_relaxed);
    if (process != kNoProcess) {
        own_process.store(kNoProcess, std::memory_order_relaxed);
        RemoveProcess(process);
    }
}

void ForgetAllInChild() noexcept {
    own_process.store(kNoProcess, std::memory_order_relaxed);
    ForgetSeatInChild();
}

}  // namespace ZTKPosix::shared
