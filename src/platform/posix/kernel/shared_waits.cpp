// Waits with shared objects among their handles.
//
// Nobody takes for another process's thread, which may end before it learns of it. So such a wait
// looks for itself: it takes what it can, and otherwise sleeps on the words of all its objects at
// once, until one of them changes, and looks again. For objects of this process it stands in their
// queues, and is woken to look.
#include <optional>

#include "platform/posix/kernel/shared/mapping.h"
#include "platform/posix/kernel/shared/object_word.h"
#include "platform/posix/kernel/shared/seat.h"
#include "platform/posix/kernel/shared/shared_futex.h"
#include "platform/posix/kernel/shared/step.h"
#include "platform/posix/kernel/shared/table.h"
#include "platform/posix/kernel/shared_objects.h"
#include "platform/posix/kernel/waits.h"

namespace ZTKPosix {

namespace {

using shared::kAbandoned;
using shared::kReserved;
using shared::kRoundMask;
using shared::kSignalled;
using shared::kSleepers;

// When the owner of a mutex is killed, the kernel wakes one of those who watch its seat, and he the
// others. Should he be killed, too, before he can, they find out after so many milliseconds.
constexpr DWORD kSecondLook = 1000;

enum class Look {
    kTaken,
    kTakenAbandoned,
    kUnavailable,
    kInRepair,  // somebody has to look after the table first
    kLost,      // the object is not this process's any more
};

bool IsSharedMutex(const KernelObject& object) noexcept {
    return object.kind == &SharedMutex::kKind;
}

bool IsOwnedBy(const KernelObject& object, const ThreadRecord& thread) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    return IsSharedMutex(object) && static_cast<const SharedMutex&>(object).owner == &thread;
}

// What a wait sleeps on.
class Watches {
  public:
    void Clear() noexcept { count_ = 0, seats_ = false; }
    void Add(FutexWord& word, std::uint32_t value) noexcept {
        entries_[count_++] = {&word, value, false};
    }
    void AddSeat(FutexWord& word, std::uint32_t value) noexcept {
        Add(word, value);
        seats_ = true;
    }
    void AddOwn(FutexWord& state) noexcept { entries_[count_++] = {&state, 0, true}; }

    // Returns false when deadline (null: none) has passed.
    bool Sleep(const timespec* deadline) noexcept {
        if (!seats_) {
            return shared::SleepOn(entries_, count_, deadline);
        }
        const timespec second_look = DeadlineAfter(kSecondLook);
        const bool sooner =
            deadline != nullptr &&
            (deadline->tv_sec < second_look.tv_sec ||
             (deadline->tv_sec == second_look.tv_sec && deadline->tv_nsec < second_look.tv_nsec));
        return shared::SleepOn(entries_, count_, sooner ? deadline : &second_look) || !sooner;
    }

