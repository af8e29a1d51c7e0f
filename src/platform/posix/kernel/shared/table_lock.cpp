#include "platform/posix/kernel/shared/table_lock.h"

#include "platform/posix/kernel/lock/spin.h"
#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/shared/process_identity.h"
#include "platform/posix/kernel/shared/seat.h"
#include "platform/posix/kernel/shared/shared_futex.h"
#include "platform/posix/kernel/shared/step.h"
#include "platform/posix/kernel/shared/table.h"

namespace ZTKPosix::shared {

namespace {

// The word: one more than the holder's seat, 0 while the lock is free; whether somebody sleeps; and
// a count of how often the lock was taken, so that who is about to take it over from a dead holder
// does not take it from a later one of the same seat.
constexpr std::uint32_t kHolder = (1U << 13) - 1;
constexpr std::uint32_t kWaitedFor = 1U << 13;
constexpr std::uint32_t kTime = 1U << 14;
static_assert(kMaxSeats <= kHolder);

// The word for a new holder. waited_for: others may sleep.
std::uint32_t TakenBy(std::uint32_t holder, std::uint32_t seen, bool waited_for) noexcept {
    return ((seen & ~(kTime - 1)) + kTime) | holder | (waited_for ? kWaitedFor : 0);
}

// The lock is held for microseconds. So a sleeper wakes from time to time and looks whether its
// holder lives, rather than waiting to be told.
constexpr DWORD kNap = 10;
constexpr int kMostNaps = 500;

// first: no time was given yet to the system, which marks the seat of a thread while it ends it.
bool IsHolderGone(std::uint32_t seen, bool first) noexcept {
    const std::uint32_t seat = (seen & kHolder) - 1;
    std::uint32_t life = 0;
    if (!IsSeatTaken(seat, &life)) {
        return true;
    }
    constexpr std::uint32_t kThreadIds = 0x3FFFFFFF;
    return !first && !ThreadExists(life & kThreadIds);
}

enum class Outcome { kEntered, kTakenOver, kFailed };

// Takes the word if it still is as seen.
bool TryTake(FutexWord& lock, std::uint32_t seen, std::uint32_t holder, bool waited_for) noexcept {
    return lock.compare_exchange_strong(seen, TakenBy(holder, seen, waited_for),
                                        std::memory_order_acquire, std::memory_order_relaxed);
}

Outcome Enter(FutexWord& lock, std::uint32_t holder) noexcept {
    for (int i = 0; i < kSpins; ++i) {
        const std::uint32_t seen = lock.load(std::memory_order_relaxed);
        if ((seen & (kHolder | kWaitedFor)) == 0 && TryTake(lock, seen, holder, false)) {
            return Outcome::kEntered;
        }
        RelaxProcessor();
    }
    for (int naps = 0; naps < kMostNaps;) {
        std::uint32_t seen = lock.load(std::memory_order_relaxed);
        const bool is_free = (seen & kHolder) == 0;
        if (is_free || IsHolderGone(seen, naps == 0)) {
            // Others may sleep as well: as in the layer's other lock.
            if (TryTake(lock, seen, holder, true)) {
                return is_free ? Outcome::kEntered : Outcome::kTakenOver;
            }
            continue;
        }
        if ((seen & kWaitedFor) == 0 &&
            !lock.compare_exchange_strong(seen, seen | kWaitedFor, std::memory_order_relaxed)) {
            continue;
        }
        const timespec end = DeadlineAfter(kNap);
        const Watch watch{&lock, seen | kWaitedFor, false};
        naps += SleepOn(&watch, 1, &end) ? 0 : 1;
    }
    return Outcome::kFailed;
}

}  // namespace

TableSection::TableSection() noexcept {
    entered_ = TakeSeat();
    if (!entered_) {
        return;
    }
    const Outcome outcome = Enter(table->lock, CurrentSeat() + 1);
    entered_ = outcome != Outcome::kFailed;
    if (entered_) {
        Step();
    }
    if (outcome == Outcome::kTakenOver) {
        RepairTable();
    }
}

TableSection::~TableSection() {
    if (!entered_) {
        return;
    }
    Step();
    const std::uint32_t held =
        table->lock.fetch_and(~(kHolder | kWaitedFor), std::memory_order_release);
    Step();
    if ((held & kWaitedFor) != 0) {
        WakeOneShared(table->lock);
    }
}

}  // namespace ZTKPosix::shared