  private:
    std::size_t count_ = 0;
    bool seats_ = false;
    shared::Watch entries_[shared::kMaxWatches];
};
static_assert(2 * MAXIMUM_WAIT_OBJECTS <= shared::kMaxWatches,
              "for each object its word and its owner's seat, or one word for all that are local");

// Makes sure that a change of the word will wake, and watches it. False when it has changed
// already.
bool WatchWord(FutexWord& word, std::uint32_t seen, Watches& watches) noexcept {
    if ((seen & kSleepers) == 0 && !word.compare_exchange_strong(seen, seen | kSleepers)) {
        return false;
    }
    watches.Add(word, seen | kSleepers);
    return true;
}

// Of an object that seen shows as not to be taken: the reason, unless it has to do with an owner
// who is gone. watches: null for who will not sleep.
Look WatchUnavailable(const KernelObject& object, std::uint32_t seen, Watches* watches,
                      bool* changed) noexcept {
    *changed = false;
    if ((seen & kReserved) != 0) {
        return Look::kInRepair;
    }
    std::uint32_t life = 0;
    const std::uint32_t seat = shared::SeatOf(seen);
    const bool is_mutex = IsSharedMutex(object);
    if (is_mutex && !shared::IsSeatTaken(seat, watches != nullptr ? &life : nullptr)) {
        // Unless it got another owner meanwhile, and the former left.
        *changed = SharedWord(object).load(std::memory_order_acquire) != seen;
        return Look::kInRepair;
    }
    if (watches == nullptr) {
        return Look::kUnavailable;
    }
    *changed = !WatchWord(SharedWord(object), seen, *watches);
    if (!*changed && is_mutex) {
        watches->AddSeat(shared::table->seats[seat].life, life);
    }
    return Look::kUnavailable;
}

// Takes the object for the calling thread if that can be done; if not, watches it. seen: the word.
Look TakeOne(KernelObject& object, Watches* watches, std::uint32_t* seen) noexcept
    ZTK_REQUIRES(dispatcher_lock) {
    if (IsLost(object)) {
        return Look::kLost;
    }
    const bool is_mutex = IsSharedMutex(object);
    if (IsOwnedBy(object, current_record)) {
        OwnSharedMutex(static_cast<SharedMutex&>(object), current_record);
        return Look::kTaken;
    }
    FutexWord& word = SharedWord(object);
    *seen = word.load(std::memory_order_acquire);
    for (;;) {
        if ((*seen & kSignalled) == 0) {
            bool changed = false;
            const Look look = WatchUnavailable(object, *seen, watches, &changed);
            if (!changed) {
                return look;
            }
            *seen = word.load(std::memory_order_acquire);
            continue;
        }
        if (!is_mutex && !object.resets_when_taken) {
            return Look::kTaken;
        }
        if ((*seen & kReserved) != 0) {
            return Look::kInRepair;
        }
        const std::uint32_t seat = is_mutex ? shared::CurrentSeat() : 0;
        if (word.compare_exchange_weak(*seen, shared::NextRound(*seen, seat))) {
            break;
        }
    }
    if (is_mutex) {
        OwnSharedMutex(static_cast<SharedMutex&>(object), current_record);
    }
    return (*seen & kAbandoned) != 0 ? Look::kTakenAbandoned : Look::kTaken;
}

// Reserves the object for the calling thread's wait for all. REQUIRES: the table's lock.
Look Reserve(KernelObject& object, Watches* watches) noexcept ZTK_REQUIRES(dispatcher_lock) {
    if (IsLost(object)) {
        return Look::kLost;
    }
    if (IsOwnedBy(object, current_record)) {
        return Look::kTaken;
    }
    const bool stays = !IsSharedMutex(object) && !object.resets_when_taken;
    FutexWord& word = SharedWord(object);
    std::uint32_t seen = word.load(std::memory_order_acquire);
    for (;;) {
        if ((seen & kReserved) != 0) {
            return Look::kInRepair;
        }
        if ((seen & kSignalled) == 0) {
            bool changed = false;
            const Look look = WatchUnavailable(object, seen, watches, &changed);
            if (!changed) {
                return look;
            }
            seen = word.load(std::memory_order_acquire);
        } else if (word.compare_exchange_weak(seen,
                                              (stays ? seen : seen & ~kSignalled) | kReserved)) {
            shared::Step();
            return Look::kTaken;
        }
    }
}

void Unreserve(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock) {
    if (!IsOwnedBy(object, current_record)) {
        FutexWord& word = SharedWord(object);
        std::uint32_t seen = word.load(std::memory_order_acquire);
        while (!word.compare_exchange_weak(seen, (seen & ~kReserved) | kSignalled)) {
        }
        shared::Step();
    }
}

// Takes what is reserved. Returns whether it is an abandoned mutex.
bool TakeReserved(KernelObject& object) noexcept ZTK_REQUIRES(dispatcher_lock) {
    const bool is_mutex = IsSharedMutex(object);
    std::uint32_t seen = 0;
    if (!IsOwnedBy(object, current_record)) {
        FutexWord& word = SharedWord(object);
        seen = word.load(std::memory_order_acquire);
        std::uint32_t taken;
        do {
            // An event may have been set since.
            taken = seen & ~kReserved;
            if (is_mutex) {
                taken = shared::NextRound(seen, shared::CurrentSeat());
            } else if (object.resets_when_taken) {
                taken = shared::NextRound(seen, 0) | (seen & kSignalled);
            }
        } while (!word.compare_exchange_weak(seen, taken));
        shared::Step();
    }
    if (is_mutex) {
        OwnSharedMutex(static_cast<SharedMutex&>(object), current_record);
    }
    return is_mutex && (seen & kAbandoned) != 0;
}

// One wait of the calling thread.
class SharedWait {
  public:
    SharedWait(const HANDLE* handles, WaitBlock* blocks, DWORD count, bool all,
               DWORD milliseconds) noexcept
        : handles_(handles), all_(all && count > 1), sleeps_(milliseconds != 0) {
        waiter_.thread = &current_record;
        waiter_.blocks = blocks;
        waiter_.count = count;
        waiter_.all = all_;
        waiter_.looks_itself = true;
        timed_ = milliseconds != INFINITE;
        if (timed_ && sleeps_) {
            deadline_ = DeadlineAfter(milliseconds);
        }
    }

    DWORD Run() noexcept ZTK_EXCLUDES(dispatcher_lock) {
        bool time_left = sleeps_;
        for (int repairs = 0;;) {
            const Look look = LookOnce(time_left);
            if (look == Look::kInRepair) {
                if (++repairs > kMostRepairs || !RepairShared()) {
                    return End(FailWait(ERROR_NOT_ENOUGH_MEMORY));
                }
            } else if (look != Look::kUnavailable) {
                return End(result_);
            } else if (!time_left) {
                return End(WAIT_TIMEOUT);
            } else {
                repairs = 0;
                time_left = watches_.Sleep(timed_ ? &deadline_ : nullptr);
                FinishPoke();
            }
        }
    }

  private:
    // Looks at all objects and takes what the wait is for. Sets result_ unless nothing was taken.
    Look LookOnce(bool watch) noexcept ZTK_EXCLUDES(dispatcher_lock) {
        std::optional<shared::TableSection> table;
        if (all_) {
            // What several takes are is only known to who has the lock.
            if (PrepareForShared()) {
                table.emplace();
            }
            if (!table || !table->IsEntered()) {
                result_ = FailWait(ERROR_NOT_ENOUGH_MEMORY);
                return Look::kLost;
            }
        }
        DispatcherSection section;
        if (waiter_.poked) {
            waiter_.poked = false;
            waiter_.state.store(0, std::memory_order_relaxed);
        }
        watches_.Clear();
        if (!queued_) {
            if (const DWORD error = FindAll(); error != ERROR_SUCCESS) {
                result_ = FailWait(error);
                return Look::kLost;
            }
        }
        const Look look = all_ ? TakeAll(watch) : TakeAny(watch);
        if (look == Look::kUnavailable && watch && !queued_) {
            AppendAll(waiter_);
            queued_ = true;
        }
        return look;
    }

    DWORD FindAll() noexcept ZTK_REQUIRES(dispatcher_lock) {
        bool some_shared = false;
        const DWORD error = FindObjects(handles_, waiter_.blocks, waiter_.count, &some_shared);
        if (error == ERROR_SUCCESS && all_ && HasDuplicate(waiter_.blocks, waiter_.count)) {
            return ERROR_INVALID_PARAMETER;
        }
        return error;
    }

    Look TakeAny(bool watch) noexcept ZTK_REQUIRES(dispatcher_lock) {
        bool some_local = false;
        for (DWORD i = 0; i < waiter_.count; ++i) {
            KernelObject& object = *waiter_.blocks[i].object;
            Look look = Look::kUnavailable;
            if (IsShared(object)) {
                look = LookAtShared(object, i, watch);
            } else if (IsAvailable(object, current_record)) {
                look = Take(object, current_record) ? Look::kTakenAbandoned : Look::kTaken;
            } else {
                some_local = true;
            }
            if (look != Look::kUnavailable) {
                result_ = look == Look::kLost             ? FailWait(ERROR_INVALID_HANDLE)
                          : look == Look::kTakenAbandoned ? WAIT_ABANDONED_0 + i
                                                          : WAIT_OBJECT_0 + i;
                return look;
            }
        }
        if (some_local) {
            watches_.AddOwn(waiter_.state);
        }
        return Look::kUnavailable;
    }

    // A manual-reset event that was set and reset while this thread slept has released it.
    Look LookAtShared(KernelObject& object, DWORD i, bool watch) noexcept
        ZTK_REQUIRES(dispatcher_lock) {
        std::uint32_t seen = 0;
        if (IsSharedMutex(object) && shared::CurrentSeat() == shared::kNoSeat) {
            return Look::kInRepair;
        }
        const Look look = TakeOne(object, watch ? &watches_ : nullptr, &seen);
        const std::uint32_t round = seen & kRoundMask;
        if (look == Look::kUnavailable && !IsSharedMutex(object) && !object.resets_when_taken) {
            if (queued_ && rounds_[i] != round) {
                return Look::kTaken;
            }
            rounds_[i] = round;
        }
        return look;
    }

    Look TakeAll(bool watch) noexcept ZTK_REQUIRES(dispatcher_lock) {
        WaitBlock* const blocks = waiter_.blocks;
        DWORD i = 0;
        Look look = Look::kTaken;
        for (; i < waiter_.count && look == Look::kTaken; ++i) {
            KernelObject& object = *blocks[i].object;
            if (IsShared(object)) {
                look = Reserve(object, watch ? &watches_ : nullptr);
            } else if (!IsAvailable(object, current_record)) {
                watches_.AddOwn(waiter_.state);
                look = Look::kUnavailable;
            }
        }
        if (look != Look::kTaken) {
            for (DWORD j = 0; j + 1 < i; ++j) {
                if (IsShared(*blocks[j].object)) {
                    Unreserve(*blocks[j].object);
                }
            }
            if (look == Look::kLost) {
                result_ = FailWait(ERROR_INVALID_HANDLE);
            }
            return look;
        }
        result_ = FinishAll() ? WAIT_ABANDONED_0 : WAIT_OBJECT_0;
        return Look::kTaken;
    }

    // From here on all are taken, even if this process ends: others would finish it.
    bool FinishAll() noexcept ZTK_REQUIRES(dispatcher_lock) {
        shared::table->taking.store(1, std::memory_order_release);
        shared::Step();
        bool abandoned = false;
        for (DWORD i = 0; i < waiter_.count; ++i) {
            KernelObject& object = *waiter_.blocks[i].object;
            abandoned |= IsShared(object) ? TakeReserved(object) : Take(object, current_record);
        }
        shared::table->taking.store(0, std::memory_order_release);
        shared::Step();
        return abandoned;
    }

    // A thread that is about to wake this one touches the waiter until it has set state.
    void FinishPoke() noexcept ZTK_EXCLUDES(dispatcher_lock) {
        bool poked = false;
        {
            const DispatcherSection section;
            poked = waiter_.poked;
        }
        while (poked && waiter_.state.load(std::memory_order_acquire) == 0) {
            FutexWait(waiter_.state, 0, nullptr);
        }
    }

    DWORD End(DWORD result) noexcept ZTK_EXCLUDES(dispatcher_lock) {
        if (queued_) {
            {
                DispatcherSection section;
                RemoveAll(waiter_, section);
            }
            FinishPoke();
        }
        return result;
    }

    const HANDLE* handles_;
    const bool all_;
    const bool sleeps_;
    bool timed_;
    bool queued_ = false;  // the blocks are in the queues of their objects
    DWORD result_ = WAIT_FAILED;
    timespec deadline_{};
    Waiter waiter_;
    Watches watches_;
    std::uint32_t rounds_[MAXIMUM_WAIT_OBJECTS];
};

}  // namespace

DWORD WaitForShared(const HANDLE* handles, WaitBlock* blocks, DWORD count, bool all,
                    DWORD milliseconds) noexcept {
    return SharedWait(handles, blocks, count, all, milliseconds).Run();
}

}  // namespace ZTKPosix
